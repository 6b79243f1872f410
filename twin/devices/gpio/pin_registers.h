// Pin function and pad control registers of the processor.
//
// Bus face: function of each pin from 0x12040000, pad control from 0x12040800, one word a pin. They keep what was
// written. What they mean for the wires: pin_wiring.h.
#pragma once

#include <cstdint>
#include <functional>
#include <map>

#include "twin/register_space.h"

namespace twin {

class PinRegisters final : public RegisterDevice {
 public:
  static constexpr uint32_t kFunctionBase = 0x12040000;
  static constexpr uint32_t kPadBase = 0x12040800;
  static constexpr uint32_t kSize = 0x200;  // of each of the two

  // Claims both ranges.
  void ConnectTo(RegisterSpace& space);

  uint32_t ReadRegister(uint32_t address) override { return Get(address); }
  void WriteRegister(uint32_t address, uint32_t value) override {
    values_[address] = value;
    if (changed_) changed_();
  }

  // What stands there now; if nothing was written since Reset the reset value, 0 where none was told.
  uint32_t Get(uint32_t address) const;
  // All that was written, by address.
  const std::map<uint32_t, uint32_t>& Written() const { return values_; }

  void SetResetValue(uint32_t address, uint32_t value) { resetValues_[address] = value; }
  void OnChange(std::function<void()> changed) { changed_ = std::move(changed); }

  // Power-on reset.
  void Reset() {
    values_.clear();
    if (changed_) changed_();
  }

 private:
  std::map<uint32_t, uint32_t> values_;
  std::map<uint32_t, uint32_t> resetValues_;
  std::function<void()> changed_;
};

}  // namespace twin

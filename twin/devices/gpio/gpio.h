// The processor's GPIO banks 0 to 15, and the wires on their pins.
//
// Bus face: bank n at 0x12140000 + n x 0x1000. An access at offset (mask << 2) reads or writes the data bits in mask;
// offset 0x400 is the direction, a set bit is an output. Modelled: data, direction, levels, edges. Not modelled:
// interrupts (their registers keep what was written). A pin whose function is another than GPIO is not on its wire: an
// output drives nothing and an input reads 0; driving it, an output with the wrong pad, or a level given to an input
// once its bank's direction has been set is complained about. Which pins are judged: pin_wiring.h. World face: Pin.
// Fault face: "gpio.stuck" with detail bank x 8 + pin, effect Value 0 or 1: the wire stays there while each access that
// uses the pin finds the rule.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "twin/faults/faults.h"
#include "twin/register_space.h"

namespace twin {

// One wire. The processor drives it while its direction bit is set, else what is connected drives it, else it floats
// at its pull.
class Pin {
 public:
  bool Level() const { return level_; }  // as anyone on the wire sees it
  bool DrivenByProcessor() const { return output_ && connected_; }
  void Drive(bool level);   // from outside
  void Release(bool pull);  // outside lets go: the wire floats at `pull`
  // Both sides drive it, and not to the same level. The wire is then at the processor's, which is the stronger one.
  bool Contended() const { return DrivenByProcessor() && driven_ && data_ != outside_; }
  // `listener` hears every change of the wire's level, at the moment it happens. For the life of the pin.
  void OnChange(std::function<void(bool level)> listener) { listeners_.push_back(std::move(listener)); }
  // Called before the processor looks at the wire, for who has to move it by now without anything else having happened.
  void OnLook(std::function<void()> listener) { look_ = std::move(listener); }

 private:
  friend class GpioBanks;
  void Settle();

  bool level_ = false;
  bool output_ = false;    // direction bit
  bool data_ = false;      // output latch
  bool outside_ = false;   // level from outside, or the pull
  bool driven_ = false;    // outside drives
  bool connected_ = true;  // its function is GPIO
  bool padRight_ = true;
  bool told_ = false;  // the complaint about it is made
  int stuck_ = -1;     // fault: 0 or 1
  std::vector<std::function<void(bool)>> listeners_;
  std::function<void()> look_;
};

class GpioBanks final : public RegisterDevice {
 public:
  static constexpr uint32_t kBase = 0x12140000;
  static constexpr uint32_t kBankStride = 0x1000;
  static constexpr int kBanks = 16;

  explicit GpioBanks(Faults& faults);

  uint32_t ReadRegister(uint32_t address) override;
  void WriteRegister(uint32_t address, uint32_t value) override;

  Pin& At(int bank, int pin) { return pins_[static_cast<size_t>(bank) * 8 + static_cast<size_t>(pin)]; }

  void SetComplaints(std::function<void(std::string)> sink) { complain_ = std::move(sink); }
  // What the pin's function and pad make of it (default: a right one). See pin_wiring.h.
  void SetPin(int bank, int pin, bool connected, bool padRight);

  // Power-on reset: all pins inputs, latches 0.
  void Reset();

 private:
  void Use(size_t index);
  void Judge(size_t index);

  std::array<Pin, kBanks * 8> pins_;
  std::array<bool, kBanks> directionSet_{};  // since the reset, by bank
  std::unordered_map<uint32_t, uint32_t> interruptRegisters_;
  FaultPoint stuck_;
  std::function<void(std::string)> complain_;
};

}  // namespace twin

// A module that hangs behind layer 0. The layer answers for it, at once, in the register range of its camera 0 from
// 0xFF00 up, which no sensor has; the fabric must run, the sensors need not.
#pragma once

#include <cstdint>

namespace twin {

class ModulePort {
 public:
  static constexpr uint16_t kFirstRegister = 0xFF00;

  virtual ~ModulePort() = default;
  virtual uint8_t ReadModule(uint16_t address) = 0;
  virtual void WriteModule(uint16_t address, uint8_t value) = 0;
};

}  // namespace twin

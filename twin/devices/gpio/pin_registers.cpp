#include "twin/devices/gpio/pin_registers.h"

namespace twin {

void PinRegisters::ConnectTo(RegisterSpace& space) {
  space.Claim(kFunctionBase, kSize, *this);
  space.Claim(kPadBase, kSize, *this);
}

uint32_t PinRegisters::Get(uint32_t address) const {
  if (const auto found = values_.find(address); found != values_.end()) return found->second;
  const auto reset = resetValues_.find(address);
  return reset == resetValues_.end() ? 0 : reset->second;
}

}  // namespace twin

#include "twin/devices/gpio/pin_registers.h"

namespace twin {

void PinRegisters::ConnectTo(RegisterSpace& space) {
  space.Claim(kFunctionBase, kSize, *this);
  space.Claim(kPadBase, kSize, *this);
}

uint32_t PinRegisters::Get(uint32_t address) const {
  const auto found = values_.find(address);
  return found == values_.end() ? 0 : found->second;
}

}  // namespace twin

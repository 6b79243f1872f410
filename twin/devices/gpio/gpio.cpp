#include "twin/devices/gpio/gpio.h"

#include <bit>

namespace twin {

namespace {

constexpr uint32_t kDirection = 0x400;  // below it: data, the bits 9 to 2 of the address being the mask

}  // namespace

void Pin::Settle() {
  const bool level = stuck_ >= 0 ? stuck_ != 0 : DrivenByProcessor() ? data_ : outside_;
  if (level == level_) return;
  level_ = level;
  for (size_t i = 0; i < listeners_.size(); i++) listeners_[i](level);
}

void Pin::Drive(bool level) {
  driven_ = true;
  outside_ = level;
  Settle();
}

void Pin::Release(bool pull) {
  driven_ = false;
  outside_ = pull;
  Settle();
}

GpioBanks::GpioBanks(Faults& faults)
    : stuck_(faults, "gpio.stuck",
             "value=0|1 holds a wire there; detail is bank x 8 + pin; looked at when it is used") {}

// A wire is stuck for as long as each use of it finds a rule that says so.
void GpioBanks::Use(size_t index) {
  const auto effect = stuck_.Ask(static_cast<int64_t>(index));
  pins_[index].stuck_ = effect && effect->kind == Effect::Kind::Value ? effect->value != 0 : -1;
  pins_[index].Settle();
}

// Called when the processor gives a pin a level.
void GpioBanks::Judge(size_t index) {
  Pin& pin = pins_[index];
  if (!pin.output_ && !directionSet_[index / 8]) return;
  const char* wrong = !pin.output_      ? " is given a level, but is an input"
                      : !pin.connected_ ? " is driven, but its function is another"
                      : !pin.padRight_  ? " is driven through a pad that is not set for it"
                                        : nullptr;
  if (wrong == nullptr || pin.told_) return;
  pin.told_ = true;
  if (complain_) complain_("gpio: bank " + std::to_string(index / 8) + " pin " + std::to_string(index % 8) + wrong);
}

void GpioBanks::SetPin(int bank, int number, bool connected, bool padRight) {
  Pin& pin = At(bank, number);
  pin.connected_ = connected;
  pin.padRight_ = padRight;
  pin.Settle();
}

uint32_t GpioBanks::ReadRegister(uint32_t address) {
  const uint32_t bank = (address - kBase) / kBankStride;
  const uint32_t offset = (address - kBase) % kBankStride;
  uint32_t value = 0;
  if (offset < kDirection) {
    for (uint32_t mask = offset >> 2; mask != 0; mask &= mask - 1) {
      const size_t index = bank * 8 + static_cast<uint32_t>(std::countr_zero(mask));
      const Pin& pin = pins_[index];
      if (pin.look_) pin.look_();
      Use(index);
      // An output reads back its latch, not the wire.
      if (pin.output_ ? pin.data_ : pin.connected_ && pin.level_) value |= mask & -mask;
    }
  } else if (offset == kDirection) {
    for (uint32_t k = 0; k < 8; k++) value |= static_cast<uint32_t>(pins_[bank * 8 + k].output_) << k;
  } else {
    value = interruptRegisters_[address];
  }
  return value;
}

void GpioBanks::WriteRegister(uint32_t address, uint32_t value) {
  const uint32_t bank = (address - kBase) / kBankStride;
  const uint32_t offset = (address - kBase) % kBankStride;
  if (offset < kDirection) {
    for (uint32_t mask = offset >> 2; mask != 0; mask &= mask - 1) {
      const size_t index = bank * 8 + static_cast<uint32_t>(std::countr_zero(mask));
      pins_[index].data_ = (value & mask & -mask) != 0;
      Judge(index);
      Use(index);
    }
  } else if (offset == kDirection) {
    directionSet_[bank] = true;
    for (uint32_t k = 0; k < 8; k++) {
      pins_[bank * 8 + k].output_ = ((value >> k) & 1) != 0;
      Use(bank * 8 + k);
    }
  } else {
    interruptRegisters_[address] = value;
  }
}

void GpioBanks::Reset() {
  for (Pin& pin : pins_) {
    pin.output_ = false;
    pin.data_ = false;
    pin.stuck_ = -1;
    pin.told_ = false;
    pin.Settle();
  }
  interruptRegisters_.clear();
  directionSet_ = {};
}

}  // namespace twin

#include "twin/devices/gpio/pin_wiring.h"

namespace twin {

namespace {

// Function registers lie one word a pin in the order of the banks' pins, pads 0x800 behind them; those of bank 0 are
// 0x810 behind.
struct Wire {
  int bank, pin;
  uint32_t function;  // register; 0 there is GPIO
  uint32_t pad;       // register; 0: an input, not judged
  uint32_t padValue;
  const char* name;
};
constexpr uint32_t kWeak = 0x110, kStrong = 0x130;
constexpr Wire kWires[] = {
    {0, 0, 0x120400C8, 0, 0, "link: answer (or button)"},
    {0, 1, 0x120400CC, 0x120408DC, kStrong, "buzzer"},
    {0, 2, 0x120400D0, 0x120408E0, kStrong, "array power"},
    {0, 4, 0x120400D8, 0x120408E8, kStrong, "LED 0 enable"},
    {0, 5, 0x120400DC, 0x120408EC, kStrong, "link: select (or green)"},
    {0, 6, 0x120400E0, 0x120408F0, kStrong, "link: data (or red)"},
    {0, 7, 0x120400E4, 0x120408F4, kStrong, "link: clock (or blue)"},
    {2, 1, 0x12040014, 0x12040814, kStrong, "shot"},
    {5, 7, 0x1204008C, 0, 0, "INIT and reset"},
    {6, 0, 0x12040090, 0x12040890, kWeak, "PROGRAM_B"},
    {6, 1, 0x12040094, 0, 0, "DONE"},
    {6, 2, 0x12040098, 0x12040898, kWeak, "SUSPEND"},
    {6, 3, 0x1204009C, 0x1204089C, kWeak, "motion bus: data"},
    {6, 4, 0x120400A0, 0x120408A0, kWeak, "motion bus: clock"},
};

struct SpiPin {
  uint32_t function;  // register; 1 there is SPI0
  uint32_t pad;       // register; 0: not judged
  uint32_t padValue;
};
constexpr SpiPin kSpiPins[] = {
    {0x1204007C, 0x1204087C, 0x100},  // clock
    {0x12040080, 0x12040880, 0x100},  // data out
    {0x12040084, 0, 0},               // data in
    {0x12040088, 0x12040888, 0x110},  // select
};

}  // namespace

PinWiring::PinWiring(GpioBanks& gpio, PinRegisters& registers) : gpio_(gpio), registers_(registers) {
  for (const Wire& wire : kWires) {
    const bool isMotionBus = wire.bank == 6 && wire.pin >= 3;
    registers_.SetResetValue(wire.function, isMotionBus ? 0 : 1);
    if (isMotionBus) registers_.SetResetValue(wire.pad, wire.padValue);
  }
  registers_.OnChange([this] { Look(); });
  Look();
}

void PinWiring::Look() {
  for (const Wire& wire : kWires) {
    gpio_.SetPin(wire.bank, wire.pin, registers_.Get(wire.function) == 0,
                 wire.pad == 0 || registers_.Get(wire.pad) == wire.padValue);
  }
}

std::vector<PinWiring::Signal> PinWiring::Signals() {
  std::vector<Signal> signals;
  for (const Wire& wire : kWires) signals.push_back({wire.bank, wire.pin, wire.name});
  return signals;
}

bool PinWiring::SpiLedOut() const {
  for (const SpiPin& pin : kSpiPins) {
    if (registers_.Get(pin.function) != 1) return false;
    if (pin.pad != 0 && registers_.Get(pin.pad) != pin.padValue) return false;
  }
  return true;
}

}  // namespace twin

// Which function and pad each pin of a signal must have: the board's wiring, between pin_registers.h and gpio.h.
//
// Judged: that the pins of banks 0, 2, 5 and 6 that carry a signal are GPIO and, where the processor drives them, that
// their pads have the strength and pull of their wires; that SPI0 is led out, through the right pads. Not judged: pins
// without a signal, pads of inputs. What the pins are after reset is not known: taken as not GPIO, so that a driver
// which relies on it is found, but for the two of the motion bus, whose driver has no set-up of its own.
#pragma once

#include <vector>

#include "twin/devices/gpio/gpio.h"
#include "twin/devices/gpio/pin_registers.h"

namespace twin {

class PinWiring {
 public:
  struct Signal {
    int bank, pin;
    const char* name;
  };
  static std::vector<Signal> Signals();  // of the pins that carry one, by bank and pin

  // Both outlive it.
  PinWiring(GpioBanks& gpio, PinRegisters& registers);

  // Whether SPI0 has its four pins, each with the right function and pad.
  bool SpiLedOut() const;

 private:
  void Look();

  GpioBanks& gpio_;
  PinRegisters& registers_;
};

}  // namespace twin

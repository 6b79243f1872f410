// The layers' configuration: three parts with one set of pins, loaded together over the SPI bus.
//
// Bus face: PROGRAM_B (bank 6 pin 0) low clears; INIT (bank 5 pin 7) goes high when the memory is clear and low again
// at a wrong check sum; DONE (bank 6 pin 1) goes high when a good stream has come in while the configuration clock
// (clock control register 4) ran. INIT is open drain with a pull-up and shares its wire with the layers' reset: once
// configured the layers let go of it. Judged: how long PROGRAM_B stays low, and that the supply was off long enough
// before it comes back: else the parts stay dead, with a complaint. Not judged: how long the supply has been up.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "twin/devices/fpga/array_faults.h"
#include "twin/devices/fpga/bitstream_reader.h"
#include "twin/devices/gpio/gpio.h"
#include "twin/kernel/kernel.h"

namespace twin {

class Configuration {
 public:
  // `changed` is called after Configured() has changed.
  Configuration(Kernel& kernel, ArrayFaults& faults, GpioBanks& gpio, std::function<void(std::string)> complain,
                std::function<void()> changed);

  void SetPower(bool on);
  // Bytes on the bus while the layers are not configured. `clocked`: the configuration clock runs.
  void Feed(std::span<const uint8_t> wire, bool clocked);
  bool Configured() const { return state_ == State::Done; }
  const char* StateName() const;

 private:
  enum class State { Off, Clearing, Waiting, Failed, Done };

  void Clear();
  void BeginHousekeeping();
  void Enter(State state);

  Kernel& kernel_;
  ArrayFaults& faults_;
  Pin& programB_;
  Pin& done_;
  Pin& init_;
  std::function<void(std::string)> complain_;
  std::function<void()> changed_;
  State state_ = State::Off;
  BitstreamReader reader_;
  Kernel::EventId housekeeping_ = 0;
  std::optional<Time> clearedAt_;  // by a low PROGRAM_B that is not over
};

}  // namespace twin

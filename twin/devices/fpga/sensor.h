// One of the 25 image sensors, as its control bus and its frame output show it.
//
// Modelled: reset line and software reset, chip id, streaming, frame timing from clocks, line and frame length,
// shutter, gain and orientation latched at each frame start, temperature. Every other register keeps what is written.
// It streams only with its pixel clock set up and a software reset since its reset line, else it complains; whether
// anybody understands the stream hangs on the lanes' clock and output timing (see Output), and whether its rows are
// whole on window and output size. A temperature is converted in its time while the sensor streams, from a trigger that
// has rested; read before that it is complained about. Not modelled: limits of the clocks, rolling rows, what the image
// processing registers do to a picture (defects, lens, white balance, black level).
//
// Registers with a meaning: 0x0100 bit 0 streaming; 0x0103 software reset; 0x300B, 0x300C chip id; 0x3500 to 0x3502
// shutter in sixteenths of a row; 0x3508 coarse gain, each set bit doubles; 0x3509 fine gain, 0x80 is unity;
// with bit 2 of 0x3503 clear the two are one number instead, in 128ths; 0x0301, 0x0302 multiplier, 0x0303, 0x0304
// dividers of the lanes' clock from 24 MHz, 0x031E bits 2, 3 its output; 0x030C, 0x030D multiplier, 0x030E, 0x030F,
// 0x0312 dividers of the pixel clock; 0x3800 to 0x3807 window, 0x3808 to 0x380B output size; 0x4837 output timing;
// 0x380C, 0x380D line length, a row is twice so many pixel clocks; 0x380E, 0x380F frame length in rows; 0x3820,
// 0x3821 bit 1 flip and mirror; 0x4D12 bit 0 rising takes the temperature, 0x4D13 is it plus 0x40.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "twin/devices/fpga/array_faults.h"
#include "twin/devices/fpga/array_timing.h"
#include "twin/kernel/kernel.h"

namespace twin {

class Sensor {
 public:
  // What one frame is taken with, latched from the registers as it starts.
  struct Exposure {
    double seconds = 0;
    double gain = 1;
    bool mirror = false;
    bool flip = false;
    int lineLength = 0;
    bool wholeRows = true;  // as many and as long as the layers take
    Duration length{0};     // of the whole frame
  };
  struct Listener {
    std::function<void(const Exposure&)> frameEnds;  // with what the frame was really taken with
    std::function<void()> frameStarts;               // at the same moment, for the next one
  };

  Sensor(Kernel& kernel, ArrayFaults& faults, int camera, std::function<void(std::string)> complain);
  void SetListener(Listener listener) { listener_ = std::move(listener); }

  void SetReset(bool held);                     // the reset line, or no supply: set-up is lost
  bool Write(uint16_t address, uint8_t value);  // false: no answer
  std::optional<uint8_t> Read(uint16_t address);

  bool Answers() const { return !held_ && kernel_.Now() >= awakeAt_; }  // on its control bus
  bool Streaming() const { return streaming_; }
  // What a receiver must be set to for the present stream.
  struct Output {
    double laneClock = 0;  // Hz
    uint8_t timing = 0;
    bool operator==(const Output&) const = default;
  };
  Output Lanes() const;
  Time FrameStart() const { return frameStart_; }  // of the present frame; only while streaming and one has started
  bool InFrame() const { return inFrame_; }
  Duration SyncLength() const;  // how long the present frame's sync stays high
  const Exposure& Present() const { return exposure_; }
  uint8_t Register(uint16_t address) const { return registers_[address % registers_.size()]; }

  // world: degrees Celsius of the die
  void SetTemperature(int degrees) { temperature_ = degrees; }
  int Temperature() const { return temperature_; }

 private:
  void SoftReset();
  void SetStreaming(bool on);
  void SetTrigger(bool on);
  double PixelClock() const;
  void StartFrame();
  Exposure Latch() const;
  int Word(uint16_t address) const { return Register(address) << 8 | Register(static_cast<uint16_t>(address + 1)); }

  Kernel& kernel_;
  ArrayFaults& faults_;
  const int camera_;
  std::function<void(std::string)> complain_;
  Listener listener_;
  std::vector<uint8_t> registers_;
  bool held_ = true;
  Time awakeAt_{0};
  bool softReset_ = false;  // there was one since the reset line
  bool streaming_ = false;
  bool inFrame_ = false;
  Time frameStart_{0};
  Exposure exposure_;
  Kernel::EventId frameEvent_ = 0;
  int temperature_ = 35;
  Time triggerLowAt_{0};
  std::optional<Time> convertedAt_;
};

}  // namespace twin

// One of the 25 image sensors, as its control bus and its frame output show it.
//
// Modelled: reset line and software reset, chip id, streaming, frame timing from line and frame length, shutter, gain
// and orientation latched at each frame start, temperature. Every other register keeps what is written. Not modelled:
// clocks and windows other than the one used, rolling rows, the format of the gain other than the sensor's own.
//
// Registers with a meaning: 0x0100 bit 0 streaming; 0x0103 software reset; 0x300B, 0x300C chip id; 0x3500 to 0x3502
// shutter in sixteenths of a row; 0x3508 coarse gain, each set bit doubles; 0x3509 fine gain, 0x80 is unity;
// 0x380C, 0x380D line length, a row is twice so many pixel clocks; 0x380E, 0x380F frame length in rows; 0x3820,
// 0x3821 bit 1 flip and mirror; 0x4D12 bit 0 rising takes the temperature, 0x4D13 is it plus 0x40.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
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
    Duration length{0};  // of the whole frame
  };
  struct Listener {
    std::function<void(const Exposure&)> frameEnds;  // with what the frame was really taken with
    std::function<void()> frameStarts;               // at the same moment, for the next one
  };

  Sensor(Kernel& kernel, ArrayFaults& faults, int camera);
  void SetListener(Listener listener) { listener_ = std::move(listener); }

  void SetReset(bool held);                     // the reset line, or no supply: set-up is lost
  bool Write(uint16_t address, uint8_t value);  // false: no answer
  std::optional<uint8_t> Read(uint16_t address);

  bool Streaming() const { return streaming_; }
  Time FrameStart() const { return frameStart_; }  // of the present frame; only while streaming and one has started
  bool InFrame() const { return inFrame_; }
  Duration SyncLength() const;  // how long the present frame's sync stays high
  const Exposure& Present() const { return exposure_; }
  uint8_t Register(uint16_t address) const { return registers_[address % registers_.size()]; }

  // world: degrees Celsius of the die
  void SetTemperature(int degrees) { temperature_ = degrees; }

 private:
  bool Answers() const { return !held_ && kernel_.Now() >= awakeAt_; }
  void SoftReset();
  void SetStreaming(bool on);
  void StartFrame();
  Exposure Latch() const;
  int Word(uint16_t address) const { return Register(address) << 8 | Register(static_cast<uint16_t>(address + 1)); }

  Kernel& kernel_;
  ArrayFaults& faults_;
  const int camera_;
  Listener listener_;
  std::vector<uint8_t> registers_;
  bool held_ = true;
  Time awakeAt_{0};
  bool streaming_ = false;
  bool inFrame_ = false;
  Time frameStart_{0};
  Exposure exposure_;
  Kernel::EventId frameEvent_ = 0;
  int temperature_ = 35;
};

}  // namespace twin

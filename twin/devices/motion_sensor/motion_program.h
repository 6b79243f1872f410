// The motion processor's memory and the program in it (DMP): what its switches say, and the packets that it makes.
//
// The program itself is not run: any image of its size counts, and what the chip does is read off the places that a
// driver writes over, given in motion_program.cpp. Each place is an instruction or a number of the program, and takes
// only what it is known to take; anywhere else a write behind the load breaks the program. Modelled: mounting of both
// sensors, which must be the same; packet content (six-axis quaternion, accelerometer, gyroscope, gesture bytes); rate
// divider. Not modelled: the fusion (a packet tells the attitude as it is, with some noise), the quaternion of the
// gyroscope alone, taps and what else there is.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "twin/attitude.h"

namespace twin {

class MotionProgram {
 public:
  static constexpr uint32_t kBank = 256;
  static constexpr uint32_t kBanks = 12;

  void PowerOn();  // memory and start address are gone

  // Addresses past the last bank lead nowhere.
  void Write(uint16_t address, uint8_t value);
  uint8_t Read(uint16_t address) const;
  void SetStart(uint16_t address) { start_ = address; }

  // Why it cannot run, as what "the motion program" does or is; empty: it can.
  std::string Fault() const;
  // Made of every so many samples.
  uint32_t Divider() const;
  // The rotation from the chip's axes to the ones that packets speak in; nothing if the two sensors' differ, or make
  // none.
  std::optional<Rotation> Mounting() const;

  struct Measured {
    std::array<double, 4> quaternion;  // w x y z of the mounted axes
    std::array<int16_t, 3> accel;      // chip's axes, 16384 a g
    std::array<int16_t, 3> gyro;       // chip's axes
  };
  std::vector<uint8_t> Packet(const Measured& measured) const;

 private:
  template <size_t N>
  bool Holds(uint16_t address, const std::array<uint8_t, N>& bytes) const;

  std::array<uint8_t, kBank * kBanks> memory_{};
  uint32_t written_ = 0;  // bytes from 0 on without a gap
  uint32_t broken_ = 0;   // a place that was written behind the load and is none to be set; 0: none
  std::optional<uint16_t> start_;
};

}  // namespace twin

// The chip's own line and frame timing, for sensors that are slaves of it: without it, what is on the lanes is taken
// for nothing.
//
// Bus face: control at 0x113800A0; frame period, line period and the widths of both pulses from 0x113800B0, by address
// or by a mapping through the media library. Modelled: whether it runs, its rate, and how many lines fit into a frame.
// Not modelled: the other bits of the control word, the width of the pulses. The array sends when it is asked to.
#pragma once

#include <array>
#include <utility>
#include <vector>

#include "twin/register_space.h"

namespace twin {

class FrameTiming final : public RegisterDevice {
 public:
  static constexpr uint32_t kBase = 0x113800A0;
  static constexpr uint32_t kSize = 0x20;
  static constexpr uint32_t kControl = 0x113800A0;      // bits 31 and 30: frame and line pulses run
  static constexpr uint32_t kFramePeriod = 0x113800B0;  // in sensor clocks
  static constexpr uint32_t kLinePeriod = 0x113800B4;   // in sensor clocks
  static constexpr uint32_t kFramePulse = 0x113800B8;   // widths; a pulse of none is none
  static constexpr uint32_t kLinePulse = 0x113800BC;

  static constexpr uint32_t kClock = 72'000'000;  // Hz, of the sensor

  // --- bus ---
  uint32_t ReadRegister(uint32_t address) override { return *Word(address); }
  void WriteRegister(uint32_t address, uint32_t value) override { *Word(address) = value; }
  void* Map(uint32_t address, uint32_t size);           // null: not all of it is here
  bool Holds(const void* mapped, uint32_t size) const;  // so mapped
  bool Unmap(const void* mapped, uint32_t size);        // false: not so mapped

  // Whether a frame of so many lines has its time.
  bool Carries(uint32_t lines) const;
  bool Runs() const { return At(kControl) >> 30 == 3; }
  double Rate() const { return double(kClock) / At(kFramePeriod); }  // frames per second
  uint32_t Lines() const { return At(kLinePeriod) == 0 ? 0 : At(kFramePeriod) / At(kLinePeriod); }
  size_t Mapped() const { return mapped_.size(); }  // mappings that have not been given back

  void Reset() { *this = FrameTiming{}; }

 private:
  uint32_t* Word(uint32_t address) { return &words_[(address - kBase) / 4 % words_.size()]; }
  uint32_t At(uint32_t address) const { return words_[(address - kBase) / 4]; }

  std::array<uint32_t, kSize / 4> words_{};
  std::vector<std::pair<const void*, uint32_t>> mapped_;
};

}  // namespace twin

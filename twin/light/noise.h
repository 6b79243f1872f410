// The noise of the sensors: how strong it is, and the numbers that it is made of.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "twin/light/chance.h"

namespace twin {

// That of counting about 12000 electrons at full scale and unity gain, and of reading them out.
class SensorNoise {
 public:
  explicit SensorNoise(float gain) : readSquare_(0.0006f * gain * (0.0006f * gain)), shot_(gain / 12000) {}
  // Deviation of a linear signal, 1 at full scale. Beyond that the noise no longer matters; it is kept finite.
  float At(float signal) const { return std::sqrt(readSquare_ + shot_ * std::min(signal, 2.0f)); }

 private:
  float readSquare_, shot_;
};

constexpr size_t noisePeriod = 1 << 15;
constexpr size_t noiseRun = 2 * 1632;  // numbers that may be read from any place of the period on

// Normally distributed numbers: mean 0, deviation 1.
const float* NoiseTable();

// A place in the table for one row of one colour. `noise`: which of all possible noises.
inline size_t NoisePlace(uint64_t noise, int row, int colour) {
  return Mixed(noise ^ static_cast<uint64_t>(row * 4 + colour)) % noisePeriod;
}

}  // namespace twin

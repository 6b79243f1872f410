// The stand-ins' arbitrary values: the same on every host and in every build.
#pragma once

#include <cstdint>

namespace blobs {

// The SplitMix64 sequence (public domain), one 64-bit value a call.
class StandInValues {
 public:
  explicit StandInValues(uint64_t seed) : state_(seed) {}

  uint64_t Next() {
    uint64_t z = state_ += 0x9E3779B97F4A7C15u;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }

  // Evenly spread over -1 to 1.
  double NextSigned() { return static_cast<double>(Next() >> 11) * 0x1p-52 - 1.0; }

 private:
  uint64_t state_;
};

}  // namespace blobs

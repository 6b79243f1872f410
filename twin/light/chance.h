// Numbers that look like chance and follow from their arguments alone.
#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>

namespace twin {

// Mixes 64 bits into 64 bits (the SplitMix64 finisher).
constexpr uint64_t Mixed(uint64_t z) {
  z += 0x9E3779B97F4A7C15u;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
  return z ^ (z >> 31);
}

// 0 to 1 for a point of an integer grid; cheap enough for textures.
inline float GridChance(int x, int y, uint32_t seed) {
  uint32_t h = static_cast<uint32_t>(x) * 0x8DA6B343u ^ static_cast<uint32_t>(y) * 0xD8163841u ^ seed;
  h = (h ^ h >> 15) * 0x2C1B3C6Du;
  h = (h ^ h >> 12) * 0x297A2D39u;
  return static_cast<float>((h ^ h >> 15) >> 8) * 0x1p-24f;
}

// Smooth noise, 0 to 1, one feature per unit.
inline float SmoothNoise(float x, float y, uint32_t seed) {
  // Floor, without the call: coordinates fit an int.
  const int ix = static_cast<int>(x) - (x < 0), iy = static_cast<int>(y) - (y < 0);
  float tx = x - static_cast<float>(ix), ty = y - static_cast<float>(iy);
  tx = tx * tx * (3 - 2 * tx);
  ty = ty * ty * (3 - 2 * ty);
  const float a = GridChance(ix, iy, seed), b = GridChance(ix + 1, iy, seed);
  const float c = GridChance(ix, iy + 1, seed), d = GridChance(ix + 1, iy + 1, seed);
  return a + (b - a) * tx + (c - a + (a - b - c + d) * tx) * ty;
}

// The n-th normally distributed number (mean 0, deviation 1) of the sequence `seed`.
inline float NormalChance(uint64_t seed, uint64_t n) {
  const uint64_t bits = Mixed(seed ^ Mixed(n));
  const double u = (static_cast<double>(bits >> 40) + 1) * 0x1p-24;
  const double v = static_cast<double>(bits & 0xFFFFFF) * 0x1p-24;
  return static_cast<float>(std::sqrt(-2 * std::log(u)) * std::cos(2 * std::numbers::pi * v));
}

}  // namespace twin

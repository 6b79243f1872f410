// What pictures are made of here: pixels of four numbers that the processor takes in one register.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tools/panorama/memory.h"

namespace panorama {

// Red, green, blue, and one that goes along unused.
using Codes = int16_t __attribute__((vector_size(8)));
using Ints = int32_t __attribute__((vector_size(16)));
using Floats = float __attribute__((vector_size(16)));

// Codes of light go from 0 to this, in even steps for the eye. A little beyond it may stand where pictures are sharp.
constexpr int highestCode = 4080;
constexpr int codesPerLevel = 16;  // of a picture of 8 bits

inline Floats Splat(float value) { return Floats{value, value, value, value}; }
inline Floats Smaller(Floats a, Floats b) { return a < b ? a : b; }
// Rounds numbers from 0 on, below 32767.
inline Codes ToCodes(Floats values) {
  return __builtin_convertvector(__builtin_convertvector(values + 0.5f, Ints), Codes);
}
// What a picture can show of codes.
inline Codes Shown(Codes codes) {
  codes = codes > 0 ? codes : 0;
  return codes < highestCode ? codes : highestCode;
}

// A rectangle of pixels, rows from the top. Rows hold an even number of pixels, so that two can go at once.
template <typename Pixel>
class Layer {
 public:
  Layer() = default;
  Layer(int width, int height, Block::Content content = Block::Content::Anything)
      : width_(width),
        height_(height),
        stride_(static_cast<size_t>(width + 1) / 2 * 2),
        memory_((stride_ * static_cast<size_t>(height) + 1) * sizeof(Pixel), content) {}

  int Width() const { return width_; }
  int Height() const { return height_; }
  Pixel* Row(int y) { return static_cast<Pixel*>(memory_.Get()) + static_cast<size_t>(y) * stride_; }
  const Pixel* Row(int y) const { return static_cast<const Pixel*>(memory_.Get()) + static_cast<size_t>(y) * stride_; }

 private:
  int width_ = 0, height_ = 0;
  size_t stride_ = 0;
  Block memory_;
};

}  // namespace panorama

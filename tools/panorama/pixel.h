// What pictures are made of here: pixels of four numbers that the processor takes in one register.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>

namespace panorama {

// Red, green, blue, and one that goes along unused.
using Codes = int16_t __attribute__((vector_size(8)));
using Floats = float __attribute__((vector_size(16)));

// Codes of light go from 0 to this, in even steps for the eye. A little beyond it may stand where pictures are sharp.
constexpr int highestCode = 4080;
constexpr int codesPerLevel = 16;  // of a picture of 8 bits

inline Floats Splat(float value) { return Floats{value, value, value, value}; }
inline Floats Smaller(Floats a, Floats b) { return a < b ? a : b; }
inline Floats Larger(Floats a, Floats b) { return a > b ? a : b; }

// A rectangle of pixels, rows from the top. Rows hold an even number of pixels, so that two can go at once.
template <typename Pixel>
class Layer {
 public:
  Layer() = default;
  Layer(int width, int height)
      : width_(width), height_(height), stride_(static_cast<size_t>(width + 1) / 2 * 2), pixels_(Zeros(Size())) {}

  int Width() const { return width_; }
  int Height() const { return height_; }
  Pixel* Row(int y) { return pixels_.get() + static_cast<size_t>(y) * stride_; }
  const Pixel* Row(int y) const { return pixels_.get() + static_cast<size_t>(y) * stride_; }

 private:
  struct Free {
    void operator()(Pixel* pixels) const { std::free(pixels); }
  };
  size_t Size() const { return stride_ * static_cast<size_t>(height_); }
  // Memory that is zero without having been touched.
  static Pixel* Zeros(size_t count) {
    void* memory = std::calloc(count + 1, sizeof(Pixel));
    if (!memory) throw std::bad_alloc();
    return static_cast<Pixel*>(memory);
  }

  int width_ = 0, height_ = 0;
  size_t stride_ = 0;
  std::unique_ptr<Pixel[], Free> pixels_;
};

}  // namespace panorama

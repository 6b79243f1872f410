// One camera's picture, decoded, and its pixels in between.
#pragma once

#include <cstdint>
#include <span>

#include "tools/panorama/pixel.h"

namespace panorama {

// Rows of four bytes a pixel (red, green, blue, nothing), as the picture stands in the file.
class Picture {
 public:
  // Decodes a full picture to 1/`reduction` of its size (1, 2, 4 or 8). Throws shot::BadJpeg for anything but a sound
  // picture of the full size.
  Picture(std::span<const uint8_t> jpeg, int reduction);

  // Levels (0 to 255, and somewhat beyond at sharp edges) at `count` points, told in pixels of the full picture as in
  // geometry.h, by a cubic through the nearest 4 x 4 pixels. A point outside gets what stands at the border.
  void Sample(const float* x, const float* y, int count, Floats* levels) const;

 private:
  int width_, height_, reduction_;
  Block bytes_;
};

}  // namespace panorama

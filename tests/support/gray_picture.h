// A JPEG's brightness, decoded by a library that had no part in making it.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

struct GrayPicture {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> pixels;  // row by row

  int At(int x, int y) const {
    return pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
  }
};

struct JpegHeader {
  int width = 0;
  int height = 0;
  bool is420 = false;
  int lumaQuantisation = 0;  // first (DC) value of the luma table; 2 at quality 95, 5 at quality 85
};

// Throws std::runtime_error with the decoder's words if it is not a sound JPEG; warnings count as errors.
//   reduction  1, 2, 4 or 8: each side is divided by it
GrayPicture DecodeGray(std::span<const uint8_t> jpeg, int reduction = 1);
JpegHeader ReadJpegHeader(std::span<const uint8_t> jpeg);

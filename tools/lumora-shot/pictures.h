// Looks into the JPEGs of a shot: what one is, whether its data are sound, its pixels.
//
// Every function takes bytes of any kind. What is no sound JPEG throws BadJpeg, whose text says why; no memory is taken
// for a picture larger than the camera's own.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace shot {

struct BadJpeg : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct JpegFacts {
  int width = 0;
  int height = 0;
  bool yuv420 = false;  // three components YCbCr, chroma halved both ways
  int quality = 0;      // 1 to 100 if the luma table is the standard one at that quality, else 0
};

// Reads the head only. Throws BadJpeg.
JpegFacts ReadJpegHead(std::span<const uint8_t> jpeg);

// Decodes all of the data and tells what is wrong with them: "" if nothing. A picture that is cut short or has broken
// codes decodes to something all the same, so this is the only place where that is found.
std::string WhatIsWrongWithTheData(std::span<const uint8_t> jpeg);

struct Gray {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> pixels;  // rows from the top, no padding
  uint8_t At(int x, int y) const {
    return pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
  }
};

struct Yuv {  // 4:2:0
  int width = 0;
  int height = 0;
  std::vector<uint8_t> y, u, v;  // u and v have half the width and half the height
};

struct Rgb {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> pixels;  // 3 bytes a pixel
  std::string wrong;            // what was wrong with the data, as above
};

// Luma alone, whole or at 1/`reduction` of the size (1, 2, 4 or 8; sizes round up). Throws BadJpeg at any damage.
Gray DecodeGray(std::span<const uint8_t> jpeg, int reduction = 1);
// The three planes as they are coded. Throws BadJpeg at any damage, and if the picture is not 4:2:0 of even size.
Yuv DecodeYuv(std::span<const uint8_t> jpeg);
// For looking at. Damaged data decode as far as they can; only a bad head throws.
Rgb DecodeRgb(std::span<const uint8_t> jpeg, int reduction = 1);

// RGB, 3 bytes a pixel, to a JPEG 4:2:0. Throws BadJpeg.
std::vector<uint8_t> EncodeRgb(const Rgb& picture, int quality);

}  // namespace shot

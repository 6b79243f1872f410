// From a view to pixels: exposure, noise, clipping, the tone curve, and the way to Y, Cb and Cr.
#pragma once

#include <cstdint>
#include <vector>

#include "twin/light/view.h"

namespace twin {

// A picture of the half size with a chroma sample for each pixel (JFIF's YCbCr, rows without padding). Its chroma is
// just that of the full picture's 4:2:0.
struct Planes {
  std::vector<uint8_t> y, cb, cr;
};

struct Development {
  float signal = 1;     // linear signal of light 1 at this exposure, that is seconds x gain x light x signalPerExposure
  float gain = 1;       // for the noise: 1 is unity
  bool mirror = false;  // left and right of the upright view change places
  bool flip = false;    // top and bottom change places
  uint64_t noise = 0;   // which of all possible noises
};

// The sensor clips at full scale, its black lies at 14 of 1023 (so noise in the dark is not cut off), and its noise is
// that of counting about 12000 electrons at full scale and unity gain, and of reading them out.
Planes Develop(const View& view, const Development& development);

// The luma of the full size: twice as many pixels each way, in between by straight lines, with a grain of its own.
void EnlargeLuma(const Planes& planes, float gain, uint64_t noise, std::vector<uint8_t>& luma);

// The chroma of the half size: means of 2 x 2.
void ReduceChroma(const std::vector<uint8_t>& chroma, std::vector<uint8_t>& reduced);

}  // namespace twin

// The world itself as one equirectangular picture, straight from the world and through no lens: the truth that a
// panorama of the camera's pictures can be held against.
#pragma once

#include <cstdint>
#include <vector>

#include "twin/light/world.h"

namespace twin {

// A JPEG, width x width/2, without subsampling, as the sensors would show this light at this exposure, without noise.
// The middle is the world's front (azimuth 0), to the right of it the world's right; the upper edge is the zenith. Each
// pixel is the mean of four places in it, each clipped as a sensor clips.
//   lit       in the unit of tone.h
//   exposure  seconds x gain x factor on the light
//   width     even, 2 to 16384
// Both of the machine's cores work on it. Throws std::runtime_error if it cannot be encoded.
std::vector<uint8_t> WorldPicture(const World& lit, double exposure, int width);

}  // namespace twin

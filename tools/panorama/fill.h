// What no camera saw: filled with what runs in from around, coarsely from far and finely from near.
#pragma once

#include "tools/panorama/pixel.h"

namespace panorama {

// `light` holds, for each pixel, the share of it that the cameras gave (in 1/full) times its light; becomes light.
void FillHoles(Layer<Codes>* light, const Layer<int16_t>& shares, int full);

}  // namespace panorama

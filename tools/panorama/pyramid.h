// Pictures at half and double size: what blending over several bands is made of (Burt and Adelson, "A multiresolution
// spline with application to image mosaics", 1983), with the short kernels (1 3 3 1)/8 down and (1 3)/4 up, whose
// pixels lie in fours below one another. All in 16 bits; what is lost by rounding on the way down is in the bands.
#pragma once

#include <vector>

#include "tools/panorama/pixel.h"

namespace panorama {

enum class Edge { Ends, GoesRound };  // left and right; top and bottom end

// Half of it: width and height must be even.
Layer<Codes> Halved(const Layer<Codes>& layer);

// One row of the double size of `coarse`. `room` is scratch.
void DoubledRow(const Layer<Codes>& coarse, int row, Edge edge, std::vector<Codes>* room, Codes* out);

// Takes from each layer but the last what is in the next coarser one, and leaves the bands.
void ToBands(std::vector<Layer<Codes>>* layers);

}  // namespace panorama

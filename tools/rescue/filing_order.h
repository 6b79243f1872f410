// The order in which the camera files the pictures of a shot: layer by layer, in each its exposures, in each its
// cameras. A two-half shot is filed in that order twice, the cameras of its first half and then those of its second.
//
// Each frame is two pictures, the full one and the half one. They follow each other in either order, as the two
// encoders finish; a frame that was asked for again is filed once all the same.
#pragma once

#include <vector>

namespace rescue {

struct Frame {
  int camera;    // 0 to 24
  int exposure;  // 0 to 2, or to 5
  int run;       // frames of one run come from one layer and exposure, one camera after the other
  bool operator==(const Frame&) const = default;
};

// exposures  3 or 6
std::vector<Frame> FilingOrder(int exposures, bool twoHalf);

}  // namespace rescue

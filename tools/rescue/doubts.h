// What the pictures say against the order that the record tells.
#pragma once

#include "tools/rescue/chains.h"

namespace rescue {

// From which frame on the order itself is in doubt: the number of frames, if it is not. The pictures of an order that
// is right become brighter from exposure to exposure, those of a wrong one do not. The first pictures in the source
// are taken for the first of the shot.
int OrderHoldsUntil(const Evidence& evidence);

// The runs that a frame which came twice or late may have put out of order, so that pictures are those of a camera
// before or behind: runs in which two cameras show the very same although not all do, the run before each, in whose
// last frames it may have happened, and one behind that is not whole. `pictures`: by their number in the shot, -1 where
// there is none.
std::vector<bool> RunsOutOfOrder(const Evidence& evidence, const std::vector<int>& pictures);

// The frames that show clearly more of what a camera beside theirs shows in its other exposures than of their own.
std::vector<bool> FramesOfAnotherCamera(const Evidence& evidence, const std::vector<int>& pictures);

}  // namespace rescue

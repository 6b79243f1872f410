// What the pictures say against the order that the record tells.
#pragma once

#include "tools/rescue/chains.h"

namespace rescue {

// From which frame on the order itself is in doubt: the number of frames, if it is not. The pictures of an order that
// is right become brighter from exposure to exposure, those of a wrong one do not. The first pictures in the source
// are taken for the first of the shot.
int OrderHoldsUntil(const Evidence& evidence);

// The runs in which two neighbouring cameras show the same although not all do: a frame came twice there, or late, and
// the pictures may be those of the next camera, or of the one before. `pictures`: by their number in the shot, -1 where
// there is none.
std::vector<bool> RunsWithAFrameTwice(const Evidence& evidence, const std::vector<int>& pictures);

}  // namespace rescue

// What pictures say of each other by what they show.
#pragma once

#include "tools/rescue/picture_finder.h"

namespace rescue {

// Mean absolute difference, 0 to 255.
double Difference(const Small& a, const Small& b);

// Whether one scene is in both, in whatever exposure: correlation, -1 to 1. 0 if one of them is even.
double Correlation(const Small& a, const Small& b);

double Mean(const Small& small);

}  // namespace rescue

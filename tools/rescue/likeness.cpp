#include "tools/rescue/likeness.h"

#include <cmath>
#include <cstdlib>

namespace rescue {

double Difference(const Small& a, const Small& b) {
  int sum = 0;
  for (size_t i = 0; i < a.pixels.size(); ++i) sum += std::abs(a.pixels[i] - b.pixels[i]);
  return static_cast<double>(sum) / static_cast<double>(a.pixels.size());
}

double Mean(const Small& small) {
  int sum = 0;
  for (const uint8_t pixel : small.pixels) sum += pixel;
  return static_cast<double>(sum) / static_cast<double>(small.pixels.size());
}

double Correlation(const Small& a, const Small& b) {
  const double meanA = Mean(a), meanB = Mean(b);
  double ab = 0, aa = 0, bb = 0;
  for (size_t i = 0; i < a.pixels.size(); ++i) {
    const double x = a.pixels[i] - meanA, y = b.pixels[i] - meanB;
    ab += x * y;
    aa += x * x;
    bb += y * y;
  }
  const double least = static_cast<double>(a.pixels.size());  // a level of spread
  return aa < least || bb < least ? 0 : ab / std::sqrt(aa * bb);
}

}  // namespace rescue

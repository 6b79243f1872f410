#include "tools/rescue/filing_order.h"

#include <array>
#include <cstddef>

#include "tools/lumora-shot/layout.h"

namespace rescue {

std::vector<Frame> FilingOrder(int exposures, bool twoHalf) {
  static const std::array<std::vector<int>, 3> layers = {{{0, 1, 2, 3, 4, 5, 6, 7, 8},  //
                                                          {9, 10, 11, 12, 13, 14, 15, 24},
                                                          {16, 17, 18, 19, 20, 21, 22, 23}}};
  std::vector<Frame> order;
  int run = 0;
  for (const bool half : {true, false}) {
    if (!twoHalf && !half) break;
    for (const auto& layer : layers) {
      for (int exposure = 0; exposure < exposures; ++exposure, ++run) {
        for (const int camera : layer)
          if (!twoHalf || shot::firstHalf[static_cast<std::size_t>(camera)] == half)
            order.push_back({camera, exposure, run});
      }
    }
  }
  return order;
}

}  // namespace rescue

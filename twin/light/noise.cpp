#include "twin/light/noise.h"

#include <vector>

namespace twin {

const float* NoiseTable() {
  static const std::vector<float> table = [] {
    std::vector<float> values(noisePeriod + noiseRun);
    for (size_t i = 0; i < values.size(); i++) values[i] = NormalChance(1, i % noisePeriod);
    return values;
  }();
  return table.data();
}

}  // namespace twin

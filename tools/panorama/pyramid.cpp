#include "tools/panorama/pyramid.h"

#include <algorithm>
#include <cstring>

namespace panorama {
namespace {

using Pair = int16_t __attribute__((vector_size(16)));  // two pixels

Pair Load(const Codes* at) {
  Pair pair;
  std::memcpy(&pair, at, sizeof pair);
  return pair;
}
void Store(Codes* at, Pair pair) { std::memcpy(at, &pair, sizeof pair); }

}  // namespace

Layer<Codes> Halved(const Layer<Codes>& layer) {
  Layer<Codes> half(layer.Width() / 2, layer.Height() / 2);
  const int width = layer.Width();
  std::vector<Codes> room(static_cast<size_t>(width) + 4);
  Codes* column = room.data() + 1;
  for (int y = 0; y < half.Height(); y++) {
    const Codes* far0 = layer.Row(std::max(2 * y - 1, 0));
    const Codes *near0 = layer.Row(2 * y), *near1 = layer.Row(2 * y + 1);
    const Codes* far1 = layer.Row(std::min(2 * y + 2, layer.Height() - 1));
    for (int x = 0; x < width; x += 2) {
      const Pair near = Load(near0 + x) + Load(near1 + x), far = Load(far0 + x) + Load(far1 + x);
      Store(column + x, (near * 3 + far + 4) >> 3);
    }
    column[-1] = column[0];
    column[width] = column[width - 1];
    Codes* out = half.Row(y);
    for (int x = 0; x < half.Width(); x++) {
      const Codes near = column[2 * x] + column[2 * x + 1], far = column[2 * x - 1] + column[2 * x + 2];
      out[x] = (near * 3 + far + 4) >> 3;
    }
  }
  return half;
}

void DoubledRow(const Layer<Codes>& coarse, int row, Edge edge, std::vector<Codes>* room, Codes* out) {
  const int width = coarse.Width();
  room->resize(static_cast<size_t>(width) + 4);
  Codes* column = room->data() + 1;
  const Codes* near = coarse.Row(row / 2);
  const Codes* far = coarse.Row(std::clamp(row / 2 + (row % 2 ? 1 : -1), 0, coarse.Height() - 1));
  for (int x = 0; x < width; x += 2) Store(column + x, (Load(near + x) * 3 + Load(far + x) + 2) >> 2);
  column[-1] = edge == Edge::Ends ? column[0] : column[width - 1];
  column[width] = edge == Edge::Ends ? column[width - 1] : column[0];
  for (int x = 0; x < width; x++) {
    const Codes here = column[x] * 3 + 2;
    out[2 * x] = (here + column[x - 1]) >> 2;
    out[2 * x + 1] = (here + column[x + 1]) >> 2;
  }
}

void ToBands(std::vector<Layer<Codes>>* layers) {
  std::vector<Codes> room, doubled;
  for (size_t i = 0; i + 1 < layers->size(); i++) {
    Layer<Codes>& layer = (*layers)[i];
    doubled.resize(static_cast<size_t>(layer.Width()) + 2);
    for (int y = 0; y < layer.Height(); y++) {
      DoubledRow((*layers)[i + 1], y, Edge::Ends, &room, doubled.data());
      Codes* row = layer.Row(y);
      for (int x = 0; x < layer.Width(); x += 2) Store(row + x, Load(row + x) - Load(&doubled[static_cast<size_t>(x)]));
    }
  }
}

}  // namespace panorama

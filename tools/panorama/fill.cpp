#include "tools/panorama/fill.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace panorama {
namespace {

// Red, green, blue and share; the colours hold light times share.
using Part = Floats;

Layer<Part> Gathered(const Layer<Part>& fine) {
  Layer<Part> coarse((fine.Width() + 1) / 2, (fine.Height() + 1) / 2);
  for (int y = 0; y < coarse.Height(); y++)
    for (int x = 0; x < coarse.Width(); x++) {
      const int right = std::min(2 * x + 1, fine.Width() - 1), below = std::min(2 * y + 1, fine.Height() - 1);
      coarse.Row(y)[x] =
          (fine.Row(2 * y)[2 * x] + fine.Row(2 * y)[right] + fine.Row(below)[2 * x] + fine.Row(below)[right]) / 4;
    }
  return coarse;
}

// The coarser layer in the middle of a finer pixel, by straight lines; columns go round.
Floats Between(const Layer<Part>& coarse, int x, int y) {
  const int nearX = x / 2, nearY = y / 2;
  int farX = nearX + (x % 2 ? 1 : -1);
  farX = farX < 0 ? coarse.Width() - 1 : farX >= coarse.Width() ? 0 : farX;
  const int farY = std::clamp(nearY + (y % 2 ? 1 : -1), 0, coarse.Height() - 1);
  return (coarse.Row(nearY)[nearX] * 9 + coarse.Row(nearY)[farX] * 3 + coarse.Row(farY)[nearX] * 3 +
          coarse.Row(farY)[farX]) /
         16;
}

// What a pixel lacks comes from `around`, which is whole.
Floats Completed(Part part, Floats around) {
  const float share = std::clamp(part[3], 0.0f, 1.0f);
  Floats whole = part + around * (1 - share);
  whole[3] = 1;
  return whole;
}

// Rows from `first` to the pole, `step` apart, of which nothing was seen: each becomes what the row before `first` runs
// into when it is stretched over the cap like a skin (Poisson's integral; the tangent of half the distance from the
// pole makes a plane of the sphere that keeps angles). Else the pole would be a star.
void StretchOverPole(Layer<Part>* layer, int first, int step) {
  const int width = layer->Width(), height = layer->Height(), rim = first - step;
  const auto radius = [&](int y) {
    const double fromPole = (step > 0 ? height - 0.5 - y : y + 0.5) / height * std::numbers::pi;
    return std::tan(fromPole / 2);
  };
  for (int y = first; y >= 0 && y < height; y += step) {
    const double inner = radius(y) / radius(rim);
    std::vector<float> weights(static_cast<size_t>(width));
    double sum = 0;
    for (int x = 0; x < width; x++)
      sum += weights[static_cast<size_t>(x)] = static_cast<float>(
          (1 - inner * inner) / (1 - 2 * inner * std::cos(2 * std::numbers::pi * x / width) + inner * inner));
    for (int x = 0; x < width; x++) {
      Part value = Splat(0);
      for (int i = 0; i < width; i++) value += layer->Row(rim)[(x + i) % width] * weights[static_cast<size_t>(i)];
      layer->Row(y)[x] = value / static_cast<float>(sum);
    }
  }
}

void StretchOverPoles(Layer<Part>* layer, const Layer<int16_t>& shares) {
  const auto unseen = [&](int y) {
    return std::all_of(shares.Row(y), shares.Row(y) + shares.Width(), [](int16_t share) { return share == 0; });
  };
  int top = 0, bottom = layer->Height();
  while (top < bottom && unseen(top)) top++;
  while (bottom > top && unseen(bottom - 1)) bottom--;
  if (top == bottom) return;
  if (top > 0) StretchOverPole(layer, top - 1, -1);
  if (bottom < layer->Height()) StretchOverPole(layer, bottom, 1);
}

}  // namespace

void FillHoles(Layer<Codes>* light, const Layer<int16_t>& shares, int full) {
  std::vector<Layer<Part>> layers;
  layers.emplace_back(light->Width(), light->Height());
  for (int y = 0; y < light->Height(); y++)
    for (int x = 0; x < light->Width(); x++) {
      Part part = __builtin_convertvector(light->Row(y)[x], Floats);
      part[3] = static_cast<float>(shares.Row(y)[x]) / static_cast<float>(full);
      layers[0].Row(y)[x] = part;
    }
  while (layers.back().Width() > 1 || layers.back().Height() > 1) layers.push_back(Gathered(layers.back()));
  Part& all = layers.back().Row(0)[0];
  all = all[3] > 0 ? all / all[3] : Splat(1);
  for (size_t i = layers.size() - 1; i-- > 0;)
    for (int y = 0; y < layers[i].Height(); y++)
      for (int x = 0; x < layers[i].Width(); x++) {
        // A little light that is the pixel's own beats all that comes from around.
        Part part = layers[i].Row(y)[x];
        if (part[3] > 0) part *= std::min((i == 0 ? 32 : 4) * part[3], 1.0f) / part[3];
        layers[i].Row(y)[x] = Completed(part, Between(layers[i + 1], x, y));
      }
  StretchOverPoles(&layers[0], shares);
  for (int y = 0; y < light->Height(); y++)
    for (int x = 0; x < light->Width(); x++)
      light->Row(y)[x] = __builtin_convertvector(layers[0].Row(y)[x] + 0.5f, Codes);
}

}  // namespace panorama

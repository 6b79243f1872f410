#include "twin/light/view.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "twin/light/picture_source.h"

namespace twin {
namespace {

static_assert(View::width == WidthOf(PictureSize::Half) && View::height == HeightOf(PictureSize::Half));

// Light that reaches the point (u, v) of the full picture.
Rgb LightAt(const World& world, const Lens& lens, const Stance& stance, float u, float v) {
  const Rgb seen = world.Look(stance.ToWorld(lens.DirectionAt(u, v)));
  const Rgb left = lens.RelativeLightAt(u, v);
  return {seen.r * left.r, seen.g * left.g, seen.b * left.b};
}

}  // namespace

View::View(const World& world, const Lens& lens, const Stance& stance, float scale)
    : codes_(size_t{3} * width * height) {
  const auto scaled = [&](float u, float v, float factor) {
    const Rgb light = LightAt(world, lens, stance, u, v);
    return Rgb{light.r * factor, light.g * factor, light.b * factor};
  };
  for (int row = 0; row < height; row++) {
    for (int column = 0; column < width; column++) {
      Store(row, column, scaled(static_cast<float>(2 * column + 1), static_cast<float>(2 * row + 1), scale));
    }
  }
  // The edges are found before any is smoothed, so that smoothing does not feed on itself.
  std::vector<int> edges;
  for (int i = 0; i < width * height; i++) {
    if (IsEdge(i / width, i % width)) edges.push_back(i);
  }
  for (const int i : edges) {
    const auto u = static_cast<float>(2 * (i % width)), v = static_cast<float>(2 * (i / width));
    Rgb sum;
    for (const auto& [du, dv] : {std::pair{0.25f, 0.75f}, {0.75f, 1.75f}, {1.25f, 0.25f}, {1.75f, 1.25f}}) {
      const Rgb light = scaled(u + du, v + dv, scale / 4);
      // A pixel holds no more than the brightest code: a sliver of the sun must not drown its neighbours.
      sum = {sum.r + std::min(light.r, 64.0f), sum.g + std::min(light.g, 64.0f), sum.b + std::min(light.b, 64.0f)};
    }
    Store(i / width, i % width, sum);
  }
}

void View::Store(int row, int column, Rgb light) {
  const float parts[] = {light.r, light.g, light.b};
  for (int colour = 0; colour < 3; colour++) {
    codes_[Offset(row, colour) + static_cast<size_t>(column)] =
        static_cast<uint16_t>(std::min(std::sqrt(std::max(parts[colour], 0.0f)) * codePerRoot + 0.5f, 65535.0f));
  }
}

bool View::IsEdge(int row, int column) const {
  const uint16_t* here = Row(row, 1) + column;
  const int right = column + 1 < width ? here[1] : here[0];
  const int below = row + 1 < height ? Row(row + 1, 1)[column] : here[0];
  const int left = column > 0 ? here[-1] : here[0];
  const int above = row > 0 ? Row(row - 1, 1)[column] : here[0];
  const int limit = here[0] / 8 + 64;  // an eighth of the root, a quarter of the light
  return std::abs(right - here[0]) > limit || std::abs(below - here[0]) > limit || std::abs(left - here[0]) > limit ||
         std::abs(above - here[0]) > limit;
}

std::vector<Rgb> SmallView(const World& world, const Lens& lens, const Stance& stance) {
  constexpr int step = 48;  // 3264 x 2448 becomes 68 x 51
  std::vector<Rgb> lights;
  for (int v = step / 2; v < HeightOf(PictureSize::Full); v += step) {
    for (int u = step / 2; u < WidthOf(PictureSize::Full); u += step) {
      lights.push_back(LightAt(world, lens, stance, static_cast<float>(u), static_cast<float>(v)));
    }
  }
  return lights;
}

}  // namespace twin

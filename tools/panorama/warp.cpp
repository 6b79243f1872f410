#include "tools/panorama/warp.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "tools/lumora-shot/shot_file.h"
#include "tools/panorama/light.h"

namespace panorama {
namespace {

constexpr float pictureWidth = shot::WidthOf(shot::PictureSize::Full);
constexpr float pictureHeight = shot::HeightOf(shot::PictureSize::Full);
constexpr float leastDepth = 1e-3f;

}  // namespace

Grid::Grid(int width) : width_(width), sines_(size_t{3} * width), cosines_(size_t{3} * width) {
  for (int i = 0; i < 3 * width; i++) {
    const double azimuth = ((i % width + 0.5) / width - 0.5) * 2 * std::numbers::pi;
    sines_[static_cast<size_t>(i)] = static_cast<float>(std::sin(azimuth));
    cosines_[static_cast<size_t>(i)] = static_cast<float>(std::cos(azimuth));
  }
}

Direction Grid::At(double column, double row) const {
  const double azimuth = (column / width_ - 0.5) * 2 * std::numbers::pi;
  const double elevation = (0.5 - row / Height()) * std::numbers::pi;
  return {std::cos(elevation) * std::sin(azimuth), std::cos(elevation) * std::cos(azimuth), std::sin(elevation)};
}

Warp::Warp(const Camera& camera, const Matrix& body, const Grid& grid)
    : projection_(Product(camera.Projection(), body)), axis_(camera.Axis()), focus_(camera.Focus()), grid_(grid) {}

void Warp::Run(int row, int column, int count, Points* points) const {
  const double elevation = (0.5 - (row + 0.5) / grid_.Height()) * std::numbers::pi;
  float sine[3], cosine[3], rest[3];  // each of x w, y w and w as a sum of these
  for (size_t i = 0; i < 3; i++) {
    sine[i] = static_cast<float>(projection_[i][0] * std::cos(elevation));
    cosine[i] = static_cast<float>(projection_[i][1] * std::cos(elevation));
    rest[i] = static_cast<float>(projection_[i][2] * std::sin(elevation));
  }
  const float *sines = grid_.Sines(column), *cosines = grid_.Cosines(column);
  const auto axisX = static_cast<float>(axis_.x), axisY = static_cast<float>(axis_.y);
  constexpr float toStep = Vignetting::steps / ((pictureWidth * pictureWidth + pictureHeight * pictureHeight) / 4);
  float *x = points->x.data(), *y = points->y.data();
  int32_t* distance = points->distance.data();
  for (int i = 0; i < count; i++) {
    const float depth = std::max(sine[2] * sines[i] + cosine[2] * cosines[i] + rest[2], leastDepth);
    const float near = 1 / depth;
    x[i] = (sine[0] * sines[i] + cosine[0] * cosines[i] + rest[0]) * near;
    y[i] = (sine[1] * sines[i] + cosine[1] * cosines[i] + rest[1]) * near;
    const float dx = x[i] - axisX, dy = y[i] - axisY;
    distance[i] = static_cast<int32_t>(std::min((dx * dx + dy * dy) * toStep, static_cast<float>(Vignetting::steps)));
  }
}

float Warp::DistanceFromBorder(const Direction& direction) const {
  double at[3];
  for (size_t i = 0; i < 3; i++)
    at[i] =
        projection_[i][0] * direction.right + projection_[i][1] * direction.front + projection_[i][2] * direction.up;
  if (at[2] <= 0) return -1e9f;
  const double x = at[0] / at[2], y = at[1] / at[2];
  return static_cast<float>(std::min({x, pictureWidth - x, y, pictureHeight - y}));
}

}  // namespace panorama

// Which point of a camera's picture a pixel of the panorama shows.
//
// The panorama is equirectangular: column x looks (x + 1/2) / width x 360 - 180 degrees to the right of its middle, row
// y 90 - (y + 1/2) / height x 180 degrees upwards. A lens that is rectilinear needs no more than the sines and cosines
// of rows and columns for it: (x w, y w, w) of geometry.h is linear in both.
#pragma once

#include <vector>

#include "tools/panorama/geometry.h"

namespace panorama {

// The panorama's grid of directions. Columns may be told up to a whole width beyond its edges.
class Grid {
 public:
  explicit Grid(int width);

  int Width() const { return width_; }
  int Height() const { return width_ / 2; }
  Direction At(double column, double row) const;  // of a point; pixel 0 has its middle at 0.5
  const float* Sines(int column) const { return sines_.data() + column + width_; }
  const float* Cosines(int column) const { return cosines_.data() + column + width_; }

 private:
  int width_;
  std::vector<float> sines_, cosines_;
};

// Points of the full picture (as in geometry.h), and the place in a table of vignetting, for a run of pixels.
struct Points {
  explicit Points(int room) : x(room), y(room), distance(room) {}
  std::vector<float> x, y;
  std::vector<int32_t> distance;  // square of that from the axis, in steps of Vignetting
};

class Warp {
 public:
  // `body` turns the panorama's directions into those of the camera's body.
  Warp(const Camera& camera, const Matrix& body, const Grid& grid);

  // `count` pixels of a row from `column` on. Pixels that look behind the lens get a point far outside the picture.
  void Run(int row, int column, int count, Points* points) const;
  // Pixels of the full picture between its border and where a direction of the panorama lies in it; below 0 outside.
  float DistanceFromBorder(const Direction& direction) const;
  double Focus() const { return focus_; }

 private:
  Matrix projection_;
  Point axis_;
  double focus_;
  const Grid& grid_;
};

}  // namespace panorama

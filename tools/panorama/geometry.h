// Where a direction falls in a camera's picture, and where the panorama's middle looks.
//
// Directions are unit vectors in the axes of the camera's body: right, front, up; the front is where the calibration's
// azimuth is 0. The calibration's angles are 1e-8 radian: azimuth to the right of the front, elevation upwards, and the
// roll by which the picture's right side goes down. Lenses are rectilinear. A point is told in pixels of the full
// picture as it stands in the file, that is on its head, from the corner of the first pixel.
#pragma once

#include <array>
#include <optional>

#include "tools/lumora-shot/calibration.h"
#include "tools/lumora-shot/record.h"

namespace panorama {

struct Direction {
  double right, front, up;
};

struct Point {
  double x, y;
};

using Matrix = std::array<std::array<double, 3>, 3>;
Matrix Product(const Matrix& a, const Matrix& b);

class Camera {
 public:
  // Nothing if the row cannot be that of a lens of this camera.
  static std::optional<Camera> Of(const shot::CameraConf& row);

  // A direction times this is (x w, y w, w); the direction is before the lens if w is positive.
  const Matrix& Projection() const { return projection_; }
  // Nothing for a direction behind the lens. The point may lie outside the picture.
  std::optional<Point> PointOf(const Direction& direction) const;
  // The reverse of it, of unit length.
  Direction DirectionAt(const Point& point) const;

  Point Axis() const { return axis_; }     // where the optical axis meets the picture
  double Focus() const { return focus_; }  // pixels

 private:
  Camera() = default;
  Matrix projection_{};
  std::array<Direction, 3> basis_{};  // right and down in the file's picture, and where it looks
  Point axis_{};
  double focus_ = 0;
};

struct View {
  bool level = true;  // upright by the tilt of the shot; else the camera's own axes
  double yaw = 0;     // degrees that the panorama's middle is turned to the right of north, or of the front
};

// The compass was read at the shot. A device without one leaves 0 in the record.
bool KnowsNorth(const shot::Record& record);
// From north over east, in degrees from 0 to below 360: where the middle of a level panorama looks. Nothing where that
// is not known.
std::optional<double> HeadingOf(const shot::Record& record, const View& view);

// Turns a direction of the panorama (right, front and up from its middle) into the axes of the camera's body. A level
// panorama looks north in its middle if the compass was known; else it looks to the front, as it does unlevelled.
Matrix BodyFromPanorama(const shot::Record& record, const View& view);

}  // namespace panorama

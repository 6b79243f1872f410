#include "tools/panorama/geometry.h"

#include <cmath>
#include <numbers>

#include "tools/lumora-shot/shot_file.h"

namespace panorama {
namespace {

constexpr double degree = std::numbers::pi / 180;
constexpr double width = shot::WidthOf(shot::PictureSize::Full), height = shot::HeightOf(shot::PictureSize::Full);

Direction Sum(const Direction& a, double fa, const Direction& b, double fb) {
  return {a.right * fa + b.right * fb, a.front * fa + b.front * fb, a.up * fa + b.up * fb};
}

// The turn to the right about the upright axis.
Matrix TurnRight(double angle) {
  const double s = std::sin(angle), c = std::cos(angle);
  return {{{c, s, 0}, {-s, c, 0}, {0, 0, 1}}};
}

}  // namespace

Matrix Product(const Matrix& a, const Matrix& b) {
  Matrix product{};
  for (size_t i = 0; i < 3; i++)
    for (size_t j = 0; j < 3; j++) product[i][j] = a[i][0] * b[0][j] + a[i][1] * b[1][j] + a[i][2] * b[2][j];
  return product;
}

std::optional<Camera> Camera::Of(const shot::CameraConf& row) {
  const double azimuth = row.aimInfoDirX * 1e-8, elevation = row.aimInfoDirY * 1e-8, roll = row.aimInfoTilt * 1e-8;
  const double focus = row.sensorScale * 1e-3 * (row.relaFocus * 1e-6);
  const double centerX = row.centerP2DX * 1e-3, centerY = row.centerP2DY * 1e-3;
  // Between a fisheye's and a telescope's; an axis outside the picture, or an aim beyond the zenith, is no calibration.
  if (!(focus > width / 8 && focus < width * 8)) return std::nullopt;
  if (std::abs(centerX) > width / 2 || std::abs(centerY) > height / 2) return std::nullopt;
  if (std::abs(elevation) > 91 * degree || std::abs(azimuth) > 361 * degree) return std::nullopt;

  const double sa = std::sin(azimuth), ca = std::cos(azimuth), se = std::sin(elevation), ce = std::cos(elevation);
  const Direction levelRight{ca, -sa, 0}, levelDown{sa * se, ca * se, -ce};
  Camera camera;
  // The picture of the file stands on its head: its right is the upright picture's left.
  camera.basis_ = {Sum(levelRight, -std::cos(roll), levelDown, -std::sin(roll)),
                   Sum(levelDown, -std::cos(roll), levelRight, std::sin(roll)), Direction{sa * ce, ca * ce, se}};
  camera.axis_ = {width / 2 - centerX, height / 2 - centerY};
  camera.focus_ = focus;
  const Direction& ahead = camera.basis_[2];
  const Direction x = Sum(camera.basis_[0], focus, ahead, camera.axis_.x);
  const Direction y = Sum(camera.basis_[1], focus, ahead, camera.axis_.y);
  camera.projection_ = {{{x.right, x.front, x.up}, {y.right, y.front, y.up}, {ahead.right, ahead.front, ahead.up}}};
  return camera;
}

std::optional<Point> Camera::PointOf(const Direction& direction) const {
  std::array<double, 3> at{};
  for (size_t i = 0; i < 3; i++)
    at[i] =
        projection_[i][0] * direction.right + projection_[i][1] * direction.front + projection_[i][2] * direction.up;
  if (at[2] <= 0) return std::nullopt;
  return Point{at[0] / at[2], at[1] / at[2]};
}

Direction Camera::DirectionAt(const Point& point) const {
  const double x = (point.x - axis_.x) / focus_, y = (point.y - axis_.y) / focus_;
  const Direction ray = Sum(Sum(basis_[2], 1, basis_[0], x), 1, basis_[1], y);
  return Sum(ray, 1 / std::sqrt(1 + x * x + y * y), ray, 0);
}

bool KnowsNorth(const shot::Record& record) { return record.compassValue != 0; }

std::optional<double> HeadingOf(const shot::Record& record, const View& view) {
  if (!KnowsNorth(record) || !view.level) return std::nullopt;
  const double turned = std::fmod(view.yaw, 360);
  return turned < 0 ? turned + 360 : turned;
}

Matrix BodyFromPanorama(const shot::Record& record, const View& view) {
  if (!view.level) return TurnRight(view.yaw * degree);
  // The front looks `compassValue` to the right of north.
  const double north = KnowsNorth(record) ? record.compassValue * -1e-2 : 0;
  const double sx = std::sin(record.vertexX * 1e-8), cx = std::cos(record.vertexX * 1e-8);
  const double sy = std::sin(record.vertexY * 1e-8), cy = std::cos(record.vertexY * 1e-8);
  // Turns back by the pitch about the left axis and then by the roll about the front one, so that the panorama's "up"
  // becomes (-cx sy, -sx, cx cy).
  const Matrix pitch{{{1, 0, 0}, {0, cx, -sx}, {0, sx, cx}}};
  const Matrix roll{{{cy, 0, -sy}, {0, 1, 0}, {sy, 0, cy}}};
  return Product(Product(roll, pitch), TurnRight((view.yaw + north) * degree));
}

}  // namespace panorama

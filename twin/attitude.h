// How the camera is held, as the world knows it: what the motion sensor and the compass measure.
//
// World axes: x magnetic north, y west, z up. The camera's own: x forward, y to its left, z up when it stands level.
// Three turns, one after the other, from the world to the camera: yaw about z, pitch about the new y, roll about the
// new x. So yaw is counter-clockwise seen from above (a heading is its negative), pitch dips the front, and roll lifts
// the left side.
#pragma once

#include <array>
#include <functional>
#include <vector>

namespace twin {

using Vector3 = std::array<double, 3>;
// Rows of a rotation.
using Rotation = std::array<Vector3, 3>;

Rotation operator*(const Rotation& a, const Rotation& b);
Vector3 operator*(const Rotation& a, const Vector3& v);
Rotation Transposed(const Rotation& a);
Rotation TurnAboutX(double radians);
Rotation TurnAboutY(double radians);
Rotation TurnAboutZ(double radians);

class Attitude {
 public:
  // Degrees: pitch -90 to 90, roll and yaw any.
  void Set(double pitch, double roll, double yaw);
  double Pitch() const { return pitch_; }
  double Roll() const { return roll_; }
  double Yaw() const { return yaw_; }

  // Turns a vector from the camera's axes into the world's.
  const Rotation& ToWorld() const { return toWorld_; }

  // `listener` is called before each change, or behind it. For the life of this object; must not wait.
  void BeforeChange(std::function<void()> listener) { before_.push_back(std::move(listener)); }
  void AfterChange(std::function<void()> listener) { after_.push_back(std::move(listener)); }

 private:
  double pitch_ = 0, roll_ = 0, yaw_ = 0;
  Rotation toWorld_ = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  std::vector<std::function<void()>> before_, after_;
};

}  // namespace twin

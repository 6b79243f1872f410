#include "twin/attitude.h"

#include <cmath>
#include <numbers>

namespace twin {

Rotation operator*(const Rotation& a, const Rotation& b) {
  Rotation product{};
  for (size_t i = 0; i < 3; i++) {
    for (size_t j = 0; j < 3; j++) {
      for (size_t k = 0; k < 3; k++) product[i][j] += a[i][k] * b[k][j];
    }
  }
  return product;
}

Vector3 operator*(const Rotation& a, const Vector3& v) {
  Vector3 turned{};
  for (size_t i = 0; i < 3; i++) turned[i] = a[i][0] * v[0] + a[i][1] * v[1] + a[i][2] * v[2];
  return turned;
}

Rotation Transposed(const Rotation& a) {
  Rotation turned{};
  for (size_t i = 0; i < 3; i++) {
    for (size_t j = 0; j < 3; j++) turned[i][j] = a[j][i];
  }
  return turned;
}

Rotation TurnAboutX(double radians) {
  const double c = std::cos(radians), s = std::sin(radians);
  return {{{1, 0, 0}, {0, c, -s}, {0, s, c}}};
}

Rotation TurnAboutY(double radians) {
  const double c = std::cos(radians), s = std::sin(radians);
  return {{{c, 0, s}, {0, 1, 0}, {-s, 0, c}}};
}

Rotation TurnAboutZ(double radians) {
  const double c = std::cos(radians), s = std::sin(radians);
  return {{{c, -s, 0}, {s, c, 0}, {0, 0, 1}}};
}

void Attitude::Set(double pitch, double roll, double yaw) {
  for (const auto& listener : before_) listener();
  pitch_ = pitch;
  roll_ = roll;
  yaw_ = yaw;
  constexpr double radians = std::numbers::pi / 180;
  toWorld_ = TurnAboutZ(yaw * radians) * TurnAboutY(pitch * radians) * TurnAboutX(roll * radians);
  for (const auto& listener : after_) listener();
}

}  // namespace twin

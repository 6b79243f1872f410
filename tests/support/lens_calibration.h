// Where a direction of the world lies in a camera's picture, worked out from the calibration files alone, in angles,
// as a stitcher would do it. Independent of the twin's lenses.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <numbers>
#include <optional>
#include <vector>

#include "tests/support/file_bytes.h"

struct PicturePoint {
  double x = 0, y = 0;  // pixels of the upright full picture, from its upper left corner
};

// The sRGB curve backwards, from the standard: the light of a display value of 0 to 255.
inline double LinearLight(double gray) {
  const double d = gray / 255;
  return d <= 0.04045 ? d / 12.92 : std::pow((d + 0.055) / 1.055, 2.4);
}

class LensCalibration {
 public:
  explicit LensCalibration(const std::filesystem::path& directory)
      : conf_(FileBytes(directory / "CameraConf_800")), vignet_(FileBytes(directory / "CameraVignet_800")) {}

  // azimuth to the right of the front, elevation upwards, radians. Nothing if the camera does not see it.
  std::optional<PicturePoint> Find(int camera, double azimuth, double elevation) const {
    const double a = Number(camera, 4) * 1e-8, e = Number(camera, 8) * 1e-8, roll = Number(camera, 12) * 1e-8;
    const double focus = Number(camera, 28) * 1e-3 * Number(camera, 24) * 1e-6;
    // Turn the direction back by the camera's azimuth, then by its elevation: y along the axis, x right, z up.
    const double x = std::cos(elevation) * std::sin(azimuth - a), level = std::cos(elevation) * std::cos(azimuth - a);
    const double y = level * std::cos(e) + std::sin(elevation) * std::sin(e);
    const double z = std::sin(elevation) * std::cos(e) - level * std::sin(e);
    if (y <= 0) return std::nullopt;
    const double right = x * std::cos(roll) - z * std::sin(roll), down = -z * std::cos(roll) - x * std::sin(roll);
    const PicturePoint point{1632 + Number(camera, 16) * 1e-3 + right / y * focus,
                             1224 + Number(camera, 20) * 1e-3 + down / y * focus};
    if (point.x < 0 || point.x >= 3264 || point.y < 0 || point.y >= 2448) return std::nullopt;
    return point;
  }

  // What the lens leaves of the light there; red, green, blue are 0, 1, 2.
  double RelativeLight(int camera, PicturePoint point, int colour = 1) const {
    const double dx = point.x - 1632 - Number(camera, 16) * 1e-3, dy = point.y - 1224 - Number(camera, 20) * 1e-3;
    const size_t row = static_cast<size_t>(camera) * 3080;
    int points = 0;
    std::memcpy(&points, vignet_.data() + row + 4, sizeof points);
    const double at = std::min(std::hypot(dx, dy) / 2040, 1.0) * (points - 1);
    double curve[64];
    std::memcpy(curve, vignet_.data() + row + 8 + 1024 * static_cast<size_t>(2 - colour), sizeof curve);
    const int below = std::min(static_cast<int>(at), points - 2);
    return curve[below] + (at - below) * (curve[below + 1] - curve[below]);
  }

 private:
  double Number(int camera, size_t offset) const {
    int value = 0;
    std::memcpy(&value, conf_.data() + static_cast<size_t>(camera) * 32 + offset, sizeof value);
    return value;
  }

  std::vector<uint8_t> conf_, vignet_;
};

// Judges the stand-in calibration as a stitcher would: is this a camera that sees the whole sphere?
#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

#include "tests/support/file_bytes.h"

namespace {

template <typename T>
T At(const std::vector<uint8_t>& bytes, size_t offset) {
  T value;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

// Angle across which a camera sees the direction (azimuth, elevation); beyond 90 degrees it is behind the camera.
bool Sees(const std::vector<uint8_t>& conf, size_t camera, double azimuth, double elevation) {
  const size_t row = camera * 32;
  const double a = At<int32_t>(conf, row + 4) * 1e-8, e = At<int32_t>(conf, row + 8) * 1e-8;
  const double roll = At<int32_t>(conf, row + 12) * 1e-8;
  const double focus = At<int32_t>(conf, row + 28) * 1e-3 * At<int32_t>(conf, row + 24) * 1e-6;
  // Turn the direction back by the camera's azimuth, then by its elevation: y along the axis, x right, z up.
  const double x = std::cos(elevation) * std::sin(azimuth - a), y0 = std::cos(elevation) * std::cos(azimuth - a);
  const double z0 = std::sin(elevation);
  const double y = y0 * std::cos(e) + z0 * std::sin(e), z = z0 * std::cos(e) - y0 * std::sin(e);
  if (y <= 0) return false;
  const double right = x * std::cos(roll) - z * std::sin(roll), down = -z * std::cos(roll) - x * std::sin(roll);
  return std::abs(right / y * focus + At<int32_t>(conf, row + 16) * 1e-3) < 1632 &&
         std::abs(down / y * focus + At<int32_t>(conf, row + 20) * 1e-3) < 1224;
}

}  // namespace

TEST(Calibration, TwentyFiveOrdinaryLensesSeeTheSphereButForTheTripod) {
  const std::vector<uint8_t> conf = FileBytes(LUMORA_BLOB_DIR "/CameraConf_800");
  ASSERT_EQ(conf.size(), 800u);
  for (size_t camera = 0; camera < 25; camera++) {
    EXPECT_EQ(At<int16_t>(conf, camera * 32), static_cast<int>(camera));
    EXPECT_LE(At<int16_t>(conf, camera * 32 + 2), 10);  // above, the device would be another model
  }
  int seen = 0, twice = 0, all = 0;
  for (double elevation = -70; elevation <= 90; elevation += 2) {
    for (double azimuth = -180; azimuth < 180; azimuth += 2) {
      int count = 0;
      for (size_t camera = 0; camera < 25; camera++) {
        count += Sees(conf, camera, azimuth * std::numbers::pi / 180, elevation * std::numbers::pi / 180);
      }
      all++;
      seen += count >= 1;
      twice += count >= 2;
    }
  }
  EXPECT_EQ(seen, all);
  EXPECT_GT(twice, all * 4 / 5);
}

TEST(Calibration, VignettingFallsToTheCornersAndItsTableUndoesIt) {
  const std::vector<uint8_t> vignet = FileBytes(LUMORA_BLOB_DIR "/CameraVignet_800");
  ASSERT_EQ(vignet.size(), 77000u);
  for (size_t camera = 0; camera < 25; camera++) {
    const size_t row = camera * 3080;
    EXPECT_EQ(At<int32_t>(vignet, row), static_cast<int>(camera));
    const auto points = static_cast<size_t>(At<int32_t>(vignet, row + 4));
    ASSERT_GT(points, 2u);
    ASSERT_LT(points, 64u);
    for (size_t colour = 0; colour < 3; colour++) {
      const size_t curve = row + 8 + colour * 1024, table = curve + 512;
      EXPECT_EQ(At<double>(vignet, curve), 1.0);
      for (size_t i = 1; i < points; i++)
        EXPECT_LT(At<double>(vignet, curve + 8 * i), At<double>(vignet, curve + 8 * (i - 1)));
      EXPECT_NEAR(At<double>(vignet, curve + 8 * (points - 1)) * At<int16_t>(vignet, table + 2 * 255) / 8192, 1, 1e-3);
      if (camera == 0) {
        EXPECT_EQ(At<double>(vignet, curve + 8 * 63), 1.0) << "white balance gain";
      }
    }
  }
}

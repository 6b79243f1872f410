// Judges the stand-in calibration as a stitcher would: is this a camera that sees the whole sphere?
#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

#include "tests/support/file_bytes.h"
#include "tests/support/lens_calibration.h"

namespace {

template <typename T>
T At(const std::vector<uint8_t>& bytes, size_t offset) {
  T value;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

}  // namespace

TEST(Calibration, TwentyFiveOrdinaryLensesSeeTheSphereButForTheTripod) {
  const std::vector<uint8_t> conf = FileBytes(LUMORA_BLOB_DIR "/CameraConf_800");
  ASSERT_EQ(conf.size(), 800u);
  for (size_t camera = 0; camera < 25; camera++) {
    EXPECT_EQ(At<int16_t>(conf, camera * 32), static_cast<int>(camera));
    EXPECT_LE(At<int16_t>(conf, camera * 32 + 2), 10);  // above, the device would be another model
  }
  const LensCalibration lenses(LUMORA_BLOB_DIR);
  constexpr double degree = std::numbers::pi / 180;
  int seen = 0, twice = 0, all = 0;
  for (double elevation = -70; elevation <= 90; elevation += 2) {
    for (double azimuth = -180; azimuth < 180; azimuth += 2) {
      int count = 0;
      for (int camera = 0; camera < 25; camera++) {
        count += lenses.Find(camera, azimuth * degree, elevation * degree).has_value();
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

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

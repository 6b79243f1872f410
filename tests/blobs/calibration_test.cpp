// Judges the stand-in calibration as a stitcher would: is this a camera that sees the whole sphere?
#include <gtest/gtest.h>

#include <numbers>

#include "tests/support/lens_calibration.h"

TEST(Calibration, TwentyFiveLensesSeeTheSphereButForTheTripod) {
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

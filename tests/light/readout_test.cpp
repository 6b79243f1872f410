// What the sensors give before any processing.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "twin/light/rendered_pictures.h"

TEST(Readout, HasBlackAt14NoiseByGainAndPixelsThatDoNotWork) {
  const std::filesystem::path blobs = LUMORA_BLOB_DIR;
  const auto pictures = twin::MakeRenderedPictures({}, blobs / "CameraConf_800", blobs / "CameraVignet_800", 1, 1);
  std::vector<uint16_t> levels(size_t{3264} * 2448);
  for (const double gain : {1.0, 8.0}) {
    pictures->ReadOut({.camera = 12, .shot = 1, .seconds = 1e-9, .gain = gain}, levels);
    double sum = 0, squares = 0, count = 0;
    for (const double level : levels) {
      if (level == 1023 || level == 0) continue;
      sum += level;
      squares += level * level;
      count++;
    }
    EXPECT_NEAR(sum / count, 14, 0.1);
    EXPECT_NEAR(std::sqrt(squares / count - std::pow(sum / count, 2)), std::hypot(gain * 0.0006 * 1009, 0.29), 0.1)
        << "read noise, and rounding";
    EXPECT_EQ(std::ranges::max(levels), 1023);
    EXPECT_THAT(std::ranges::count(levels, 1023), testing::AllOf(testing::Gt(20), testing::Lt(60)));
  }
  // Full light is white but for the pixels that see none.
  pictures->ReadOut({.camera = 12, .shot = 1, .seconds = 100}, levels);
  EXPECT_GT(std::ranges::count(levels, 1023), static_cast<long>(levels.size()) * 99 / 100);
  EXPECT_GT(std::ranges::count(levels, 0), 20);
}

// What the sensors give before any processing.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "twin/light/rendered_pictures.h"

using namespace twin;

namespace {

constexpr int width = 3264, height = 2448;
const std::filesystem::path blobs = LUMORA_BLOB_DIR;

std::unique_ptr<PictureSource> Room() {
  return MakeRenderedPictures({}, blobs / "CameraConf_800", blobs / "CameraVignet_800", 1, 1);
}

StoredFrame FrameOf(int camera, double seconds, double gain = 1) {
  return {.camera = camera, .shot = 1, .seconds = seconds, .gain = gain, .mirror = camera < 9, .flip = camera < 9};
}

struct Readout {
  Readout(PictureSource& pictures, const StoredFrame& frame) { pictures.ReadOut(frame, levels); }
  int At(int row, int column) const { return levels[static_cast<size_t>(row) * width + column]; }
  std::vector<uint16_t> levels = std::vector<uint16_t>(static_cast<size_t>(width) * height);
};

}  // namespace

TEST(Readout, HasBlackAt14NoiseByGainAndPixelsThatDoNotWork) {
  const auto pictures = Room();
  struct Dark {
    double mean = 0, deviation = 0;
    int white = 0;
  };
  const auto dark = [&](int camera, double gain) {
    const Readout readout(*pictures, FrameOf(camera, 1e-9, gain));
    Dark found;
    double sum = 0, squares = 0, count = 0;
    for (const uint16_t level : readout.levels) {
      EXPECT_LE(level, 1023);
      found.white += level == 1023;
      if (level == 1023 || level == 0) continue;
      sum += level;
      squares += double{static_cast<double>(level)} * level;
      count++;
    }
    found.mean = sum / count;
    found.deviation = std::sqrt(squares / count - found.mean * found.mean);
    return found;
  };
  const Dark low = dark(12, 1), high = dark(12, 8);
  EXPECT_NEAR(low.mean, 14, 0.05);
  EXPECT_NEAR(high.mean, 14, 0.1);
  EXPECT_NEAR(low.deviation, std::hypot(0.0006 * 1009, 0.29), 0.05);  // read noise, and rounding
  EXPECT_NEAR(high.deviation, 8 * 0.0006 * 1009, 0.1);
  EXPECT_GT(low.white, 20);
  EXPECT_LT(low.white, 60);

  // Full light is white but for the pixels that see none.
  const Readout bright(*pictures, FrameOf(12, 100));
  EXPECT_GT(std::count(bright.levels.begin(), bright.levels.end(), 1023),
            static_cast<long>(bright.levels.size()) * 99 / 100);
  EXPECT_GT(std::count(bright.levels.begin(), bright.levels.end(), 0), 20);
}

// What the sensors give before any processing.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "twin/light/marked_pictures.h"
#include "twin/light/read_mark.h"
#include "twin/light/rendered_pictures.h"
#include "twin/light/tone.h"

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

  // They are the sensor's own and stay where they are.
  const Readout one(*pictures, FrameOf(12, 1e-9)), again(*pictures, FrameOf(12, 1e-9, 2)),
      other(*pictures, FrameOf(13, 1e-9));
  const auto whites = [](const Readout& readout) {
    std::vector<size_t> places;
    for (size_t i = 0; i < readout.levels.size(); i++) {
      if (readout.levels[i] == 1023) places.push_back(i);
    }
    return places;
  };
  EXPECT_EQ(whites(one), whites(again));
  EXPECT_NE(whites(one), whites(other));

  // Full light is white but for the pixels that see none.
  const Readout bright(*pictures, FrameOf(12, 100));
  EXPECT_GT(std::count(bright.levels.begin(), bright.levels.end(), 1023),
            static_cast<long>(bright.levels.size()) * 99 / 100);
  EXPECT_GT(std::count(bright.levels.begin(), bright.levels.end(), 0), 20);
}

TEST(Readout, OfAMarkedFrameIsItsMark) {
  const auto pictures = MakeMarkedPictures(1.0, 1);
  for (const auto& [camera, seconds] : {std::pair{0, 0.0005}, {2, 1.0}, {12, 0.01}, {22, 0.0005}, {24, 0.02}}) {
    StoredFrame frame = FrameOf(camera, seconds);
    frame.bracket = camera % 6;
    const Readout readout(*pictures, frame);
    shot::Gray gray{width, height, {}};
    std::array<uint8_t, 1024> display{};
    for (int level = 0; level < 1024; level++) {
      display.at(level) = static_cast<uint8_t>(std::lround(255 * Display((level - 14) / 1009.0)));
    }
    for (const uint16_t level : readout.levels) gray.pixels.push_back(display.at(level));
    const auto found = twin::ReadMark(gray);
    ASSERT_TRUE(found) << camera;
    EXPECT_EQ(found->mark.camera, camera);
    EXPECT_EQ(found->mark.bracket, camera % 6);
    EXPECT_TRUE(found->FieldAgrees()) << found->field << " for " << found->mark.gray;
    EXPECT_EQ(found->turned, camera >= 2 && camera <= 22);
  }
}

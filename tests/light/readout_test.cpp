// What the sensors give before any processing, held against the JPEGs of the same frames.
#include <gmock/gmock.h>
#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
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

std::vector<uint8_t> DecodeRgb(const Jpeg& jpeg) {
  std::vector<uint8_t> pixels(static_cast<size_t>(width / 2) * (height / 2) * 3);
  const tjhandle decoder = tjInitDecompress();
  EXPECT_EQ(tjDecompress2(decoder, jpeg->data(), jpeg->size(), pixels.data(), width / 2, 0, height / 2, TJPF_RGB, 0),
            0);
  tjDestroy(decoder);
  return pixels;
}

// Mean of a square of 16 x 16 blocks of blue, green, green, red, in display values by the standard's curve. The matrix
// is the one that readers of such sensors use, in 256ths.
std::array<double, 3> Shown(const Readout& readout, int row, int column) {
  double blue = 0, green = 0, red = 0;
  for (int y = row; y < row + 32; y += 2) {
    for (int x = column; x < column + 32; x += 2) {
      blue += readout.At(y, x);
      green += (readout.At(y, x + 1) + readout.At(y + 1, x)) / 2.0;
      red += readout.At(y + 1, x + 1);
    }
  }
  const auto signal = [](double sum) { return (sum / 256 - 14) / 1009; };
  const double b = signal(blue), g = signal(green), r = signal(red);
  return {255 * Display((440 * r - 143 * g - 41 * b) / 256), 255 * Display((-53 * r + 438 * g - 129 * b) / 256),
          255 * Display((-3 * r - 120 * g + 379 * b) / 256)};
}

std::array<double, 3> Mean(const std::vector<uint8_t>& rgb, int row, int column) {
  std::array<double, 3> sum{};
  for (int y = row; y < row + 16; y++) {
    for (int x = column; x < column + 16; x++) {
      for (size_t c = 0; c < 3; c++) sum[c] += rgb[(static_cast<size_t>(y) * (width / 2) + x) * 3 + c] / 256.0;
    }
  }
  return sum;
}

}  // namespace

// Cameras 0, 1, 23 and 24 stand as their JPEGs, the others turned; colours are the same once the matrix is undone.
TEST(Readout, ShowsTheFrameOfTheJpegInItsColours) {
  const auto pictures = Room();
  for (const int camera : {0, 1, 2, 9, 22, 24}) {
    const StoredFrame frame = FrameOf(camera, 0.003);
    const auto rgb = DecodeRgb(pictures->Encode(frame, PictureSize::Half, 95));
    const Readout readout(*pictures, frame);
    const bool turned = camera != 0 && camera != 1 && camera != 23 && camera != 24;
    std::vector<double> errors, wrongErrors;
    for (int row = 0; row + 32 <= height; row += 48) {
      for (int column = 0; column + 32 <= width; column += 48) {
        const auto seen = Shown(readout, row, column);
        const auto upright = Mean(rgb, row / 2, column / 2);
        const auto other = Mean(rgb, height / 2 - 16 - row / 2, width / 2 - 16 - column / 2);
        for (size_t c = 0; c < 3; c++) {
          // A blown-out place tells no colour: the sensor clips behind its filters, the JPEG behind the matrix.
          if (std::max({seen[0], seen[1], seen[2]}) > 240) continue;
          errors.push_back(std::abs(seen[c] - (turned ? other : upright)[c]));
          wrongErrors.push_back(std::abs(seen[c] - (turned ? upright : other)[c]));
        }
      }
    }
    ASSERT_GT(errors.size(), 1000u);
    std::sort(errors.begin(), errors.end());
    std::sort(wrongErrors.begin(), wrongErrors.end());
    EXPECT_LT(errors[errors.size() / 2], 1.0) << "camera " << camera;
    EXPECT_LT(errors[errors.size() * 95 / 100], 6.0) << "camera " << camera << " of " << errors.size();
    EXPECT_GT(wrongErrors[errors.size() / 2], 4.0) << "camera " << camera;
  }
}

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

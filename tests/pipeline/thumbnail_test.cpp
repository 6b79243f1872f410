#include "common/fpga_ctrl/capture/thumbnail.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <turbojpeg.h>

#include <random>
#include <vector>

#include "tests/support/made_shot.h"
#include "tests/support/on_board.h"

// A refused header leaves its decompressor behind, and that is meant.
extern "C" const char* __lsan_default_suppressions() { return "leak:tjInitDecompress\n"; }

namespace {

using Picture = std::vector<BYTE>;
using testing::Each;
using testing::HasSubstr;

size_t Samples(int width, int height) {
  return static_cast<size_t>(width) * height + 2 * static_cast<size_t>(width / 2) * (height / 2);
}

// The reduction as it is told, one sample after the other.
void NaivePlane(Picture& out, size_t to, const Picture& in, size_t from, int width, int height) {
  for (int row = 0; row < height; row++) {
    for (int column = 0; column < width; column++) {
      int sum = 8;
      for (int y = 0; y < 4; y++) {
        for (int x = 0; x < 4; x++) sum += in[from + (4 * row + y) * size_t{4} * width + 4 * column + x];
      }
      out[to + static_cast<size_t>(height - 1 - row) * width + (width - 1 - column)] = static_cast<BYTE>(sum >> 4);
    }
  }
}

Picture NaiveZoom(const Picture& in, int width, int height) {
  Picture out(Samples(width, height));
  const size_t luma = static_cast<size_t>(width) * height;
  const size_t chroma = static_cast<size_t>(width / 2) * (height / 2);
  NaivePlane(out, 0, in, 0, width, height);
  NaivePlane(out, luma, in, 16 * luma, width / 2, height / 2);
  NaivePlane(out, luma + chroma, in, 16 * (luma + chroma), width / 2, height / 2);
  return out;
}

// Whole blocks of the fast path, sizes beside them, odd ones, and the real one.
TEST(ZoomQtrYuv, IsExactAtEverySizeAndWritesNothingElse) {
  const std::pair<int, int> sizes[] = {{32, 1}, {33, 7}, {34, 6}, {63, 2}, {100, 9}, {408, 306}};
  std::mt19937 random(7);
  for (const auto& [width, height] : sizes) {
    const size_t samples = Samples(width, height);
    Picture in(16 * samples);
    for (BYTE& sample : in) sample = static_cast<BYTE>(random());
    Picture out(samples + 64, 0xA5);
    ZoomQtrYuv(out.data() + 32, in.data(), width, height);
    EXPECT_EQ(Picture(out.begin() + 32, out.end() - 32), NaiveZoom(in, width, height)) << width << " x " << height;
    EXPECT_THAT(Picture(out.begin(), out.begin() + 32), Each(0xA5));
    EXPECT_THAT(Picture(out.end() - 32, out.end()), Each(0xA5));
  }
}

// A JPEG of one colour: luma 90, Cb 110, Cr 150 where it has them.
Picture Jpeg(int width, int height, int subsampling) {
  Picture pixels;
  for (int i = 0; i < width * height; i++) pixels.insert(pixels.end(), {121, 80, 58});
  return support::JpegFrom(pixels, width, height, subsampling, 95);
}

struct JpegSteps : testing::Test {
  twin::Board board{twin::BoardOptions{}};
  Picture picture = Picture(64 * 48 * 3 / 2, 0x77);

  int Load(const Picture& jpeg, size_t size) {
    int result = 1;
    OnBoard(board, [&] { result = LoadJPGBuf(picture.data(), jpeg.data(), static_cast<int>(size), 64, 48); });
    return result;
  }
  int Load(const Picture& jpeg) { return Load(jpeg, jpeg.size()); }
};

TEST_F(JpegSteps, LoadsThePlanesOneAfterTheOther) {
  ASSERT_EQ(Load(Jpeg(64, 48, TJSAMP_420)), 0);
  for (size_t i = 0; i < picture.size(); i++) {
    const int expected = i < 64 * 48 ? 90 : i < 64 * 48 + 32 * 24 ? 110 : 150;
    ASSERT_NEAR(picture[i], expected, 2) << i;
  }
}

TEST_F(JpegSteps, RefusesAPictureWithoutWidth) {
  int size = 77, result = 1;
  OnBoard(board, [&] { result = SaveJPGBuf(picture.data(), &size, picture.data(), 0, 48, 80); });
  EXPECT_EQ(result, -2);
  EXPECT_EQ(size, 77);
  EXPECT_THAT(board.Log(), HasSubstr("tjCompressFromYUV error\n"));
}

TEST_F(JpegSteps, RefusesAnythingButItsPictureAndClears) {
  const Picture good = Jpeg(64, 48, TJSAMP_420);
  const struct {
    Picture jpeg;
    size_t size;
    int result;
    const char* text;
  } cases[] = {
      {good, 0, -2, "tjDecompressHeader3 error\n"},
      {Picture(500, 0x11), 500, -2, "tjDecompressHeader3 error\n"},
      {Jpeg(48, 64, TJSAMP_420), 0, -3, "jpeg size error\n"},
      {Jpeg(64, 64, TJSAMP_420), 0, -3, "jpeg size error\n"},
      {Jpeg(64, 48, TJSAMP_422), 0, -3, "jpeg size error\n"},
      {Jpeg(64, 48, TJSAMP_GRAY), 0, -3, "jpeg size error\n"},
      {good, good.size() - 40, -4, "tjDecompressToYUV2 error\n"},
  };
  for (const auto& one : cases) {
    picture.assign(picture.size(), 0x77);
    const size_t logged = board.Log().size();
    EXPECT_EQ(Load(one.jpeg, one.result == -3 ? one.jpeg.size() : one.size), one.result);
    EXPECT_THAT(board.Log().substr(logged), HasSubstr(one.text));
    EXPECT_THAT(picture, Each(0));
  }
}

}  // namespace

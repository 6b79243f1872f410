// The cleaning of raw frames, held against the rule worked out sample by sample.
#include "common/sample_comm_venc/raw_preprocess.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <vector>

#include "tests/support/on_board.h"

namespace {

using namespace std::chrono_literals;
using testing::Each;

struct Frame {
  int width, height;
  std::vector<uint16_t> samples = std::vector<uint16_t>(static_cast<size_t>(width) * height);
  uint16_t& At(int row, int column) { return samples[static_cast<size_t>(row) * width + column]; }
};

int PlainLevel(int level, int noise) {
  const int shift = level < 64 ? 3 : level < 192 ? 2 : level < 384 ? 1 : 0;
  const int out = level - (noise >> shift) - 14;
  return out < 0 ? 0 : out > 1020 ? 1020 : out;
}

int PlainOrder(const Frame& frame) {
  const auto s = [&](size_t i) { return static_cast<int>(frame.samples[i]); };
  const auto far = [&](size_t a, size_t b) {  // rounded down before its sign goes
    return std::abs(static_cast<int>(std::floor((s(a) - s(b)) / 64.0)));
  };
  long a = 0, b = 0;
  for (size_t c = 0; c + 8 <= frame.samples.size(); c += 4) {  // rows follow each other: a group may look into the next
    a += far(c + 4, c + 2) + far(c + 5, c + 3);
    b += far(c + 6, c) + far(c + 7, c + 1);
  }
  return b <= a ? -1 : 1;
}

Frame PlainClean(const Frame& frame, int camera, int order) {
  const bool straight = camera == 0 || camera == 1 || camera == 23 || camera == 24;
  Frame out{frame.width, frame.height};
  for (int row = 0; row < frame.height; row++) {
    for (int x = 0; x < frame.width; x++) {
      const int noise = g_rndTable[frame.width * (row % 16) + x];
      const int place = order == 1 ? x : x % 4 < 2 ? x + 2 : x - 2;
      const size_t sample = static_cast<size_t>(row) * frame.width + x;
      out.At(row, straight ? place : frame.width - 1 - place) =
          static_cast<uint16_t>(64 * PlainLevel(frame.samples[sample] / 64, noise));
    }
  }
  return out;
}

struct RawPreprocess : testing::Test {
  void SetUp() override {
    OnBoard(board, [] { InitRandomTable(); });
  }
  // Cleans the frame with something else behind it, which must neither be read nor written.
  int Clean(Frame& frame, int camera, int order, uint16_t behind = 0xFFC0) {
    int orderTable[25] = {};
    orderTable[camera] = order;
    std::vector<uint16_t> memory = frame.samples;
    memory.resize(memory.size() + 64, behind);
    PreProcRawData(memory.data(), frame.width, frame.height, camera, orderTable);
    EXPECT_THAT(std::vector(memory.begin() + static_cast<long>(frame.samples.size()), memory.end()), Each(behind));
    memory.resize(frame.samples.size());
    frame.samples = memory;
    return orderTable[camera];
  }
  Frame Random(int width, int height, unsigned bound = 65536) {
    Frame frame{width, height};
    for (uint16_t& sample : frame.samples) sample = static_cast<uint16_t>(random() % bound);
    return frame;
  }

  twin::Board board{twin::BoardOptions{}};
  std::mt19937 random{1};
};

// Every level meets every noise, in every place that a sample can go to. An order that was found stays, whatever a
// later frame says.
TEST_F(RawPreprocess, EveryOrderAndCameraIsThePlainRule) {
  for (const int width : {kRawWidth, 3256, 200, 24, 16}) {
    for (const int camera : {0, 1, 2, 12, 22, 23, 24}) {
      for (const int order : {1, -1}) {
        Frame frame = Random(width, 19);
        const Frame expected = PlainClean(frame, camera, order);
        EXPECT_EQ(Clean(frame, camera, order), order);
        ASSERT_EQ(frame.samples, expected.samples) << "camera " << camera << " order " << order << " width " << width;
      }
    }
  }
}

TEST_F(RawPreprocess, OtherWidthsAndCamerasAreLeftAlone) {
  const Frame frame = Random(kRawWidth + 8, 2);
  std::vector<uint16_t> samples = frame.samples;
  int orderTable[25] = {};
  for (const int width : {kRawWidth + 8, 3260, 20, 8, 0, -8}) PreProcRawData(samples.data(), width, 2, 0, orderTable);
  for (const int camera : {25, -1}) PreProcRawData(samples.data(), 32, 2, camera, orderTable);
  EXPECT_EQ(samples, frame.samples);
  EXPECT_THAT(orderTable, Each(0));
}

// Frames that are nearly even, so that a single wrong difference turns the decision; and even ones, a tie, which what
// lies behind the frame would turn if it counted.
TEST_F(RawPreprocess, TheOrderHangsOnEachSampleOfTheFrameAndOnNothingElse) {
  std::map<int, int> decisions;
  for (int i = 0; i < 3000; i++) {
    constexpr int widths[] = {16, 24, 32, 40, 264};
    Frame frame = Random(widths[i % 5], 1 + i % 3, 130);
    for (uint16_t& sample : frame.samples) sample = static_cast<uint16_t>(sample + (random() % 8 == 0 ? 64000 : 900));
    const int expected = PlainOrder(frame);
    const Frame cleaned = PlainClean(frame, 0, expected);
    decisions[expected]++;
    ASSERT_EQ(Clean(frame, 0, 0), expected) << "frame " << i;
    ASSERT_EQ(frame.samples, cleaned.samples) << "frame " << i;
  }
  EXPECT_GT(decisions[1], 500);
  EXPECT_GT(decisions[-1], 500);
  for (const uint16_t behind : {uint16_t{0}, uint16_t{0xFFC0}}) {
    Frame even{kRawWidth, 2};
    for (uint16_t& sample : even.samples) sample = 30000;
    EXPECT_EQ(Clean(even, 0, 0, behind), -1);
  }
}

TEST_F(RawPreprocess, NoiseIsEvenAndAnotherAtEachPowerOn) {
  std::array<int, 8> counts{};
  for (const BYTE noise : g_rndTable) counts.at(noise)++;
  EXPECT_THAT(counts, Each(testing::AllOf(testing::Gt(6100), testing::Lt(6960))));  // 6528, five deviations each way
  const std::vector<BYTE> before(std::begin(g_rndTable), std::end(g_rndTable));
  OnBoard(board, [this] {
    board.SetSystemTime(board.SystemTime() + 60s);
    InitRandomTable();
  });
  EXPECT_NE(std::memcmp(before.data(), g_rndTable, before.size()), 0);
  for (int level = 0; level < 1024; level++) {
    EXPECT_EQ(g_rangeTable[level], level < 64 ? 3 : level < 192 ? 2 : level < 384 ? 1 : 0) << level;
  }
}

}  // namespace

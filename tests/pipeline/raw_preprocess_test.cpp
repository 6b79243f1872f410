// The cleaning of raw frames, held against the rule worked out sample by sample.
#include "common/sample_comm_venc/raw_preprocess.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <random>
#include <vector>

#include "common/sample_comm_venc/raw_tables.h"
#include "tests/support/on_board.h"

namespace {

using namespace std::chrono_literals;
using testing::Each;
using testing::ElementsAre;

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
      const int place = order == 1 || x >= frame.width / 4 * 4 ? x : x % 4 < 2 ? x + 2 : x - 2;
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

TEST_F(RawPreprocess, ALevelLosesBlackAndNoiseByItsRange) {
  struct Expected {
    int level;
    std::array<int, 8> out;  // by noise
  };
  const Expected expected[] = {{0, {0, 0, 0, 0, 0, 0, 0, 0}},
                               {13, {0, 0, 0, 0, 0, 0, 0, 0}},
                               {14, {0, 0, 0, 0, 0, 0, 0, 0}},
                               {15, {1, 1, 1, 1, 1, 1, 1, 1}},
                               {63, {49, 49, 49, 49, 49, 49, 49, 49}},
                               {64, {50, 50, 50, 50, 49, 49, 49, 49}},
                               {191, {177, 177, 177, 177, 176, 176, 176, 176}},
                               {192, {178, 178, 177, 177, 176, 176, 175, 175}},
                               {383, {369, 369, 368, 368, 367, 367, 366, 366}},
                               {384, {370, 369, 368, 367, 366, 365, 364, 363}},
                               {1023, {1009, 1008, 1007, 1006, 1005, 1004, 1003, 1002}}};
  for (const Expected& one : expected) {
    for (const int width : {kRawWidth, 20}) {  // whole vectors, and samples one by one
      Frame frame{width, 3};
      for (uint16_t& sample : frame.samples) sample = static_cast<uint16_t>(one.level * 64 + random() % 64);
      Clean(frame, 0, 1);
      for (int row = 0; row < 3; row++) {
        for (int x = 0; x < width; x++) {
          const BYTE noise = g_rndTable[width * row + x];
          ASSERT_EQ(frame.At(row, x), 64 * one.out.at(noise)) << "level " << one.level << " noise " << int{noise};
        }
      }
    }
  }
}

TEST_F(RawPreprocess, EveryOrderAndCameraIsThePlainRule) {
  for (const int width : {kRawWidth, 3256, 200, 16, 12, 8, 5, 4, 1}) {
    for (const int camera : {0, 1, 2, 12, 22, 23, 24}) {
      for (const int order : {1, -1}) {
        Frame frame = Random(width, 19);
        const Frame expected = PlainClean(frame, camera, order);
        EXPECT_EQ(Clean(frame, camera, order), order);
        ASSERT_EQ(frame.samples, expected.samples) << "camera " << camera << " order " << order << " width " << width;
      }
    }
  }
  // What no noise table is made for is left alone.
  Frame wide = Random(kRawWidth + 1, 2);
  const auto before = wide.samples;
  int orderTable[25] = {};
  PreProcRawData(wide.samples.data(), wide.width, wide.height, 0, orderTable);
  PreProcRawData(wide.samples.data(), 32, 2, 25, orderTable);
  PreProcRawData(wide.samples.data(), 32, 2, -1, orderTable);
  EXPECT_EQ(wide.samples, before);
  EXPECT_THAT(orderTable, Each(0));
}

TEST_F(RawPreprocess, TheFirstFrameOfACameraDecidesItsOrder) {
  Frame ramp{kRawWidth, 16};
  for (int row = 0; row < 16; row++) {
    for (int x = 0; x < kRawWidth; x++) {
      ramp.At(row, x) = static_cast<uint16_t>(15000 + 150 * std::abs(x % 400 - 200) + random() % 500);
    }
  }
  Frame exchanged = ramp;
  for (size_t i = 0; i < exchanged.samples.size(); i += 4) {
    std::swap(exchanged.samples[i], exchanged.samples[i + 2]);
    std::swap(exchanged.samples[i + 1], exchanged.samples[i + 3]);
  }
  Frame flat{kRawWidth, 16};
  for (uint16_t& sample : flat.samples) sample = 20000;

  int orderTable[25] = {};
  const auto clean = [&](Frame frame, int camera) {
    PreProcRawData(frame.samples.data(), frame.width, frame.height, camera, orderTable);
    return frame.samples;
  };
  EXPECT_EQ(clean(ramp, 3), PlainClean(ramp, 3, 1).samples);
  EXPECT_EQ(clean(exchanged, 0), PlainClean(exchanged, 0, -1).samples);
  clean(flat, 24);
  EXPECT_THAT(std::vector<int>({orderTable[3], orderTable[0], orderTable[24]}), ElementsAre(1, -1, -1)) << "a tie: -1";
  // The exposures that follow are treated the same, whatever they would say.
  EXPECT_EQ(clean(exchanged, 3), PlainClean(exchanged, 3, 1).samples);
  EXPECT_EQ(clean(ramp, 24), PlainClean(ramp, 24, -1).samples);
  EXPECT_THAT(std::vector<int>({orderTable[3], orderTable[0], orderTable[24]}), ElementsAre(1, -1, -1));
}

// Frames that are nearly even, so that a single wrong difference turns the decision; and even ones, which what lies
// behind the frame would turn if it counted.
TEST_F(RawPreprocess, TheOrderHangsOnEachSampleOfTheFrameAndOnNothingElse) {
  std::map<int, int> decisions;
  for (int i = 0; i < 3000; i++) {
    constexpr int widths[] = {4, 8, 12, 16, 24, 40, 264};
    Frame frame = Random(widths[i % 7], 1 + i % 3, 130);
    for (uint16_t& sample : frame.samples) sample = static_cast<uint16_t>(sample + (random() % 8 == 0 ? 64000 : 900));
    const int expected = PlainOrder(frame);
    decisions[expected]++;
    ASSERT_EQ(Clean(frame, 0, 0), expected) << "frame " << i;
  }
  EXPECT_GT(decisions[1], 500);
  EXPECT_GT(decisions[-1], 500);
  for (const uint16_t last : {uint16_t{0}, uint16_t{0xFFC0}}) {
    Frame even{kRawWidth, 2};
    for (uint16_t& sample : even.samples) sample = 30000;
    EXPECT_EQ(Clean(even, 0, 0, last), -1);
  }
}

// How far the dither moves the mean of an even field, against the noise that it is made of: the table says it by range.
TEST_F(RawPreprocess, TheDitherMovesAMeanByHalfItsOwnWidthAndNoMore) {
  for (const auto& [level, expected] : std::map<int, double>{{40, 0},
                                                             {63, 0},
                                                             {64, 0.5},
                                                             {150, 0.5},
                                                             {191, 0.5},
                                                             {192, 1.5},
                                                             {300, 1.5},
                                                             {384, 3.5},
                                                             {700, 3.5},
                                                             {1023, 3.5}}) {
    Frame frame{kRawWidth, kRawHeight};
    for (uint16_t& sample : frame.samples) sample = static_cast<uint16_t>(level << 6);
    Clean(frame, 0, 1);
    double sum = 0, squares = 0;
    std::vector<double> columns(kRawWidth);
    for (int row = 0; row < kRawHeight; row++) {
      for (int x = 0; x < kRawWidth; x++) {
        const double out = frame.At(row, x) / 64.0;
        sum += out;
        squares += out * out;
        columns[static_cast<size_t>(x)] += out;
      }
    }
    const double count = static_cast<double>(kRawWidth) * kRawHeight;
    const double mean = sum / count, moved = level - 14 - mean;
    const double deviation = std::sqrt(std::max(0.0, squares / count - mean * mean));
    std::cout << "level " << level << ": mean " << mean << ", moved by " << moved << ", deviation " << deviation
              << '\n';
    // The table holds 52,224 numbers: a mean over it is as far off as theirs.
    EXPECT_NEAR(moved, expected, 5 * 2.3 / std::sqrt(52224.0)) << level;
    EXPECT_LE(moved, 0.01 * level) << "less than a hundredth of the level";
    EXPECT_NEAR(deviation, std::sqrt((4 * (expected + 0.5) * (expected + 0.5) - 1) / 12), 0.02) << level;
    for (const double column : columns) ASSERT_NEAR(column / kRawHeight, mean, 5 * 2.3 / 4) << "no column stands out";
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

// --- the sequence of a pass ---

TEST(RawTables, EachStoredFrameComesOnceFromItsLayer) {
  for (const int mode : {0, 1, 2, 7}) {
    const RawSequence& sequence = RawSequenceOf(mode);
    const int exposures = mode < 2 ? 3 : 6;
    ASSERT_EQ(sequence.imgNum, 25 * exposures);
    std::map<int, int> times;
    for (int i = 0; i < sequence.imgNum; i++) {
      const int layer = i < sequence.cntA ? 0 : i < sequence.cntB ? 1 : 2;
      const int position = sequence.subIdx[i] / 6, exposure = sequence.subIdx[i] % 6;
      const int camera = layer == 0 ? position : layer == 1 && position == 7 ? 24 : 9 + 7 * (layer - 1) + position;
      EXPECT_EQ(sequence.idxMap[i], exposures * camera + exposure) << "mode " << mode << " frame " << i;
      times[sequence.idxMap[i]]++;
      const int first = layer == 0 ? 0 : layer == 1 ? sequence.cntA : sequence.cntB;
      EXPECT_EQ(exposure, (i - first) / (layer == 0 ? 9 : 8)) << "mode " << mode << " frame " << i;
    }
    EXPECT_EQ(times.size(), static_cast<size_t>(sequence.imgNum));
  }
}

}  // namespace

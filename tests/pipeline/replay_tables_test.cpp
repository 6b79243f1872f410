#include "common/sample_comm_venc/replay_tables.h"

#include <gtest/gtest.h>

#include <map>
#include <numeric>

namespace {

// How the cameras hang on the layers, as the array numbers them.
int ImageNumber(int layer, int position) {
  if (layer == 0) return position;
  if (layer == 1) return position < 7 ? 9 + position : 24;
  return 16 + position;
}

int LayerOf(const ReplaySequence& sequence, int entry) {
  return entry < sequence.cntA ? 0 : entry < sequence.cntB ? 1 : 2;
}

struct ReplayTables : testing::TestWithParam<int> {};

// What is loaded and what it is filed as must be the same stored frame, and each must come exactly once.
TEST_P(ReplayTables, EachStoredFrameIsLoadedOnceAndFiledAsWhatItIs) {
  const ReplaySequence& sequence = ReplaySequenceOf(GetParam());
  std::map<int, int> filed;
  for (int entry = 0; entry < sequence.cntD; entry++) {
    const int idx = sequence.idxMap[entry];
    if (idx == -1) continue;
    filed[idx]++;
    const int subIdx = sequence.subIdx[entry];
    EXPECT_EQ(idx % sequence.hdrCnt, subIdx % 6) << "entry " << entry;
    EXPECT_EQ(idx / sequence.hdrCnt, ImageNumber(LayerOf(sequence, entry), subIdx / 6)) << "entry " << entry;
  }
  ASSERT_EQ(filed.size(), 25u * sequence.hdrCnt);
  EXPECT_EQ(filed.begin()->first, 0);
  EXPECT_EQ(filed.rbegin()->first, 25 * sequence.hdrCnt - 1);
  for (const auto& [idx, times] : filed) EXPECT_EQ(times, 1) << idx;
}

// The pipeline is one frame deep: the frames on both sides of a change of exposure or layer are thrown away, and they
// repeat their neighbour, so that the array is never asked for a frame of another run.
TEST_P(ReplayTables, RunsBeginAndEndWithAThrowawayOfTheirOwn) {
  const ReplaySequence& sequence = ReplaySequenceOf(GetParam());
  int entry = 0;
  for (int layer = 0; layer < 3; layer++) {
    const int run = layer == 0 ? 11 : 10;
    for (int exposure = 0; exposure < sequence.hdrCnt; exposure++, entry += run) {
      EXPECT_EQ(sequence.idxMap[entry], -1);
      EXPECT_EQ(sequence.subIdx[entry], exposure);
      EXPECT_EQ(sequence.subIdx[entry], sequence.subIdx[entry + 1]);
      EXPECT_EQ(sequence.idxMap[entry + run - 1], -1);
      EXPECT_EQ(sequence.subIdx[entry + run - 1], sequence.subIdx[entry + run - 2]);
    }
  }
  EXPECT_EQ(entry, sequence.cntD);
}

INSTANTIATE_TEST_SUITE_P(Modes, ReplayTables, testing::Values(0, 1, 2, 5, 7));

}  // namespace

#include "common/sample_comm_venc/replay_tables.h"

#include <gtest/gtest.h>

namespace {

struct ReplayTables : testing::TestWithParam<int> {};

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

// Shots on a board with all its chips: frames that are lost or late, and what may happen meanwhile.
#include <gmock/gmock.h>

#include "common/sample_comm_venc/raw_preprocess.h"
#include "tests/support/marked_shot.h"
#include "tests/support/snap_loop.h"

namespace {

using namespace std::chrono_literals;
using testing::Pair;

// A frame that is lost or late is asked for again, and the pictures stay where the index says.
struct DisturbedShot : SnapLoop, testing::WithParamInterface<std::string> {};

TEST_P(DisturbedShot, EachPictureIsWhereTheIndexSays) {
  Start();
  board.faults.Add(GetParam());
  ASSERT_TRUE(Shoot());
  EXPECT_THAT(Outcome(), Pair(0, 0));
  EXPECT_GE(board.faults.Fired(), 1u);
  ExpectMarkedShot(OnlyShot(), 3, 1);
}

// Frames by camera x 6 + exposure. Camera 0 exposure 0 is loaded nine times before the sequence proper.
INSTANTIATE_TEST_SUITE_P(
    Frames, DisturbedShot,
    testing::Values("frame.lost silence detail=0 nth=9 times=9",  // the first of the sequence, without limit
                    "frame.lost silence detail=0 nth=10",         // and its double
                    "frame.lost silence detail=24 times=3",       // in the middle of a run, and again
                    "frame.lost silence detail=48",               // the last of a run
                    "frame.lost silence detail=1",                // the first of the next
                    "frame.lost silence detail=50 nth=2",         // the last of a layer
                    "frame.lost silence detail=54 times=40",      // the first of the next layer, without limit
                    "frame.lost silence detail=96 times=40",      // and that of layer 2
                    "frame.lost silence detail=146",              // camera 24, at the end of layer 1
                    "frame.lost silence detail=140 nth=2",        // the last of the sequence
                    "frame.late delay=200ms detail=25",           // within the limit
                    "frame.late delay=220ms nth=9 times=always"   // all behind those that fill the pipeline
                    ));

// Here nobody serves the mailbox: the first raw frame never comes, which costs the raw files and not the shot.
TEST_F(SnapLoop, ARawPassThatNobodyServesCostsNoShot) {
  ctrl->saveRaw = 1;
  Start();
  ASSERT_TRUE(Shoot());
  EXPECT_THAT(Outcome(), Pair(0, 13));
  EXPECT_EQ(ctrl->rawLoadInfo, kRawLoadEmpty);
  ExpectMarkedShot(OnlyShot(), 3, 1);
}

TEST_F(SnapLoop, AQuitDuringAShotWaitsForItsEnd) {
  Start();
  ctrl->gyroCorrect = 2;
  EXPECT_EQ(g_rangeTable[0], 3) << "the tables for raw frames are filled by now";
  ctrl->needSave = kShotRunning;
  ctrl->needCapture = kShotRunning;
  ASSERT_TRUE(board.RunUntil([this] { return ctrl->needCapture == 0; }, 1min));
  ctrl->needQuit = 1;
  ASSERT_TRUE(board.RunUntil([this] { return board.Exited(); }, 2min));
  EXPECT_EQ(board.ExitStatus(), 0);
  EXPECT_EQ(ctrl->gyroCorrect, 0) << "it is for one shot";
  EXPECT_THAT(Outcome(), Pair(0, 0));
  ExpectMarkedShot(OnlyShot(), 3, 1);
}

}  // namespace

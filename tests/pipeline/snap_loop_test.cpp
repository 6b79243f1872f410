// Shots on a board with all its chips: settings that follow the exposures, and frames that are lost or late.
#include <gmock/gmock.h>

#include <set>

#include "common/fpga_ctrl/capture/isp_params.h"
#include "common/sample_comm_venc/raw_preprocess.h"
#include "common/sample_comm_venc/replay_tables.h"

#include "tests/support/marked_shot.h"
#include "tests/support/snap_loop.h"
#include "tools/lumora-shot/shot_file.h"

namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;
using testing::Pair;

// Each kept frame went through the ISP with the noise setting of its own exposure's gain, though a change of settings
// shows a frame late.
struct DarkShot : SnapLoop, testing::WithParamInterface<int> {
  DarkShot() : SnapLoop(0.02) {}
};

TEST_P(DarkShot, NoiseSettingsFollowTheExposureOfEachPicture) {
  ctrl->captureMode = static_cast<BYTE>(GetParam());
  Start();
  ASSERT_TRUE(Shoot());
  ASSERT_THAT(Outcome(), Pair(0, 0));
  EXPECT_EQ(Logged(": Retry LumoLoadNew"), 0u);
  EXPECT_THAT(board.Complaints(), IsEmpty());
  const shot::Shot shot = shot::ReadShot(OnlyShot().string());
  std::set<int> used;
  for (int channel = 0; channel < 2; channel++) {
    std::vector<twin::DeliveredFrame> frames;
    for (const auto& one : board.media.Delivered()) {
      if (one.channel == channel) frames.push_back(one);
    }
    const ReplaySequence& sequence = ReplaySequenceOf(GetParam());
    ASSERT_EQ(frames.size(), static_cast<size_t>(sequence.cntD) + 1);
    for (int frame = 1; frame <= sequence.cntD; frame++) {
      if (sequence.idxMap[frame - 1] == -1) continue;
      BYTE expected;
      LUMO_ISP_BAYER_SHARPEN_S shp;
      LUMO_ISP_BAYER_SHARPEN_EX_S shpEx;
      LUMO_ISP_YUV_SHARPEN_MANUAL_ATTR_S manual;
      LumoCalcIspParas(&expected, &shp, &shpEx, &manual, shot.record.Exposure(frames[frame].frame.bracket).gain);
      used.insert(expected);
      EXPECT_EQ(frames[frame].settings.nr.stManual.u8Thresh, expected) << "frame " << frame;
      EXPECT_EQ(frames[frame].settings.yuvSharpen.stManual.u8EdgeSt, manual.u8EdgeSt) << "frame " << frame;
    }
  }
  EXPECT_GE(used.size(), 2u) << "all exposures have the same gain: nothing was proved";
}

INSTANTIATE_TEST_SUITE_P(Modes, DarkShot, testing::Values(0, 2));

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
                    "frame.lost silence detail=24",               // in the middle of a run
                    "frame.lost silence detail=24 times=3",       // and again
                    "frame.lost silence detail=48",               // the last of a run
                    "frame.lost silence detail=1",                // the first of the next
                    "frame.lost silence detail=50 nth=2",         // the last of a layer
                    "frame.lost silence detail=54",               // the first of the next layer
                    "frame.lost silence detail=54 times=40",      // which is asked for without limit
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
  EXPECT_EQ(g_rangeTable[0], 3) << "the tables for raw frames are filled by now";
  ctrl->needSave = kShotRunning;
  ctrl->needCapture = kShotRunning;
  ASSERT_TRUE(board.RunUntil([this] { return ctrl->needCapture == 0; }, 1min));
  ctrl->needQuit = 1;
  ASSERT_TRUE(board.RunUntil([this] { return board.Exited(); }, 2min));
  EXPECT_EQ(board.ExitStatus(), 0);
  EXPECT_THAT(Outcome(), Pair(0, 0));
  ExpectMarkedShot(OnlyShot(), 3, 1);
}

}  // namespace

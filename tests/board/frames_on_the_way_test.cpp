// Frames that get lost, come late or come twice between the layers' memory and the encoders, and shots that survive it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/whole_shot.h"
#include "twin/board.h"

using namespace std::chrono_literals;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr int kPrimingFrames = 8;          // sent before the encoders are started
constexpr int kFrames = 94;                // of the sequence of a three-step shot
constexpr int kLayer1 = 33, kLayer2 = 63;  // first entries of the layers

struct FramesOnTheWay : testing::Test {
  twin::Board board{{}};

  void SetUp() override { ASSERT_TRUE(board.Boot()); }
  void TearDown() override { EXPECT_THAT(board.Complaints(), IsEmpty()); }

  // A three-step shot by one press; how often the application asked for a frame again.
  size_t Shoot() {
    const size_t before = board.LogCount(": Retry LumoLoadNew\n");
    board.button.Press(100ms);
    EXPECT_TRUE(board.RunUntilShotEnds());
    board.Run(1s);
    return board.LogCount(": Retry LumoLoadNew\n") - before;
  }
  // Breaks the frame that is sent for entry `entry` of the sequence.
  void Break(const std::string& fault, int entry) {
    board.faults.Clear();
    board.faults.Add(fault + " nth=" + std::to_string(kPrimingFrames + entry + 1));
  }
};

}  // namespace

TEST_F(FramesOnTheWay, ALostFrameIsAskedForAgainAndEveryPictureStandsInItsPlace) {
  for (int entry : {1, 10, 11, 50, kLayer1, kLayer1 + 1, kLayer2, kFrames - 1}) {
    SCOPED_TRACE("entry " + std::to_string(entry));
    Break(entry % 2 == 0 ? "frame.lost silence" : "frame.dropped silence", entry);
    EXPECT_EQ(Shoot(), 1u);
    EXPECT_EQ(board.faults.Fired(), 1u);
    EXPECT_THAT(MisplacedPictures(board.disk.Shots().back()), IsEmpty());
  }
  EXPECT_THAT(board.disk.Shots(), SizeIs(8));
}

TEST_F(FramesOnTheWay, AFrameLateByLessThanTheTimeLimitChangesNothing) {
  Break("frame.late delay=200ms", 40);
  EXPECT_EQ(Shoot(), 0u);
  EXPECT_EQ(board.faults.Fired(), 1u);
  EXPECT_THAT(MisplacedPictures(board.disk.OnlyShot()), IsEmpty());
}

TEST_F(FramesOnTheWay, LossesHereAndThereUpToSevenNeedNoNewShot) {
  board.faults.Add("frame.lost silence nth=20 times=3");
  board.faults.Add("frame.dropped silence nth=60 times=4");
  EXPECT_EQ(Shoot(), 7u);
  EXPECT_EQ(board.LogCount("Restart LumoLoadNew\n"), 0u);
  EXPECT_THAT(MisplacedPictures(board.disk.OnlyShot()), IsEmpty());
}

TEST_F(FramesOnTheWay, EightLossesTakeANewShotWhichMayThenBeGood) {
  board.faults.Add("frame.lost silence nth=40 times=8");
  EXPECT_EQ(Shoot(), 8u);
  EXPECT_EQ(board.LogCount("Restart LumoLoadNew\n"), 1u);
  EXPECT_EQ(board.LogCount("Start Cap\n"), 2u);
  EXPECT_THAT(MisplacedPictures(board.disk.OnlyShot()), IsEmpty());
}

TEST_F(FramesOnTheWay, AFrameThatNeverComesEndsTheShotAfterThreeRestartsAndTheNextShotIsGood) {
  board.faults.Add("frame.lost silence times=always detail=32");  // camera 5, bracket 2
  EXPECT_EQ(Shoot(), 32u);
  EXPECT_EQ(board.LogCount("Restart LumoLoadNew\n"), 3u);
  EXPECT_EQ(board.LogCount("Too many Retry LumoLoadNew\n"), 1u);
  EXPECT_EQ(board.LogCount("Start Cap\n"), 4u);
  EXPECT_THAT(board.disk.Shots(), IsEmpty());
  EXPECT_TRUE(std::filesystem::is_empty(board.disk.Directory() / "DCIM")) << "the unfinished file must be gone";

  board.faults.Clear();
  EXPECT_EQ(Shoot(), 0u);
  EXPECT_THAT(MisplacedPictures(board.disk.OnlyShot()), IsEmpty());
}

TEST_F(FramesOnTheWay, AFrameOfALayersStartThatNeverComesIsAskedForWithoutEnd) {
  board.faults.Add("frame.lost silence times=always detail=54");  // camera 9, bracket 0: where layer 1 begins
  board.button.Press(100ms);
  EXPECT_FALSE(board.RunUntilShotEnds(1min));
  EXPECT_GT(board.LogCount(": Retry LumoLoadNew\n"), 100u);
  EXPECT_EQ(board.LogCount("Restart LumoLoadNew\n"), 0u);
  board.faults.Clear();
  EXPECT_TRUE(board.RunUntilShotEnds());
  board.Run(1s);
  EXPECT_THAT(MisplacedPictures(board.disk.OnlyShot()), IsEmpty());
}

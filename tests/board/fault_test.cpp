// What breaks in the array, the encoders, the co-processor and on the disk during a shot, and how it ends for the user.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/marked_shot.h"
#include "tools/lumora-shot/verify.h"
#include "twin/board.h"

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using twin::Board;

namespace {

constexpr size_t kSavedPulses = 1 + 2;  // exposure finished, shot saved
constexpr size_t kFailedPulses = 4;     // a train of 8
constexpr size_t kDiskFullPulses = 3;   // a train of 6

struct Fault : testing::Test {
  Board board{{}};

  void SetUp() override { ASSERT_TRUE(board.Boot()); }
  void TearDown() override { EXPECT_THAT(board.Complaints(), expectedComplaints); }
  testing::Matcher<std::vector<std::string>> expectedComplaints = IsEmpty();

  void Press() {
    board.panel.ForgetPulses();
    board.button.Press(100ms);
    EXPECT_TRUE(board.RunUntilShotEnds(5min));
    board.Run(100ms);
  }
  void ExpectFailed(const std::string& status) {
    EXPECT_GT(board.faults.Fired(), 0u);
    EXPECT_THAT(board.Log(), HasSubstr("Cap error " + status + "\n"));
    EXPECT_THAT(board.panel.BuzzerPulses(), SizeIs(kFailedPulses));
    EXPECT_THAT(board.disk.Shots(), IsEmpty());
  }
  // Whatever was broken is whole again: the next press gives a good shot.
  void ExpectNextPressIsGood() {
    board.faults.Clear();
    Press();
    EXPECT_THAT(board.panel.BuzzerPulses(), SizeIs(kSavedPulses));
    ASSERT_THAT(board.disk.Shots(), SizeIs(1));
    EXPECT_FALSE(shot::HasFault(shot::Verify(board.disk.OnlyShot().string())));
  }
};

TEST_F(Fault, ARowErrorOnceCostsOneMoreAttemptWithTheArraysPowerCycled) {
  board.faults.Add("layer.row-errors value=3 detail=1");
  Press();
  EXPECT_EQ(board.faults.Fired(), 1u);
  EXPECT_EQ(board.LogCount("Retry hasCapLoadStart Finish0:1  Finish1:1  Finish2:1 Hsync0:0  Hsync1:3  Hsync2:0 \n"),
            1u);
  EXPECT_THAT(board.panel.BuzzerPulses(), SizeIs(kSavedPulses));
  ExpectMarkedShot(board.disk.OnlyShot(), 3, 2);
}

TEST_F(Fault, ASaveThatNeverFinishesEndsTheShot) {
  board.faults.Add("layer.save silence detail=2 times=always");
  Press();
  EXPECT_EQ(board.LogCount("Retry hasCamSaveFinish Save0:1  Save1:1  Save2:0"), 3u);
  EXPECT_EQ(board.LogCount("LumoSpiWaitCapSaveFinish error\n"), 1u);
  ExpectFailed("need_capture:1  need_save:255");
  ExpectNextPressIsGood();
}

// One lost transfer, at many places of a shot: it is told once, and the shot ends one way or the other.
TEST_F(Fault, ALinkThatFailsOneTransferNeverHangsTheDevice) {
  // A lost "sensors out of reset" leaves the set-up behind it without anybody who listens.
  expectedComplaints = testing::Each(testing::StartsWith("array: no sensor answers a write"));
  int good = 0;
  for (const int nth : {1, 2, 40, 400, 800, 1000, 1200, 1300, 1400, 1500, 1600, 1700}) {
    SCOPED_TRACE("transfer " + std::to_string(nth));
    const size_t before = board.disk.Shots().size();
    const size_t told = board.LogCount("ioctl SPI_IOC_MESSAGE error");
    board.faults.Clear();
    board.faults.Add("spi.message fail=EIO nth=" + std::to_string(nth));
    Press();
    EXPECT_EQ(board.faults.Fired(), 1u);
    EXPECT_EQ(board.LogCount("ioctl SPI_IOC_MESSAGE error"), told + 1);
    const bool saved = board.disk.Shots().size() == before + 1;
    EXPECT_THAT(board.panel.BuzzerPulses().size(), testing::AnyOf(kSavedPulses, kFailedPulses, kFailedPulses + 1));
    if (saved) good++;
  }
  EXPECT_GT(good, 0);
}

TEST_F(Fault, AWrongChipIdIsOnlyLogged) {
  board.PowerOff();
  board.faults.Add("sensor.chip-id value=0x12 detail=24 times=always");
  ASSERT_TRUE(board.Boot());
  EXPECT_EQ(board.LogCount("LumoSpiCciRead 0x300B(0x88) error, layIdx = 1, camIdx = 7, readReg = 18\n"), 1u);
  EXPECT_EQ(board.LogCount("LumoSpiCciRead 0x300B(0x88) error again, layIdx = 1, camIdx = 7, readReg = 18\n"), 1u);
  EXPECT_EQ(board.LogCount("LumoSpiCciRead 0x300C(0x65) error again, layIdx = 1, camIdx = 7, readReg = 18\n"), 1u);
  EXPECT_EQ(board.LogCount("LumoSpiCciRead"), 4u);
  Press();
  EXPECT_THAT(board.disk.Shots(), SizeIs(1));
}

// The chip's own line and frame timing could not be reached at the start, so the input takes what comes for nothing.
TEST_F(Fault, WithoutTheChipsTimingNoFrameIsSeen) {
  board.PowerOff();
  board.faults.Add("sys.map fail times=always");
  ASSERT_TRUE(board.Boot());
  board.panel.ForgetPulses();
  board.button.Press(100ms);
  EXPECT_FALSE(board.RunUntilShotEnds(2min)) << "a timeout at the first frame counts nothing";
  EXPECT_GT(board.media.counts().arrived, 100u);
  EXPECT_EQ(board.media.counts().unseen, board.media.counts().arrived);

  board.PowerOff();
  board.faults.Clear();
  std::filesystem::remove_all(board.disk.Directory() / "DCIM");  // the file that was begun
  ASSERT_TRUE(board.Boot());
  ExpectNextPressIsGood();
}

TEST_F(Fault, CalibrationThatIsGoneEndsTheShotWithItsCode) {
  const auto local = board.paths.Local();
  for (const auto& [name, status] : {std::pair{"CameraConf_800", "need_capture:6  need_save:255"},
                                     std::pair{"CameraVignet_800", "need_capture:7  need_save:255"}}) {
    SCOPED_TRACE(name);
    std::filesystem::rename(local / name, local / "away");
    Press();
    EXPECT_THAT(board.Log(), HasSubstr("Cap error " + std::string(status) + "\n"));
    EXPECT_THAT(board.panel.BuzzerPulses(), SizeIs(kFailedPulses));
    EXPECT_TRUE(std::filesystem::is_empty(board.disk.Directory() / "DCIM"));
    std::filesystem::rename(local / "away", local / name);
  }
  ExpectNextPressIsGood();
}

TEST_F(Fault, ADiskWithoutRoomRefusesTheShotAndSoundsEvenWhenMuted) {
  board.disk.FillTo(262'144);
  Press();
  EXPECT_THAT(board.panel.BuzzerPulses(), SizeIs(kDiskFullPulses));
  EXPECT_THAT(board.disk.Shots(), IsEmpty());
  EXPECT_EQ(board.LogCount("StartCapture\n"), 0u);
  board.disk.FillTo(262'144 + 32);
  Press();
  EXPECT_THAT(board.disk.Shots(), SizeIs(1));
}

// The disk becomes full on the way: writes are not looked at, so the file ends short or not at all, and never under the
// name of a finished shot that cannot be read.
TEST_F(Fault, ADiskThatFillsUpInMidShotLeavesNothingThatPassesForAShotFromBefore) {
  Press();
  const auto before = board.disk.OnlyShot();
  board.button.Press(100ms);
  ASSERT_TRUE(board.RunUntil([this] { return board.LogCount("Recv Frame Ch0 20\n") == 2; }, 1min));
  board.disk.FillTo(0);
  ASSERT_TRUE(board.RunUntilShotEnds(5min));
  ExpectMarkedShot(before, 3, 1);
  board.Run(10ms);  // the colour goes out with the next look at the button
  EXPECT_EQ(board.panel.Colour(), "red");
}

TEST_F(Fault, BadAnswersOfTheCoProcessorForFiveSecondsOnlyHoldTheDeviceUp) {
  board.panel.ForgetPulses();
  const twin::Time end = board.Now() + 5s;
  twin::FaultRule rule;
  rule.point = "stc.reply";
  rule.effect = {.kind = twin::Effect::Kind::Value, .value = 0x1234};
  rule.times = twin::FaultRule::kAlways;
  rule.condition = [this, end] { return board.Now() < end; };
  board.faults.Add(rule);
  board.Run(1s);
  board.button.Press(2s);  // over before the link is well again: nobody saw it
  board.Run(5s);
  EXPECT_GT(board.faults.Fired(), 1000u);
  EXPECT_THAT(board.panel.BuzzerPulses(), IsEmpty());
  EXPECT_FALSE(board.Exited());
  ExpectNextPressIsGood();
}

}  // namespace

// What breaks on the link, in the chip and on the disk during a shot, or at any write of it, and how it ends for the
// user.
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
  // Whatever was broken is whole again: the next press gives a good shot.
  void ExpectNextPressIsGood() {
    board.faults.Clear();
    Press();
    EXPECT_THAT(board.panel.BuzzerPulses(), SizeIs(kSavedPulses));
    ASSERT_THAT(board.disk.Shots(), SizeIs(1));
    EXPECT_FALSE(shot::HasFault(shot::Verify(board.disk.OnlyShot().string())));
  }
};

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

// Writes are not looked at, so the file ends short or not at all. Shots from before are whole, and the device goes on.
TEST_F(Fault, ADiskThatFillsUpOrIsPulledInMidShotHarmsNoShotFromBefore) {
  Press();
  const auto before = board.disk.OnlyShot();
  const auto pressAndMeetFrame = [&](int frame, size_t times) {
    board.button.Press(100ms);
    const std::string line = "Recv Frame Ch0 " + std::to_string(frame) + "\n";
    ASSERT_TRUE(board.RunUntil([&] { return board.LogCount(line) == times; }, 1min));
  };
  pressAndMeetFrame(20, 2);
  board.disk.FillTo(0);
  ASSERT_TRUE(board.RunUntilShotEnds(5min));
  board.Run(100ms);  // the colour goes out with the next look at the button
  EXPECT_EQ(board.panel.Colour(), "red");
  board.disk.FillTo(50'000'000);
  pressAndMeetFrame(40, 3);
  board.disk.Pull();
  ASSERT_TRUE(board.RunUntilShotEnds(5min));
  board.PowerOff();
  board.disk.Plug();
  ExpectMarkedShot(before, 3, 1);
  for (const auto& shot : board.disk.Shots()) std::filesystem::remove(shot);
  ASSERT_TRUE(board.Boot());
  ExpectNextPressIsGood();
}

// The power goes in the middle of a write: each write of a shot, of the head, of pictures, of the index, of the
// thumbnail, in four shares that can run side by side. Whatever carries the name of a finished shot is one, and the
// device shoots again. No sector becomes garbage: in the folder it would take the finished shots with it, whoever
// wrote.
struct PowerCut : Fault, testing::WithParamInterface<uint64_t> {
  PowerCut() { board.disk.SetOdds({.kept = 45, .missing = 45, .torn = 10, .garbage = 0}); }
};
constexpr uint64_t kShares = 4;
constexpr uint64_t kHeadWrites = 30;  // some more than it takes
constexpr uint64_t kHeadSize = 78076 + 12 + 3000;
INSTANTIATE_TEST_SUITE_P(Share, PowerCut, testing::Range(uint64_t{0}, kShares));

TEST_P(PowerCut, AtAWriteIsNeverTakenForAFinishedShot) {
  const uint64_t boot = board.disk.Writes();
  Press();
  const uint64_t writes = board.disk.Writes() - boot;
  const auto first = board.disk.OnlyShot();
  ASSERT_GT(writes, 150u);

  for (uint64_t write = 1 + GetParam(); write <= writes; write += kShares) {
    SCOPED_TRACE("write " + std::to_string(write) + " of " + std::to_string(writes));
    board.faults.Clear();
    board.faults.Add("disk.write powercut nth=" + std::to_string(write));
    board.button.Press(100ms);
    ASSERT_TRUE(board.RunUntil([this] { return !board.Powered(); }, 2min));
    ASSERT_THAT(board.disk.Shots(), SizeIs(1));
    std::vector<std::filesystem::path> unfinished;
    for (const auto& file : std::filesystem::directory_iterator(board.disk.Directory() / "DCIM")) {
      if (file.path().extension() != ".ori") unfinished.push_back(file.path());
    }
    EXPECT_THAT(unfinished, SizeIs(testing::Le(1)));
    if (write > kHeadWrites) {
      ASSERT_THAT(unfinished, SizeIs(1));
      EXPECT_GE(std::filesystem::file_size(unfinished[0]), kHeadSize);
    }
    for (const auto& file : unfinished) std::filesystem::remove(file);
    ASSERT_TRUE(board.Boot());
  }
  EXPECT_FALSE(shot::HasFault(shot::Verify(first.string())));
  board.faults.Clear();
  Press();
  ASSERT_THAT(board.disk.Shots(), SizeIs(2));
  for (const auto& path : board.disk.Shots()) EXPECT_FALSE(shot::HasFault(shot::Verify(path.string())));
}

}  // namespace

// Presses of the button on the whole board: shots, delays, light and sound, and the switch-off.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "tools/lumora-shot/shot_file.h"
#include "twin/board.h"

using namespace std::chrono_literals;
using testing::IsEmpty;
using testing::SizeIs;
using twin::Board;
using twin::Duration;
using twin::Time;

namespace {

struct Press : testing::Test {
  Board board{{}};
  std::map<std::string, Time> said;  // when a line first ended so in a shot
  Time released{0};

  void SetUp() override {
    board.OnLogLine(
        [this](Time when, const std::string& line) { said.emplace(line.substr(line.find(": ") + 2), when); });
    ASSERT_TRUE(board.Boot());
  }
  void TearDown() override { EXPECT_THAT(board.Complaints(), IsEmpty()); }

  // Presses of 100 ms, 250 ms apart, and the shot that comes of them.
  shot::Record ShotAfter(int presses) {
    const size_t before = board.disk.Shots().size();
    said.clear();
    for (int i = 0; i < presses; i++) {
      board.button.Press(100ms);
      board.Run(i == presses - 1 ? 100ms : 250ms);
    }
    released = board.Now();
    EXPECT_TRUE(board.RunUntilShotEnds(2min));
    board.Run(100ms);  // colour and list; a press that began now would not be seen
    const auto shots = board.disk.Shots();
    EXPECT_EQ(shots.size(), before + 1) << board.Log();
    return shots.empty() ? shot::Record{} : shot::ReadShot(shots.back().string()).record;
  }
};

}  // namespace

TEST_F(Press, OneToFourPressesWithTheirDelays) {
  struct Expected {
    int presses, delaySeconds, delayMode, isoMode;
    Duration wait;  // for a further press, from the last release
  };
  for (const Expected& expected :
       {Expected{1, 0, 0, 0, 500ms}, {2, 5, 3, 1, 800ms}, {3, 10, 4, 1, 800ms}, {4, 20, 6, 1, 0ms}}) {
    SCOPED_TRACE(std::to_string(expected.presses) + " presses");
    const shot::Record record = ShotAfter(expected.presses);
    EXPECT_EQ(record.timerMode, expected.delayMode);
    EXPECT_EQ(record.isoMode, expected.isoMode);
    EXPECT_EQ(record.hdrMode, 2);

    // 10 ms of debounce, the wait, a millisecond or two of polling.
    const Time accepted = said.at("NeedCapture");
    EXPECT_GE(accepted - released, expected.wait + 10ms);
    EXPECT_LT(accepted - released, expected.wait + 16ms);
    EXPECT_EQ((said.at("StartCapture") - accepted) / 100ms, expected.delaySeconds * 10);
  }
}

TEST_F(Press, PressDuringAShotIsNoShotNorIsOneHeldOverItsEnd) {
  board.button.Press(100ms);
  board.Run(3s);
  ASSERT_TRUE(board.panel.ShotRunning());
  board.button.Press(100ms);
  ASSERT_TRUE(board.RunUntilShotEnds());
  board.Run(10s);
  EXPECT_THAT(board.disk.Shots(), SizeIs(1));

  board.button.Press(100ms);
  board.Run(3s);
  board.button.Press(20s);
  board.Run(30s);
  EXPECT_THAT(board.disk.Shots(), SizeIs(2));
  EXPECT_TRUE(board.Powered());
  ShotAfter(1);
}

// Presses of the button on the whole board: shots, delays, light and sound, and the switch-off.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "tests/support/pulses.h"
#include "tools/lumora-shot/shot_file.h"
#include "twin/board.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using twin::Board;
using twin::Duration;
using twin::Time;

namespace {

struct Press : testing::Test {
  Board board{{}};
  std::map<std::string, Time> said;  // first time that a line ended so, since the last Forget
  Time released{0};

  void SetUp() override {
    board.OnLogLine([this](Time when, const std::string& line) {
      const size_t space = line.find(": ");
      said.emplace(space == std::string::npos ? line : line.substr(space + 2), when);
    });
    ASSERT_TRUE(board.Boot());
    Forget();
  }
  void TearDown() override { EXPECT_THAT(board.Complaints(), IsEmpty()); }

  void Forget() {
    said.clear();
    board.panel.ForgetPulses();
  }
  // Presses of 100 ms, 250 ms apart, and the shot that comes of them.
  shot::Record ShotAfter(int presses) {
    const size_t before = board.disk.Shots().size();
    Forget();
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
    int presses;
    int delaySeconds, delayMode, isoMode;
    Duration wait;  // for a further press, from the last release
  };
  for (const Expected& expected : {Expected{1, 0, 0, 0, 500ms}, Expected{2, 5, 3, 1, 800ms},
                                   Expected{3, 10, 4, 1, 800ms}, Expected{4, 20, 6, 1, 0ms}}) {
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

    // The shot line frames it all.
    ASSERT_THAT(board.panel.Shots(), SizeIs(1));
    EXPECT_LT(board.panel.Shots()[0].start - accepted, 1ms);
    const long shotEnd = (board.panel.Shots()[0].start + board.panel.Shots()[0].length - accepted + 500us) / 1ms;
    EXPECT_EQ(shotEnd, StartsOf(board.panel.BuzzerPulses(), accepted).back() + 100) << "with its last pulse";
    EXPECT_EQ(StartsOf(board.panel.LedPulses(), accepted), StartsOf(board.panel.BuzzerPulses(), accepted));
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

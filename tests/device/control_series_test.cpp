// The control thread: shots of two halves and series, each as the road that it takes.
#include <gtest/gtest.h>

#include "tests/support/control_loop.h"
#include "tests/support/transcript_match.h"

using namespace std::chrono_literals;
using twin::Duration;

// The time of the last action goes back to that of the request, whatever others have set meanwhile.
TEST_F(ControlLoop, TwoHalvesAndASeriesThatIsLate) {
  StartAndListen();
  const auto request = [&](int delayMode, int timeLapse, Duration length) {
    road.clear();
    for (const Duration after : {1s, 10s, 30s}) {
      board.kernel.After(after, [&] { Set([&](ControlSignals& signals) { signals.actionTime = BoardTime(); }); });
    }
    board.kernel.After(40s, [&] { Set([&](ControlSignals& signals) { signals.timeLapse = 0; }); });
    return RoadOf(
        [&](ControlSignals& signals) {
          signals.deviceId = 3;
          signals.timeLapse = static_cast<BYTE>(timeLapse);
          signals.delayMode = signals.twoHalfIdx = 0x55;
          signals.actionTime = 0;
          signals.remoteCapCmd = PackRemoteCapCmd(0, static_cast<unsigned>(delayMode), 0, 0x80, 0);
        },
        length);
  };
  const auto begun = [&](int delayMode, int twoHalfIdx) {
    ControlRoad expected;
    expected.Log("LumoHandleControl", "RemoteCap\n");
    expected.Add("delayMode " + std::to_string(delayMode));
    expected.Add("remoteCapCmd 0");
    AddSaving(expected, Settings());
    expected.Add("actionTime 0");
    expected.Add("twoHalfIdx " + std::to_string(twoHalfIdx));
    return expected;
  };
  ControlRoad made = request(8, 0, 50s);
  ControlRoad halves = begun(8, 1);
  halves.Join(GoodShot(2000));
  halves.Add("actionTime 7");  // 2 s, 5 s of the shot, 0.6 s of pulses
  halves.Add("twoHalfIdx 2");
  halves.Join(GoodShot(2000));
  halves.Poll();
  EXPECT_TRUE(SameRoad(halves, made));

  // 25 s for a shot where 15 s were planned: the next begins a second after its end.
  plan = {.exposes = 2s, .saves = 22'800ms};
  made = request(0, 1, 60s);
  ControlRoad series = begun(0, 0);
  series.Join(GoodShot(0));
  series.Add("actionTime 25");
  series.Join(GoodShot(1000, 1));
  series.Poll();
  EXPECT_TRUE(SameRoad(series, made));
}

TEST_F(ControlLoop, NoSecondHalfOfAFirstOneThatFailedEitherWay) {
  Start();
  for (const ShotPlan& failing : {ShotPlan{.exposed = 1}, ShotPlan{.saved = 3}}) {
    shots.clear();
    plan = failing;
    ctrlSigs->remoteCapCmd = PackRemoteCapCmd(0, 8, 0, 0x80, 0);
    board.Run(30s);
    EXPECT_EQ(shots.size(), 1u);
  }
}

TEST_F(ControlLoop, IntervalsByModelAndAnIdleLimitThatTheSeriesOutlasts) {
  Start();
  const auto shoot = [&](int deviceId, int timeLapse, size_t number) {
    shots.clear();
    ctrlSigs->deviceId = deviceId;
    ctrlSigs->timeLapse = static_cast<BYTE>(timeLapse);
    ctrlSigs->remoteCapCmd = PackRemoteCapCmd(0, 0, 0, 0x80, 0);
    EXPECT_TRUE(board.RunUntil([&] { return shots.size() == number; }, 10min));
    ctrlSigs->timeLapse = 0;
    board.Run(7s);
  };
  const std::vector<long> model2 = {30000, 45000, 60000, 90000, 120000, 180000, 240000, 240000};
  const std::vector<long> others = {15000, 20000, 30000, 45000, 60000, 90000, 120000, 120000};
  for (size_t i = 0; i < 8; i++) {
    for (const int deviceId : {2, 4}) {
      shoot(deviceId, i < 7 ? static_cast<int>(i) + 1 : 200, 2);
      EXPECT_EQ((shots[1] - shots[0] + 250ms) / 500ms * 500, (deviceId == 2 ? model2 : others)[i]) << i;
    }
  }
  ctrlSigs->shutdownMode = 1;
  shoot(3, 7, 4);
  EXPECT_FALSE(board.Powered()) << "behind the series, not within it";
}

// One shot as the control thread takes it: countdown, hand-over, outcome, and the ways to stop a series.
#include "common/fpga_ctrl/device/capture_trigger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/fpga_ctrl/array/gpio.h"
#include "common/fpga_ctrl/device/clock.h"
#include "common/fpga_ctrl/device/stc_link.h"
#include "tests/support/control_bench.h"
#include "tests/support/on_board.h"

using namespace std::chrono_literals;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using twin::Duration;
using twin::Time;

namespace {

struct CaptureTrigger : testing::Test, ControlBench {
  // Takes one shot that starts `delay` from now, while `meanwhile` acts from outside, and returns when it is over.
  void Shoot(
      Duration delay, const std::function<void()>& meanwhile = [] {}) {
    OnBoard(board, [&] {
      LumoGpioInit();
      StartSnapThread();
      board.kernel.Spend(100us - board.Uptime() % 1ms + 1ms);  // away from the edge of a millisecond
      board.panel.ForgetPulses();
      begin = board.Now();
      meanwhile();
      LumoNeedCapture(ctrlSigs.get(), LumoGetTime() + static_cast<unsigned int>(delay / 1ms));
      end = board.Now();
      EXPECT_TRUE(board.gpio.At(2, 1).Level()) << "the shot line is up again";
    });
  }
  void ExpectStatus(int status) {
    EXPECT_EQ(ctrlSigs->needCapture, status);
    EXPECT_EQ(ctrlSigs->needSave, status);
  }
  std::vector<long> Led() const { return StartsOf(board.panel.LedPulses(), begin); }
  std::vector<long> Buzzer() const { return StartsOf(board.panel.BuzzerPulses(), begin); }

  Time begin{0}, end{0};
};

// What is heard of a good shot of this bench, whose exposure takes 2 s and whose saving 3 s, from its start on:
// one pulse, then two.
std::vector<long> SuccessAfter(long start) { return {start + 2101, start + 5101, start + 5301}; }

std::vector<long> Joined(std::vector<long> first, const std::vector<long>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

// Within a millisecond or two: threads look at each other once a millisecond.
MATCHER_P(IsAbout, expected, "") {
  if (arg.size() != expected.size()) return false;
  for (size_t i = 0; i < arg.size(); i++) {
    if (std::abs(arg[i] - expected[i]) > 2) return false;
  }
  return true;
}

}  // namespace

TEST_F(CaptureTrigger, CountdownHurriesWhenLessThanTwoSecondsAreLeft) {
  const std::pair<Duration, std::vector<long>> countdowns[] = {
      {0ms, {}},
      {1000ms, {100, 300, 500, 700, 900}},
      {4400ms, {900, 1900, 2900, 3100, 3300, 3500, 3700, 3900, 4100, 4300}},
      {5000ms, {900, 1900, 2900, 3100, 3300, 3500, 3700, 3900, 4100, 4300, 4500, 4700, 4900}}};
  for (const auto& [delay, countdown] : countdowns) {
    Shoot(delay);
    EXPECT_THAT(Buzzer(), IsAbout(Joined(countdown, SuccessAfter(delay / 1ms))));
    EXPECT_THAT(Led(), ElementsAreArray(Buzzer()));
    EXPECT_THAT(LengthsOf(board.panel.BuzzerPulses()), Each(100));
    EXPECT_THAT(LengthsOf(board.panel.LedPulses()), Each(100));
    EXPECT_LT(shots.back().start - begin - delay, 2ms);
    EXPECT_GE(shots.back().start - begin, delay - 1ms);
    ExpectStatus(kShotIdle);
  }
  EXPECT_EQ(board.LogCount(": NeedCapture\n"), 4u);
  EXPECT_EQ(board.LogCount(": StartCapture\n"), 4u);
}

TEST_F(CaptureTrigger, MuteSilencesSuccessAndCountdownButNoFailure) {
  ctrlSigs->muteMode = 1;
  Shoot(1000ms);
  EXPECT_EQ(Led().size(), 8u);
  EXPECT_THAT(Buzzer(), IsEmpty());

  plans = {{.exposed = 1}};
  shots.clear();
  Shoot(1000ms);
  EXPECT_EQ(Led().size(), 9u);
  EXPECT_EQ(Buzzer().size(), 4u);

  board.disk.FillTo(0);
  Shoot(1000ms);
  EXPECT_EQ(Buzzer().size(), 3u);
}

TEST_F(CaptureTrigger, FailureIsSignalledLoggedWithItsCodeAndKeptAsOne) {
  struct Failure {
    ShotPlan plan;
    std::string log;
    size_t pulses;
  };
  for (const Failure& failure : {Failure{{.exposed = 8}, "Cap error need_capture:8  need_save:255\n", 4},
                                 Failure{{.saved = 13}, "Cap error need_capture:0  need_save:13\n", 5}}) {
    plans = {failure.plan};
    ctrlSigs->timeLapse = 3;  // a failed shot does not end a series
    ctrlSigs->needExitTimeLapse = 0;
    Shoot(0ms);
    ExpectStatus(kShotFailed);
    EXPECT_EQ(board.LogCount(failure.log), 1u) << board.Log();
    EXPECT_EQ(Buzzer().size(), failure.pulses);
    EXPECT_EQ(ctrlSigs->timeLapse, 3);
  }
}

// The stand-in hangs while it saves, and the test moves the fields in its place.
TEST_F(CaptureTrigger, RestartedShotIsWaitedForAndSignalledOnce) {
  plans[0].saves = 1h;
  Shoot(0ms, [&] {
    board.kernel.After(3s, [&] { ctrlSigs->needCapture = kShotRunning; });
    board.kernel.After(7s, [&] { ctrlSigs->needCapture = kShotIdle; });
    board.kernel.After(9s, [&] { ctrlSigs->needSave = kShotIdle; });
  });
  ExpectStatus(kShotIdle);
  EXPECT_THAT(Buzzer(), IsAbout(std::vector<long>{2101, 9101, 9301}));
}

TEST_F(CaptureTrigger, RestartThatFailsIsAFailedShot) {
  plans[0].saves = 1h;
  Shoot(0ms, [&] {
    board.kernel.After(3s, [&] { ctrlSigs->needCapture = kShotRunning; });
    board.kernel.After(5s, [&] { ctrlSigs->needCapture = 1; });
  });
  ExpectStatus(kShotFailed);
  EXPECT_LT(end - begin, 7s);
}

// --- time-lapse ---

TEST_F(CaptureTrigger, WaitOfASeriesBlinksWithoutASound) {
  ctrlSigs->timeLapse = 1;
  Shoot(3000ms);
  EXPECT_EQ(Led().size(), 1u + 10 + 3);
  EXPECT_THAT(Buzzer(), IsAbout(SuccessAfter(3003))) << "11 looks at the button, a quarter of a millisecond each";
}

TEST_F(CaptureTrigger, ButtonOrRequestEndsASeriesAtTheNextPulse) {
  for (const bool button : {true, false}) {
    ctrlSigs->timeLapse = 1;
    ctrlSigs->needExitTimeLapse = button ? kRequested : 0;  // the button is looked at first
    Shoot(15s, [&] {
      if (button) board.kernel.After(500ms, [&] { board.button.Press(5000ms); });
      if (!button) board.kernel.After(2500ms, [&] { ctrlSigs->needExitTimeLapse = kRequested; });
    });
    EXPECT_THAT(shots, IsEmpty());
    EXPECT_EQ(ctrlSigs->timeLapse, 0);
    EXPECT_EQ(ctrlSigs->needExitTimeLapse, 0);
    ExpectStatus(kShotIdle);
    // Released at 5.5 s, seen 10 ms later, and 2 s of rest; or 3 s and 2 s of rest.
    EXPECT_EQ((end - begin) / 10ms, button ? 751 : 500);
  }
}

TEST_F(CaptureTrigger, NothingStopsASingleShotNorATwoHalfShot) {
  const auto disturb = [&] {
    ctrlSigs->needExitTimeLapse = kRequested;
    board.button.Press(1s);
  };
  Shoot(2000ms, disturb);
  EXPECT_EQ(shots.size(), 1u);
  EXPECT_EQ(ctrlSigs->needExitTimeLapse, kRequested) << "not even looked at";
  ctrlSigs->timeLapse = 1;
  ctrlSigs->delayMode = 8;
  Shoot(2000ms, disturb);
  EXPECT_EQ(shots.size(), 2u);
  ctrlSigs->delayMode = 7;
  Shoot(2000ms, disturb);
  EXPECT_EQ(shots.size(), 2u);
}

// --- the button ---

TEST_F(CaptureTrigger, WaitForTheButton) {
  OnBoard(board, [&] {
    LumoGpioInit();
    const auto wait = [&](BYTE level, Duration limit) {
      begin = board.Now();
      const BYTE got =
          LumoWaitBtnOut(ctrlSigs.get(), level, limit == 0ms ? 0 : LumoGetTime() + static_cast<unsigned>(limit / 1ms));
      end = board.Now();
      return got;
    };
    // Nothing comes.
    EXPECT_EQ(wait(kBtnPressed, 500ms), kBtnReleased);
    EXPECT_GE(end - begin, 499ms);
    EXPECT_LT(end - begin, 503ms);
    // A contact that chatters shorter than 10 ms is no press.
    board.kernel.After(100ms, [&] { board.button.Press(6ms); });
    EXPECT_EQ(wait(kBtnPressed, 300ms), kBtnReleased);
    // A press.
    board.kernel.After(100ms, [&] { board.button.Press(50ms); });
    EXPECT_EQ(wait(kBtnPressed, 300ms), kBtnPressed);
    EXPECT_EQ((end - begin - 110ms) / 3ms, 0);
    // Its release, and without a limit.
    EXPECT_EQ(wait(kBtnReleased, 0ms), kBtnReleased);
    board.kernel.After(5min, [&] { board.button.Hold(); });
    EXPECT_EQ(wait(kBtnPressed, 0ms), kBtnPressed);
    EXPECT_GE(end - begin, 5min);
  });
}

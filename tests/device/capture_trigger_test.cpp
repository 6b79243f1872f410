// One shot as the control thread takes it: countdown, hand-over, outcome, and the ways to stop a series.
#include "common/fpga_ctrl/device/capture_trigger.h"

#include <gtest/gtest.h>
#include <ucontext.h>

#include <array>
#include <csignal>

#include "common/fpga_ctrl/array/gpio.h"
#include "common/fpga_ctrl/array/spi_link.h"
#include "common/fpga_ctrl/device/clock.h"
#include "common/fpga_ctrl/device/stc_link.h"
#include "tests/support/control_bench.h"
#include "tests/support/on_board.h"
#include "tests/support/transcript_match.h"

using namespace std::chrono_literals;
using twin::Duration;
using twin::Time;

namespace {

struct CaptureTrigger : testing::Test, ControlBench {
  CaptureTrigger() { Listen(); }
  // Takes one shot, while `meanwhile` acts from outside, and returns when it is over.
  void Shoot(
      const ShotCase& c, const std::function<void()>& meanwhile = [] {}) {
    OnBoard(board, [&] {
      Set([&](ControlSignals& signals) {
        signals.timeLapse = static_cast<BYTE>(c.timeLapse);
        signals.delayMode = static_cast<BYTE>(c.delayMode);
        signals.muteMode = c.mute ? 1 : 0;
        signals.serialFd = c.remote ? 99 : -1;
        signals.wirelessId = 7;
        std::string("103007 Y N").copy(signals.oriInfo, 10);
        signals.needExitTimeLapse = c.stop != Stop::None ? kRequested : 0;  // the button is looked at first
        signals.needCapture = signals.needSave = 0x55;
      });
      plan = c.plan;
      shots.clear();
      LumoGpioInit();
      LumoSpiInit();
      StartSnapThread();
      board.disk.FillTo(c.full ? 0 : 62'500'000 / 100 * 41 + 10'000);
      board.faults.Clear();
      if (!c.full)
        board.faults.Add(c.remote ? "disk.statfs fail nth=3 times=always" : "disk.statfs fail nth=2 times=always");
      board.faults.Add("disk.list fail times=always");
      board.kernel.Spend(100us - board.Uptime() % 1ms + 1ms);  // away from the edge of a millisecond
      if (c.stop == Stop::Request && c.stopAt > 0) {
        Set([](ControlSignals& signals) { signals.needExitTimeLapse = 0; });
        board.kernel.After(c.stopAt * 1ms - 500ms,
                           [this] { Set([](ControlSignals& signals) { signals.needExitTimeLapse = kRequested; }); });
      }
      if (c.stop == Stop::Button) board.kernel.After(c.stopAt * 1ms - 500ms, [this] { board.button.Press(5s); });
      road.clear();
      board.panel.ForgetPulses();
      begin = board.Now();
      meanwhile();
      LumoNeedCapture(ctrlSigs.get(), LumoGetTime() + static_cast<unsigned int>(c.delay));
      TellFields();
    });
  }

  Time begin{0};
};

}  // namespace

TEST_F(CaptureTrigger, EachShotByItsRule) {
  const ControlBench::ShotPlan unexposed{.exposed = 8}, unsaved{.saved = 13};
  const ShotCase cases[] = {
      {"at once"},
      {"1 s", 1000},
      {"4.4 s", 4400},
      {"5 s, with a remote", 5000, 0, 3, false, true},
      {"muted", 3000, 0, 0, true, true},
      {"muted, not exposed", 0, 3, 0, true, true, false, unexposed},
      {"not saved", 0, 0, 0, false, true, false, unsaved},
      {"not exposed, in a series", 1000, 2, 0, false, false, false, unexposed},
      {"full disk", 1000, 3, 0, true, true, true, {}, Stop::Request},
      {"full disk, no remote", 0, 0, 0, false, false, true},
      {"wait of a series", 3000, 1, 7},
      {"series stopped by the button", 15'000, 1, 7, false, true, false, {}, Stop::Button, 1000},
      {"series stopped by a request", 15'000, 1, 0, true, false, false, {}, Stop::Request, 3000},
      {"single shot stays", 2000, 0, 0, false, false, false, {}, Stop::Button, 1000},
      {"two-half shot stays", 2000, 1, 8, false, false, false, {}, Stop::Button, 1000},
  };
  for (const ShotCase& c : cases) {
    SCOPED_TRACE(c.what);
    Shoot(c);
    EXPECT_TRUE(SameRoad(ShotRoad(c), road));
    if (!shots.empty()) {
      EXPECT_NEAR((shots[0] - begin) / 1ms, c.delay, 10) << "eleven looks at the button, 0.8 ms each";
    }
  }
}

// The stand-in hangs while it saves, and the test moves the fields in its place.
TEST_F(CaptureTrigger, FollowsRestartsAndRawFramesToTheirEnd) {
  const ShotCase hangs{.what = "hangs", .plan = {.saves = 1h}};
  using Fields = std::vector<std::pair<Duration, std::function<void()>>>;
  const auto shoot = [&](const Fields& fields) {
    Shoot(hangs, [&] {
      for (const auto& [when, change] : fields) board.kernel.After(when, change);
    });
    return road;
  };
  const auto capture = [&](BYTE value) { return [&, value] { ctrlSigs->needCapture = value; }; };
  const auto raw = [&](BYTE value) { return [&, value] { ctrlSigs->rawLoadInfo = value; }; };
  const auto saved = [&] { ctrlSigs->needSave = kShotIdle; };
  EXPECT_TRUE(SameRoad(ShotRoad(hangs, {"poll", "needCapture 255", "poll", "needCapture 0", "poll"}),
                       shoot({{3s, capture(kShotRunning)}, {7s, capture(0)}, {9s, saved}})));
  EXPECT_TRUE(SameRoad(ShotRoad(hangs, {"poll", "needCapture 255", "poll", "needCapture 1"}),
                       shoot({{3s, capture(kShotRunning)}, {5s, capture(1)}})));
  // A frame is asked for again every 80 ms until the mailbox names another; what no layer has becomes the last.
  const std::string rest = "sleep 80000";
  EXPECT_TRUE(
      SameRoad(ShotRoad(hangs, {"poll", "load 1 53", rest, "log LumoUpdateFileList \"opendir error\\n\"", "load 1 53",
                                rest, "load 1 53", rest, "load 2 53", rest, "load 2 53", rest, "poll"}),
               shoot({{3s, raw(0x40 | 53)}, {3190ms, raw(0xC0 | 62)}, {3380ms, raw(kRawLoadEmpty)}, {5s, saved}})));
}

#if defined(__x86_64__)
namespace {

// The two fields after each single instruction of this thread, as a neighbour on another core may see them.
struct BetweenInstructions {
  static inline const ControlSignals* signals = nullptr;
  static inline std::array<char, 2> order{};  // in which they changed: 's' needSave, 'c' needCapture
  static inline size_t changed = 0;

  static constexpr uint64_t kTrap = 0x100;
  static void Look(int, siginfo_t*, void* context) {
    for (const auto& [name, value] : {std::pair{'s', signals->needSave.load()}, {'c', signals->needCapture.load()}}) {
      const bool known = changed > 0 && order[0] == name;
      if (value == kShotRunning && !known && changed < order.size()) order[changed++] = name;
    }
    auto* interrupted = static_cast<ucontext_t*>(context);
    if (changed == order.size()) interrupted->uc_mcontext.gregs[REG_EFL] &= ~static_cast<greg_t>(kTrap);
  }
};

}  // namespace

TEST_F(CaptureTrigger, TheSaveStageIsPublishedBeforeTheSnapThreadStarts) {
  BetweenInstructions::signals = ctrlSigs.get();
  struct sigaction look {
  }, before{};
  look.sa_sigaction = BetweenInstructions::Look;
  look.sa_flags = SA_SIGINFO;
  sigaction(SIGTRAP, &look, &before);
  board.OnLogLine([](twin::Time, const std::string& line) {
    if (line.ends_with("StartCapture")) {
      __builtin_ia32_writeeflags_u64(__builtin_ia32_readeflags_u64() | BetweenInstructions::kTrap);
    }
  });
  Shoot({.what = "at once"});
  sigaction(SIGTRAP, &before, nullptr);
  EXPECT_EQ(std::string(BetweenInstructions::order.data(), BetweenInstructions::changed), "sc");
}
#endif

// The control thread on a board of its own, with a stand-in for the snap thread and for the teardown of main: what a
// person presses and what other threads ask for goes in, pulses, shots and the power come out.
#pragma once

#include <memory>
#include <vector>

#include "common/control_signals.h"
#include "tests/support/pulses.h"
#include "twin/board.h"

struct ControlBench {
  explicit ControlBench(const twin::BoardOptions& options = {});

  // Powers the board on, lets it be up for `uptime` and starts the control thread; returns when that has signalled
  // that it is up, with the pulses forgotten.
  void Start(twin::Duration uptime = twin::Duration{0});
  // Only the stand-ins, for tests that call the trigger themselves. In a fiber of the board.
  void StartSnapThread();

  // What the next shots do, in turn; the last one stays.
  struct ShotPlan {
    twin::Duration exposes = std::chrono::seconds(2);
    BYTE exposed = 0;  // needCapture after that
    twin::Duration saves = std::chrono::seconds(3);
    BYTE saved = 0;  // needSave after that
  };
  std::vector<ShotPlan> plans{ShotPlan{}};
  twin::Duration teardown = std::chrono::milliseconds(1200);  // from needQuit to its answer

  struct TakenShot {
    twin::Time start, end;
    BYTE captureMode, strobeMode, isoMode, delayMode, twoHalfIdx, saveRaw;
    int8_t evCompVal;
  };
  std::vector<TakenShot> shots;

  twin::Board board;
  std::unique_ptr<ControlSignals> ctrlSigs = std::make_unique<ControlSignals>();
  bool ended = false;  // the control thread has returned

 private:
  void SnapThread();
};

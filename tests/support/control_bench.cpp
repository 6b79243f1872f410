#include "tests/support/control_bench.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "common/fpga_ctrl/array/gpio.h"
#include "common/fpga_ctrl/device/control_loop.h"
#include "common/log.h"

extern "C" FILE* twin_stderr;

using namespace std::chrono_literals;

ControlBench::ControlBench(const twin::BoardOptions& options) : board(options) {
  std::filesystem::create_directories(board.disk.Directory() / "DCIM");
  ctrlSigs->rawLoadInfo = kRawLoadEmpty;
  ctrlSigs->reqConnect = 0x55;
  ctrlSigs->serialFd = -1;
  ctrlSigs->deviceId = 2;
  ctrlSigs->stcSpiMode = options.coProcessor ? 1 : 0;
}

void ControlBench::Start(twin::Duration uptime) {
  board.PowerOn([this, uptime] {
    g_lumoDebug = twin_stderr;
    board.kernel.Spend(uptime);
    LumoGpioInit();
    StartSnapThread();
    board.panel.ForgetPulses();
    LumoHandleControl(ctrlSigs.get());
    ended = true;
    for (;;) board.kernel.Spend(1s);
    return 0;
  });
  EXPECT_TRUE(board.RunUntil([this] { return board.panel.BuzzerPulses().size() == 2; }, uptime + 10s));
  board.Run(50ms);
  board.panel.ForgetPulses();
}

void ControlBench::StartSnapThread() {
  board.kernel.Spawn("snap", [this] { SnapThread(); });
}

void ControlBench::SnapThread() {
  for (;;) {
    if (ctrlSigs->needQuit == 1) {
      board.kernel.Spend(teardown);
      ctrlSigs->needQuit = 0;
    }
    if (ctrlSigs->needCapture != kShotRunning) {
      board.kernel.Spend(100us);
      continue;
    }
    const ShotPlan plan = plans[std::min(shots.size(), plans.size() - 1)];
    shots.push_back({.start = board.Now(),
                     .end = {},
                     .captureMode = ctrlSigs->captureMode,
                     .strobeMode = ctrlSigs->strobeMode,
                     .isoMode = ctrlSigs->isoMode,
                     .delayMode = ctrlSigs->delayMode,
                     .twoHalfIdx = ctrlSigs->twoHalfIdx,
                     .saveRaw = ctrlSigs->saveRaw,
                     .evCompVal = ctrlSigs->evCompVal});
    board.kernel.Spend(plan.exposes);
    ctrlSigs->needCapture = plan.exposed;
    if (plan.exposed == 0) {
      board.kernel.Spend(plan.saves);
      ctrlSigs->needSave = plan.saved;
    }
    shots.back().end = board.Now();
  }
}

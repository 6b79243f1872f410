#include "tests/support/control_bench.h"

#include <gtest/gtest.h>

#include "common/fpga_ctrl/array/gpio.h"
#include "common/fpga_ctrl/array/spi_link.h"
#include "common/fpga_ctrl/device/control_loop.h"
#include "common/log.h"

extern "C" FILE* twin_stderr;

using namespace std::chrono_literals;

// --- the road ---

void ControlRoad::Poll() {
  if (empty() || back() != "poll") Add("poll");
}

void ControlRoad::Log(const std::string& function, const std::string& text) {
  Add("log " + function + " " + twin::Quoted(text));
}

void ControlRoad::Status(int needCapture, int needSave) {
  Add("needCapture " + std::to_string(needCapture));
  Add("needSave " + std::to_string(needSave));
}

void ControlRoad::Pulse(int level, bool mute) {
  Add("led " + std::to_string(level));
  if (!mute) Add("buzzer " + std::to_string(level));
}

void ControlRoad::Train(int toggles, bool mute) {
  for (int i = 0; i < toggles; i++) {
    Sleep(100);
    Pulse(i % 2, mute);
  }
}

ControlRoad ShotRoad(const ShotCase& c, const std::vector<std::string>& saving) {
  ControlRoad road;
  const auto show = [&](const std::string& text) {
    if (c.remote) road.Add("log - " + twin::Quoted("Serial Send: X7" + text + (c.full ? " 00 000\n" : " 41 000\n")));
  };
  const auto fail = [&](int needCapture, int needSave) {
    road.Log("LumoNeedCapture", "Cap error need_capture:" + std::to_string(needCapture) +
                                    "  need_save:" + std::to_string(needSave) + "\n");
    road.Train(8, false);
    road.Add("shot line 1");
    road.Status(17, 17);
    show("Error     ");
    return road;
  };
  road.Log("LumoNeedCapture", "NeedCapture\n");
  road.Add("shot line 0");
  road.Status(254, 254);
  if (c.full) {
    road.Train(6, false);
    road.Add("shot line 1");
    road.Status(16, 16);
    if (c.stop == Stop::Request) road.Add("needExitTimeLapse 0");
    if (c.timeLapse != 0) road.Add("timeLapse 0");
    show("Disk Full ");
    return road;
  }
  show("Capture   ");
  for (int now = 0; now < c.delay;) {
    const int wait = now + 2000 < c.delay ? 900 : 100;
    now += wait + 100;
    road.Sleep(wait);
    road.Pulse(0, c.mute || c.timeLapse != 0);
    road.Sleep(100);
    road.Pulse(1, c.mute || c.timeLapse != 0);
    if (c.stop == Stop::None || now < c.stopAt || c.timeLapse == 0 || c.delayMode > 7) continue;
    road.Add("shot line 1");
    road.Status(0, 0);
    road.Add("needExitTimeLapse 0");
    road.Add("timeLapse 0");
    if (c.stop == Stop::Button) {
      road.Poll();
      road.Sleep(10);
      road.Poll();
    }
    road.Sleep(2000);
    return road;
  }
  road.Log("LumoNeedCapture", "StartCapture\n");
  road.Status(255, 255);
  road.Poll();
  road.Add("needCapture " + std::to_string(c.plan.exposed));
  if (c.plan.exposed != 0) return fail(c.plan.exposed, 255);
  road.Train(2, c.mute);
  show("Save      ");
  road.insert(road.end(), saving.begin(), saving.end());
  if (saving.back() == "needCapture 1") return fail(1, 255);
  road.Add("needSave " + std::to_string(c.plan.saved));
  if (c.plan.saved != 0) return fail(0, c.plan.saved);
  road.Train(4, c.mute);
  road.Add("shot line 1");
  if (c.looksFail) road.Log("LumoCheckStorage", "statfs error\n");
  road.Log("LumoUpdateFileList", "opendir error\n");
  show("103007 Y N");
  return road;
}

void ControlBench::Listen() {
  array_ = std::make_unique<SpiTap>(board);
  array_->accept = [this](int layer, int code, int slot) {
    constexpr int kLoadNew = 0xD6;
    if (code == kLoadNew) road.Add("load " + std::to_string(layer) + " " + std::to_string(slot));
    return true;
  };
  transcript_ = std::make_unique<twin::Transcript>(board.kernel, "sleep log shell file");
  transcript_->OnLine([this](const twin::Transcript::Line& line) { Tell(line.text); });
  board.panel.OnChange([this, led = true, buzzer = true, shotLine = true]() mutable {
    const auto look = [this](bool& was, bool level, const char* line) {
      if (was != level) Tell(line + std::string(level ? "1" : "0"));
      was = level;
    };
    look(led, board.panel.Lit(), "led ");
    look(buzzer, !board.panel.Sounding(), "buzzer ");
    look(shotLine, !board.panel.ShotLine(), "shot line ");
  });
  told_ = Fields();
}

void ControlBench::Set(const std::function<void(ControlSignals&)>& change) {
  change(*ctrlSigs);
  told_ = Fields();
}

void ControlBench::Tell(const std::string& step) {
  if (!board.kernel.InFiber() || board.kernel.FiberName() != "main") return;
  TellFields();
  step == "sleep 1000" ? road.Poll() : road.Add(step);
}

void ControlBench::TellFields() {
  constexpr std::array names = {
      "actionTime",  "needQuit",   "strobeMode",        "delayMode",           "captureMode",
      "evCompVal",   "isoMode",    "saveRaw",           "twoHalfIdx",          "remoteCapCmd",
      "needCapture", "needSave",   "needExitTimeLapse", "timeLapse",           "needReadTemperature",
      "reqConnect",  "needUpdate", "needFormat",        "needWirelessCamInfo", "needCompassCalibrate"};
  static_assert(names.size() == kFields);
  const auto now = Fields();
  for (size_t i = 0; i < kFields; i++) {
    if (now[i] == told_[i]) continue;
    const long age = board.Uptime() / 1ms - now[i];
    road.Add(names[i] + (" " + std::to_string(i == 0 ? age / 1000 : now[i])));
  }
  told_ = now;
}

std::array<long, ControlBench::kFields> ControlBench::Fields() const {
  const ControlSignals& c = *ctrlSigs;
  return {c.actionTime,  c.needQuit,   c.strobeMode,        c.delayMode,           c.captureMode,
          c.evCompVal,   c.isoMode,    c.saveRaw,           c.twoHalfIdx,          c.remoteCapCmd,
          c.needCapture, c.needSave,   c.needExitTimeLapse, c.timeLapse,           c.needReadTemperature,
          c.reqConnect,  c.needUpdate, c.needFormat,        c.needWirelessCamInfo, c.needCompassCalibrate};
}

// --- the thread and its neighbours ---

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
    LumoSpiInit();
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
    shots.push_back(board.Now());
    board.kernel.Spend(plan.exposes);
    ctrlSigs->needCapture = plan.exposed;
    if (plan.exposed == 0) {
      board.kernel.Spend(plan.saves);
      ctrlSigs->needSave = plan.saved;
    }
  }
}

// The control thread: presses, what other threads ask for, and switching off, each as the road that it takes.
#include "common/fpga_ctrl/device/control_loop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/control_loop.h"
#include "tests/support/transcript_match.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using twin::Duration;
using twin::Time;

// --- start ---

TEST_F(ControlLoop, SignalsThatItIsUpWhateverMuteSays) {
  ctrlSigs->muteMode = 1;
  board.faults.Add("disk.list fail");
  Listen();
  Start();
  ControlRoad up;
  up.Train(4, false);
  up.Log("LumoUpdateFileList", "opendir error\n");
  up.Add("actionTime 0");
  road.erase(road.begin(), std::find(road.begin(), road.end(), "sleep 50000"));  // what the motion sensor's start took
  std::erase(road, "sleep 50000");
  ASSERT_GE(road.size(), up.size());
  road.resize(up.size());
  EXPECT_TRUE(SameRoad(up, road));
  // The motion sensor settles for three seconds, in which each pass takes a packet from it and throws it away.
  EXPECT_EQ(ctrlSigs->vertexReady, 0);
  const Time begin = board.Now();
  EXPECT_TRUE(board.RunUntil([&] { return ctrlSigs->vertexReady == 1; }, 5s));
  EXPECT_NEAR((board.Now() - begin) / 1ms, 3000 - 450, 60) << "from the sensor's start, the pulses included";
  EXPECT_EQ(board.LogCount("vertexReady OK\n"), 1u);
}

TEST_F(ControlLoop, ButtonHeldAtStartIsNoPress) {
  board.button.Hold();
  Start();
  board.Run(5s);
  EXPECT_EQ(ctrlSigs->needQuit, 0);
  // Requests wait for as long as it is down.
  ctrlSigs->needShutdown = kRequested;
  EXPECT_FALSE(Quits(5s));
  board.button.Release();
  EXPECT_TRUE(Quits(100ms));
  EXPECT_THAT(shots, IsEmpty());
}

// --- presses ---

TEST_F(ControlLoop, PressesByNumberAndSetting) {
  StartAndListen();
  Time accepted{0};
  board.OnLogLine([&](Time when, const std::string& line) {
    if (line.ends_with("NeedCapture")) accepted = when;
  });
  for (const int setting : {0, 1, 2, 200}) {
    for (const int presses : {1, 2, 3, 4, 5}) {
      SCOPED_TRACE(std::to_string(presses) + " presses, setting " + std::to_string(setting));
      road.clear();
      Set([&](ControlSignals& signals) {
        signals.btnSetting = static_cast<BYTE>(setting);
        signals.captureMode = 5;
        signals.strobeMode = 2;
        signals.evCompVal = -4;
        signals.isoMode = 3;
        signals.saveRaw = 1;
        signals.delayMode = 7;
        signals.twoHalfIdx = 2;
        signals.actionTime = 0;
      });
      for (int i = 0; i < presses; i++) {
        board.button.Press(i == 1 ? 2s : 100ms);  // the first has its limit, the others none
        board.Run(i == 1 ? 2150ms : 250ms);
      }
      const Time released = board.Now() - 150ms;
      board.Run(setting >= 2 ? 1s : std::vector{8s, 13s, 18s, 28s, 28s}[static_cast<size_t>(presses - 1)]);

      ControlRoad expected;
      const int counted = setting >= 2 ? presses : std::min(presses, 4);
      const auto edge = [&](bool activity) {
        expected.Sleep(10);
        if (activity) expected.Add("actionTime 0");
        expected.Poll();
      };
      if (setting >= 2) {  // each press by itself, its release being the next edge
        for (int i = 0; i < counted; i++) {
          edge(true);
          edge(false);
          edge(true);
        }
        EXPECT_TRUE(SameRoad(expected, Taken()));
        continue;
      }
      for (int i = 0; i < counted; i++) {
        edge(i == 0);
        edge(false);
      }
      if (presses <= 4) {  // 10 ms of debounce, the wait for a further press, a millisecond or two of polling
        const Duration waited =
            accepted - released - std::vector{500ms, 800ms, 800ms, 0ms}[static_cast<size_t>(counted - 1)];
        EXPECT_TRUE(waited >= 10ms && waited < 16ms) << waited / 1us;
      }
      const int delayMode = std::vector{0, 3, 4, 6}[static_cast<size_t>(counted - 1)];
      if (setting == 0) expected.Add("strobeMode 0");
      expected.Add("delayMode " + std::to_string(delayMode));
      if (setting == 0) {
        for (const char* step : {"captureMode 0", "evCompVal 0"}) expected.Add(step);
        expected.Add(presses == 1 ? "isoMode 0" : "isoMode 1");
        expected.Add("saveRaw 0");
      }
      expected.Add("twoHalfIdx 0");
      expected.Join(GoodShot(std::vector{0, 5000, 10'000, 20'000}[static_cast<size_t>(counted - 1)]));
      expected.Poll();
      edge(true);  // the release of the press that was handled
      EXPECT_TRUE(SameRoad(expected, Taken()));
    }
  }
  EXPECT_FALSE(std::filesystem::exists(board.disk.Directory() / "DCIM" / "setting.ini")) << "presses store nothing";
}

TEST_F(ControlLoop, BounceIsNoActivityAndAReleaseIs) {
  StartAndListen();
  board.button.Press(6ms);
  board.Run(300ms);
  EXPECT_TRUE(SameRoad({"sleep 10000", "poll"}, Taken()));
  road.clear();
  board.button.Press(2980ms);  // a shot, by ten milliseconds
  board.Run(20s);
  EXPECT_EQ(shots.size(), 1u);
  road.clear();
  board.button.Press(4s);
  board.Run(20s);
  ControlRoad expected;
  for (const char* step : {"sleep 10000", "actionTime 0", "poll"}) expected.Add(step);
  AddSwitchOff(expected);
  EXPECT_TRUE(SameRoad(expected, Taken()));
}

TEST_F(ControlLoop, APressDuringAShotIsNoShotNorIsOneHeldOverItsEnd) {
  Start();
  for (const Duration length : {100ms, 20'000ms}) {
    board.button.Press(100ms);
    board.Run(3s);
    board.button.Press(length);
    EXPECT_FALSE(Quits(30s));
  }
  EXPECT_EQ(shots.size(), 2u);
}

TEST_F(ControlLoop, ButtonHeldOverTheEndOfARemoteShotIsANewPress) {
  Start();
  ctrlSigs->remoteCapCmd = PackRemoteCapCmd(0, 0, 0, 0x80, 0);
  board.Run(3s);
  board.button.Hold();
  EXPECT_FALSE(Quits(5s));
  EXPECT_TRUE(Quits(4s)) << "three seconds after the shot";
}

// --- requests ---

TEST_F(ControlLoop, OneRequestAtATimeInTheirOrder) {
  board.coProcessor.SetBattery(63);
  StartAndListen();
  board.faults.Add("disk.statfs fail nth=3");
  std::string settings;
  board.kernel.After(1s, [&] { settings = Settings(); });  // the disk will be formatted
  const ControlRoad made = RoadOf(
      [](ControlSignals& signals) {
        signals.muteMode = 1;
        signals.usbMode = kUsbSerial;
        signals.needCompassCalibrate = 1;
        signals.needWirelessCamInfo = kRequested;
        signals.needFormat = kRequested;
        signals.needUpdate = kRequested;
        signals.reqConnect = kRequested;
        signals.needReadTemperature = 1;
        signals.remoteCapCmd = PackRemoteCapCmd(6, 1, 0xF5, 0x80 - 7, 7);
        signals.actionTime = 0;
      },
      30s);
  ControlRoad expected;
  const auto add = [&](std::initializer_list<const char*> steps) {
    expected.insert(expected.end(), steps.begin(), steps.end());
  };
  const auto addArrayAsleep = [&](const std::string& function, const std::string& display, const std::string& field) {
    expected.Poll();
    expected.Log("LumoSpiWaitReady", "LumoSpiIsReady error, rlt = 0\n");
    expected.Log(function, "LumoFpgaAwake error\n");
    expected.Poll();
    if (!display.empty()) expected.Log("-", display);
    expected.Add(field);
    expected.Poll();
  };
  const auto addUpdate = [&] {
    expected.Log("LumoUpdateFileList", "opendir error\n");
    add({"needUpdate 0", "poll"});
  };
  expected.Log("LumoHandleControl", "RemoteCap\n");
  add({"strobeMode 2", "delayMode 1", "captureMode 5", "evCompVal -7", "isoMode 3", "remoteCapCmd 0"});
  AddSaving(expected, settings);
  expected.Add("actionTime 0");
  expected.Join(ShotRoad({.what = "", .delay = 1000, .mute = true, .looksFail = false}));
  addArrayAsleep("ReadCameraTemperature", "", "needReadTemperature 0");
  expected.Log("LumoHandleControl", "ReqConnect\n");
  expected.Train(10, false);
  add({"poll", "reqConnect 85", "poll"});
  expected.Log("LumoCheckStorage", "statfs error\n");  // the third look at the room is for the colour
  addUpdate();
  expected.Add("shell \"umount /mnt/udisk\"");
  expected.Sleep(100);
  expected.Add("shell \"mkdosfs -F 32 /dev/sda1\"");
  expected.Sleep(200);
  expected.Add("shell \"mount -t vfat /dev/sda1 /mnt/udisk\"");
  expected.Pulse(0, false);
  expected.Sleep(500);
  expected.Add("file mkdir \"/mnt/udisk/DCIM/\" 777");
  expected.Pulse(1, false);
  add({"needUpdate 255", "needFormat 0", "poll"});
  addUpdate();
  addArrayAsleep("LumoGetGpsState", "Serial Send: X0Ready    N 99 990\n", "needWirelessCamInfo 0");
  addArrayAsleep("LumoCompassCalibrate", "", "needCompassCalibrate 255");
  EXPECT_TRUE(SameRoad(expected, made));

  // Switching off goes in front of the last three. Question, format and end are heard when muted.
  ControlRoad end;
  AddSwitchOff(end);
  const auto quit = [](ControlSignals& signals) {
    signals.needFormat = kRequested;
    signals.needShutdown = kRequested;
  };
  EXPECT_TRUE(SameRoad(end, RoadOf(quit, 10s)));
  EXPECT_FALSE(board.Powered());
}

TEST_F(ControlLoop, RequestsAreHeldToTheirLimits) {
  Start();
  struct Row {
    unsigned int cmd;
    int strobeMode, delayMode, captureMode, evCompVal, isoMode, halves;
  };
  for (const Row& row : {Row{0xFFFFFFFF, 3, 8, 7, 16, 3, 2}, Row{PackRemoteCapCmd(0, 0, 0, 1, 0), 0, 0, 0, -16, 0, 1},
                         Row{PackRemoteCapCmd(1, 7, 2, 0x90, 1), 1, 7, 2, 16, 1, 1}}) {
    shots.clear();
    ctrlSigs->remoteCapCmd = row.cmd;
    board.Run(50s);
    ASSERT_EQ(shots.size(), static_cast<size_t>(row.halves));
    const ControlSignals& s = *ctrlSigs;
    EXPECT_THAT((std::array<int, 5>{s.strobeMode, s.delayMode, s.captureMode, s.evCompVal, s.isoMode}),
                ElementsAre(row.strobeMode, row.delayMode, row.captureMode, row.evCompVal, row.isoMode));
  }
}

TEST_F(ControlLoop, ConnectionIsGrantedByTwoPresses) {
  Start();
  ctrlSigs->btnSetting = 2;
  using Presses = std::vector<std::pair<Duration, Duration>>;
  const std::pair<int, Presses> answers[] = {
      {0, {{2800ms, 1100ms}, {1100ms, 1100ms}}},
      {0x55, {}},
      {0x55, {{100ms, 100ms}}},
      {0x55, {{100ms, 1300ms}}},
      {0x55, {{100ms, 100ms}, {1300ms, 100ms}}},
      {0x55, {{100ms, 100ms}, {100ms, 1300ms}}},
  };
  for (const auto& [outcome, presses] : answers) {
    ctrlSigs->reqConnect = kRequested;
    board.Run(1100ms);  // the train of ten
    for (const auto& [wait, length] : presses) {
      board.Run(wait);
      board.button.Press(length);
      board.Run(length);
    }
    EXPECT_TRUE(board.RunUntil([&] { return ctrlSigs->reqConnect != kRequested; }, 10s));
    EXPECT_EQ(ctrlSigs->reqConnect, outcome);
    board.Run(2s);
  }
}

// --- switching off ---

TEST_F(ControlLoop, HungTeardownDelaysTheSwitchOffByThirtySeconds) {
  teardown = 1h;
  Start();
  ctrlSigs->needShutdown = kRequested;
  EXPECT_TRUE(Quits(100ms));
  const Time quit = board.Now();
  EXPECT_TRUE(board.RunUntil([&] { return !board.Powered(); }, 1min));
  EXPECT_NEAR((board.Now() - quit) / 1ms, 31'215, 5);
}

TEST(ControlLoopAlone, WithoutCoProcessorTheButtonWorksAndIdleLimitsAreMetToTheMillisecond) {
  ControlBench bench(twin::BoardOptions{.coProcessor = false});
  twin::Board& board = bench.board;
  board.disk.FillTo(3'000'000);
  bench.Start(40min);
  board.button.Press(100ms);
  board.Run(10s);
  EXPECT_EQ(bench.shots.size(), 1u);
  EXPECT_EQ(board.panel.Colour(), "green");

  // A pass takes a millisecond here. Mode 0 has no limit, nor have numbers that no list knows.
  const std::vector<std::pair<int, unsigned int>> limits = {{0, 0},       {6, 0},      {255, 0},    {5, 1800000},
                                                            {4, 1200000}, {3, 900000}, {2, 600000}, {1, 300000}};
  for (const auto& [mode, limit] : limits) {
    const auto now = static_cast<unsigned int>(board.Uptime() / 1ms);
    bench.ctrlSigs->actionTime = now + 50 - (limit == 0 ? 2'000'000 : limit);
    bench.ctrlSigs->shutdownMode = static_cast<BYTE>(mode);
    const bool last = mode == 1;
    board.RunUntil([&] { return bench.ctrlSigs->needQuit == 1; }, last ? 1s : 49ms);
    EXPECT_EQ(bench.ctrlSigs->needQuit, last ? 1 : 0) << mode;
    if (last) {
      EXPECT_EQ(board.Uptime() / 1ms - now, 51) << "not at the limit itself";
    }
    bench.ctrlSigs->shutdownMode = 0;
    board.Run(10ms);
  }
  board.Run(10s);
  EXPECT_TRUE(bench.ended);
  EXPECT_EQ(board.panel.Colour(), "dark");
  EXPECT_TRUE(board.Powered()) << "nobody is there to cut it";
}

TEST(ControlLoopAlone, LowBatterySwitchesOff) {
  for (const auto& [sample, quits] : {std::pair{9, true}, {1, true}, {10, false}, {0, false}}) {
    ControlBench bench;
    bench.board.coProcessor.SetBattery(sample);
    bench.Start();
    EXPECT_EQ(bench.board.RunUntil([&] { return bench.ctrlSigs->needQuit == 1; }, 2s), quits) << sample;
  }
}

// The control thread by itself and by its button: start, presses, switching off.
#include "common/fpga_ctrl/device/control_loop.h"

#include "tests/device/control_loop_fixture.h"

// --- start ---

TEST_F(ControlLoop, SignalsThatItIsUpWhateverMuteSays) {
  ctrlSigs->muteMode = 1;
  std::vector<twin::Pulse> pulses;
  board.panel.OnChange([&] { pulses = board.panel.BuzzerPulses().empty() ? pulses : board.panel.BuzzerPulses(); });
  std::ofstream{board.disk.Directory() / "DCIM" / "20260615_103000_abc.ori"} << "x";
  Start();
  ASSERT_EQ(pulses.size(), 2u);
  EXPECT_THAT(LengthsOf(pulses), ElementsAre(100, 100));
  EXPECT_EQ(StartsOf(pulses, pulses[0].start)[1], 200);
  EXPECT_STREQ(ctrlSigs->fileList + 16, "20260615_103000_abc\r\n");
  EXPECT_NEAR(ctrlSigs->actionTime, BoardTime(), 60);
  // The motion sensor has been started, and settles for three seconds.
  EXPECT_EQ(ctrlSigs->vertexReady, 0);
  board.Run(2900ms - (board.Now() - pulses[0].start));
  EXPECT_EQ(ctrlSigs->vertexReady, 0);
  board.Run(200ms);
  EXPECT_EQ(ctrlSigs->vertexReady, 1);
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

TEST_F(ControlLoop, FifthPressIsNotCountedAndLatePressIsAnotherShot) {
  SetUserSettings();
  Start();
  const TakenShot shot = ShotAfter(5);
  EXPECT_EQ(shot.delayMode, 6);
  EXPECT_EQ(shot.captureMode + shot.strobeMode + shot.evCompVal + shot.saveRaw + shot.twoHalfIdx, 0);
  EXPECT_EQ(SettingFile(), "") << "a press changes no stored setting";
  ASSERT_EQ(shots.size(), 1u);
  // The second of two presses comes too late to belong to the first.
  Press(1);
  board.Run(560ms);
  EXPECT_EQ(shots.size(), 2u);
}

TEST_F(ControlLoop, ButtonMayTakeNoShotsAndStillSwitchesOff) {
  ctrlSigs->btnSetting = 2;
  Start();
  Press(2);
  board.Run(30s);
  EXPECT_THAT(shots, IsEmpty());
  board.button.Press(3100ms);
  EXPECT_TRUE(Quits(3100ms));
}

TEST_F(ControlLoop, PressJustUnderThreeSecondsTakesAShot) {
  Start();
  board.button.Press(2990ms);
  board.Run(4s);
  EXPECT_EQ(ctrlSigs->needQuit, 0);
  EXPECT_EQ(shots.size(), 1u);
}

// --- switching off ---

TEST_F(ControlLoop, HungTeardownDelaysTheSwitchOffByThirtySeconds) {
  teardown = 1h;
  Start();
  ctrlSigs->needShutdown = kRequested;
  EXPECT_TRUE(Quits(100ms));
  const Time quit = board.Now();
  EXPECT_TRUE(board.RunUntil([&] { return !board.Powered(); }, 1min));
  EXPECT_THAT(board.Now() - quit, IsWithin(Duration{31210ms}, Duration{31220ms}));
}

TEST_F(ControlLoop, IdleLimits) {
  Start(40min);
  board.Run(3s);  // with the motion sensor settled, a pass takes a millisecond
  const auto idleFor = [&](BYTE mode, unsigned int length) {
    ctrlSigs->actionTime = BoardTime() - length;
    ctrlSigs->shutdownMode = mode;
  };
  // Never: mode 0, and numbers that no list knows.
  for (const int mode : {0, 6, 255}) {
    idleFor(static_cast<BYTE>(mode), 2'390'000);
    EXPECT_FALSE(Quits(100ms)) << mode;
  }
  const std::vector<std::pair<int, unsigned int>> known = {
      {5, 1800000}, {4, 1200000}, {3, 900000}, {2, 600000}, {1, 300000}};
  for (const auto& [mode, limit] : known) {
    idleFor(static_cast<BYTE>(mode), limit - 100);
    EXPECT_FALSE(Quits(90ms)) << mode;
    ctrlSigs->shutdownMode = 0;
    board.Run(10ms);
  }
  idleFor(1, 300000 - 50);
  const Time begin = board.Now();
  EXPECT_TRUE(Quits(1s));
  EXPECT_THAT(board.Now() - begin, IsWithin(Duration{50ms}, Duration{53ms}));
}

TEST(ControlLoopAlone, LowBatterySwitchesOff) {
  const auto quitsAt = [](int sample) {
    ControlBench bench;
    bench.board.coProcessor.SetBattery(sample);
    bench.Start();
    return bench.board.RunUntil([&] { return bench.ctrlSigs->needQuit == 1; }, 2s);
  };
  EXPECT_TRUE(quitsAt(9));
  EXPECT_TRUE(quitsAt(1));
  EXPECT_FALSE(quitsAt(10));
  EXPECT_FALSE(quitsAt(0));
}

TEST(ControlLoopAlone, WithoutCoProcessorTheButtonWorksAndNothingIsKnownOfTheBattery) {
  twin::BoardOptions options;
  options.coProcessor = false;
  ControlBench bench(options);
  bench.Start();
  bench.board.button.Press(100ms);
  bench.board.Run(10s);
  EXPECT_EQ(bench.shots.size(), 1u);
  EXPECT_EQ(bench.board.panel.Colour(), "blue");
  bench.board.button.Press(4s);
  bench.board.Run(10s);
  EXPECT_TRUE(bench.ended);
  EXPECT_EQ(bench.board.panel.Colour(), "dark");
  EXPECT_TRUE(bench.board.Powered()) << "nobody is there to cut it";
}

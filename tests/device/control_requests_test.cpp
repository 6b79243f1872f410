// What other threads ask of the control thread: shots, series, format, connection, in their order.
#include "tests/device/control_loop_fixture.h"

TEST_F(ControlLoop, RemoteRequestIsDecodedSavedAndReleasedBeforeTheShot) {
  Start();
  ctrlSigs->actionTime = 0;
  ctrlSigs->remoteCapCmd = PackRemoteCapCmd(2, 1, 5, 0x80 - 7, 3);
  board.Run(100ms);
  EXPECT_EQ(ctrlSigs->remoteCapCmd, 0u) << "its sender goes on while the delay runs";
  EXPECT_EQ(ctrlSigs->needSave, kShotAccepted);
  EXPECT_THAT(SettingFile(), testing::HasSubstr("capturemode=5\nstrobemode=2\nisomode=3\nevcompval=-7\n"));
  EXPECT_THAT(SettingFile(), testing::HasSubstr("delaymode=1\n"));
  EXPECT_GT(ctrlSigs->actionTime, 0u);
  board.Run(10s);
  ASSERT_EQ(shots.size(), 1u);
  EXPECT_EQ(shots[0].captureMode, 5);
  EXPECT_EQ(shots[0].strobeMode, 2);
  EXPECT_EQ(shots[0].isoMode, 3);
  EXPECT_EQ(shots[0].evCompVal, -7);
  EXPECT_EQ(shots[0].twoHalfIdx, 0);

  // Bits beyond a field's mask are dropped, and what has limits is held to them.
  Request(0xFFFFFFFF);
  EXPECT_EQ(shots.back().strobeMode, 3);
  EXPECT_EQ(shots.back().delayMode, 8);
  EXPECT_EQ(shots.back().captureMode, 7);
  EXPECT_EQ(shots.back().evCompVal, 16);
  board.Run(30s);
  Request(PackRemoteCapCmd(0, 0, 0, 0x01, 0));
  EXPECT_EQ(shots.back().evCompVal, -16);
  EXPECT_EQ(board.LogCount(": RemoteCap\n"), 3u);
}

TEST_F(ControlLoop, NoSecondHalfOfAFirstOneThatFailedEitherWay) {
  Start();
  for (const ShotPlan& plan : {ShotPlan{.exposed = 1}, ShotPlan{.saved = 3}}) {
    const size_t before = shots.size();
    plans = {plan};
    Request(PackRemoteCapCmd(0, 8, 0, 0x80, 0));
    board.Run(30s);
    EXPECT_EQ(shots.size(), before + 1);
  }
}

TEST_F(ControlLoop, IntervalsByModel) {
  Start();
  const auto interval = [&](int deviceId, int timeLapse) {
    shots.clear();
    ctrlSigs->deviceId = deviceId;
    ctrlSigs->timeLapse = static_cast<BYTE>(timeLapse);
    Request(PackRemoteCapCmd(0, 0, 0, 0x80, 0));
    board.RunUntil([&] { return shots.size() == 2; }, 5min);
    ctrlSigs->needExitTimeLapse = kRequested;
    ctrlSigs->timeLapse = 0;
    board.Run(10s);
    ctrlSigs->needExitTimeLapse = 0;
    return (shots[1].start - shots[0].start + 250ms) / 500ms * 500;
  };
  const std::vector<long> model2 = {30000, 45000, 60000, 90000, 120000, 180000, 240000, 240000};
  const std::vector<long> others = {15000, 20000, 30000, 45000, 60000, 90000, 120000, 120000};
  for (int i = 0; i < 8; i++) {
    const int timeLapse = i < 7 ? i + 1 : 200;
    EXPECT_EQ(interval(2, timeLapse), model2[static_cast<size_t>(i)]) << timeLapse;
    EXPECT_EQ(interval(4, timeLapse), others[static_cast<size_t>(i)]) << timeLapse;
  }
}

TEST_F(ControlLoop, SeriesLongerThanTheIdleLimitIsFollowedByTheSwitchOff) {
  ctrlSigs->deviceId = 3;
  ctrlSigs->shutdownMode = 1;
  Start();
  ctrlSigs->timeLapse = 7;
  Request(PackRemoteCapCmd(0, 0, 0, 0x80, 0));
  board.RunUntil([&] { return shots.size() == 4; }, 10min);
  EXPECT_EQ(ctrlSigs->needQuit, 0) << "never within the series";
  ctrlSigs->needExitTimeLapse = kRequested;
  EXPECT_TRUE(Quits(30s));
}

TEST_F(ControlLoop, OneRequestAtATimeInTheirOrder) {
  Start();
  std::vector<std::string> served;
  const auto watch = [&](const std::string& name, bool pending) {
    if (!pending && std::find(served.begin(), served.end(), name) == served.end()) served.push_back(name);
  };
  ctrlSigs->muteMode = 1;
  ctrlSigs->needFormat = kRequested;
  ctrlSigs->needUpdate = kRequested;
  ctrlSigs->reqConnect = kRequested;
  ctrlSigs->needReadTemperature = 1;
  ctrlSigs->remoteCapCmd = PackRemoteCapCmd(0, 0, 0, 0x80, 0);
  board.RunUntil(
      [&] {
        watch("capture", ctrlSigs->remoteCapCmd != 0);
        watch("temperature", ctrlSigs->needReadTemperature != 0);
        watch("connect", ctrlSigs->reqConnect == kRequested);
        watch("update", ctrlSigs->needUpdate == kRequested);
        watch("format", ctrlSigs->needFormat == kRequested);
        return served.size() == 5;
      },
      1min);
  EXPECT_THAT(served, ElementsAre("capture", "temperature", "connect", "update", "format"));
  board.Run(2s);
  EXPECT_THAT(LengthsOf(board.panel.BuzzerPulses()).back(), IsWithin(500, 505)) << "the format is heard when muted";

  ctrlSigs->needFormat = kRequested;
  ctrlSigs->needShutdown = kRequested;
  board.RunUntil([&] { return !board.Powered(); }, 1min);
  EXPECT_EQ(ctrlSigs->needFormat, kRequested) << "switching off goes first";
}

TEST_F(ControlLoop, ConnectionIsGrantedByTwoPresses) {
  ctrlSigs->muteMode = 1;
  Start();
  const auto answerWith = [&](const std::vector<std::pair<Duration, Duration>>& presses) {
    board.panel.ForgetPulses();
    ctrlSigs->reqConnect = kRequested;
    board.Run(1100ms);  // the train of ten
    EXPECT_EQ(board.panel.BuzzerPulses().size(), 5u);
    for (const auto& [wait, length] : presses) {
      board.Run(wait);
      board.button.Press(length);
      board.Run(length);
    }
    EXPECT_TRUE(board.RunUntil([&] { return ctrlSigs->reqConnect != kRequested; }, 10s));
    board.Run(2s);
    return ctrlSigs->reqConnect.load();
  };
  ctrlSigs->btnSetting = 2;
  EXPECT_EQ(answerWith({{2800ms, 1100ms}, {1100ms, 1100ms}}), 0);
  EXPECT_EQ(answerWith({}), 0x55);
  EXPECT_EQ(answerWith({{100ms, 100ms}}), 0x55);
  EXPECT_EQ(answerWith({{100ms, 1300ms}}), 0x55);
  EXPECT_EQ(answerWith({{100ms, 100ms}, {1300ms, 100ms}}), 0x55);
  EXPECT_EQ(answerWith({{100ms, 100ms}, {100ms, 1300ms}}), 0x55);
  EXPECT_EQ(board.LogCount(": ReqConnect\n"), 6u);
}

// A shot: measurement, exposure sets, stores. The exposures are judged by the frames that come out at the end.
#include "tests/fpga/array_bench.h"

namespace {

using namespace bench;

using Capture = ArrayBench;

constexpr double kRow = 2.0 * kColumns / 120e6;  // s

TEST_F(Capture, TheMeasurementSettlesInAnyLightAndItsTwoValuesBelongTogether) {
  Do([&] {
    BringUp();
    for (const double brightness : {0.05, 0.7, 10.0, 110.0, 1500.0, 40000.0}) {
      SCOPED_TRACE(brightness);
      ResetPulse();
      light.signalPerSecond = brightness;
      StartCapture({});
      int average = -1;
      for (int count = 1; count <= 10; count++) {
        ASSERT_TRUE(Feed(1s, [&] { return Read(1, 0x4D) == count; }));
        average = Read(1, 0x4E);
        const double exposure = MeasuredExposure() / 16.0 * kRow;
        EXPECT_NEAR(average, std::min(255.0, 255 * brightness * exposure), 1.0) << count;
      }
      if (brightness > 0.5 && brightness < 1e4) {
        EXPECT_NEAR(average, 28, 3);
      }
      ASSERT_TRUE(Feed(1s, [&] { return Read(1, 0x4D) >= 12; }));
      EXPECT_EQ(Read(1, 0x4E), average);
    }
  });
  EXPECT_TRUE(complaints.empty()) << complaints.front();
}

// The layers run a few milliseconds apart. Sets that come when layer 0 has begun its step and layer 2 has not are used
// by both from the next step on: the shot stays one moment.
TEST_F(Capture, AllLayersChangeOverAtOneStep) {
  Do([&] {
    BringUp();
    for (const Duration wait : {5ms, 8ms, 9ms, 10ms, 14ms}) {
      ResetPulse();
      StartCapture({});
      ASSERT_TRUE(Feed(1s, [&] { return Read(1, 0x4D) == 1; }));
      Wait(wait);  // since layers 1 and 2 began their frame; their step comes after 12 ms, that of layer 0 after 8
      for (int i = 0; i < 3; i++) WriteSet(i + 1, threeSets[static_cast<size_t>(i)]);
      ASSERT_TRUE(Feed(1s, [&] { return Read(0, 0x43) != 0; })) << wait.count();
      EXPECT_TRUE(WaitFor(0x43, 10ms)) << wait.count();
      FlushFifo();
      EXPECT_TRUE(WaitFor(0x44, 1s)) << wait.count();
    }
  });
}

TEST_F(Capture, AShutterLongerThanItsFrameIsCut) {
  Do([&] {
    BringUp();
    ASSERT_TRUE(Shoot({{5000 * 16, 2470, 0, 0x80, true}}, {}));
    for (const StoredFrame& frame : light.expected) EXPECT_LT(frame.seconds, 2470 * kRow);
  });
}

TEST_F(Capture, StretchedRowsCountWhenTheLayersAreToldOfThem) {
  Do([&] {
    BringUp();
    ASSERT_TRUE(Shoot(threeSets, {.columns = 9000, .toldColumns = 9000}, 20s, 20s));
    EXPECT_NEAR(light.expected[0].seconds, 32 * 2.0 * 9000 / 120e6, 1e-9);
    EXPECT_EQ(Read(1, 0x49) + Read(1, 0x4A), 0);
    ResetPulse();
    EXPECT_EQ(Read(1, 0x44), 0) << "the shot was not forgotten";
    ASSERT_TRUE(Shoot(threeSets, {.columns = 9000}, 20s, 20s));
    EXPECT_GT(Read(1, 0x4A) << 8 | Read(1, 0x49), 0) << "layers told of other rows than the sensors send";
  });
}

// What a driver that forgets something gets.
TEST_F(Capture, NoShotWithout) {
  struct Case {
    const char* what;
    CaptureOptions options;
    std::vector<ExposureSet> sets;
  };
  auto unfinished = threeSets;
  unfinished.back().last = false;
  const Case cases[] = {{"room for the frame starts", {.frameStarts = 20}, threeSets},
                        {"a capture start", {.start = false}, threeSets},
                        {"an end mark", {}, unfinished}};
  Do([&] {
    BringUp();
    for (const Case& c : cases) {
      ResetPulse();
      EXPECT_FALSE(Shoot(c.sets, c.options)) << c.what;
    }
    ResetPulse();
    ASSERT_TRUE(Shoot(threeSets, {.bracketed = false}));
    EXPECT_EQ(light.expected.size(), 25u) << "brackets although bracketing is off";
  });
}

TEST_F(Capture, FramesAreForgottenByResetAndKeptWithTheSensorsInReset) {
  Do([&] {
    BringUp();
    ASSERT_TRUE(Shoot(threeSets, {}));
    Send(kAll, 0, 0xE6);
    Wait(100ms);
    ConnectLayer0();
    Load(0, 0);
    EXPECT_GT(receiver.frames.back().seconds, 0);
    ResetPulse();
    ConnectLayer0();
    Load(0, 0);
    EXPECT_EQ(receiver.frames.back().seconds, 0);
  });
}

}  // namespace

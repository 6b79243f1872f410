// Whole shots on the array's models: what the sensors really took, against the shot's record and the scene's light.
//
// Marked pictures light camera c with `light` x (1 + c / 100), and light 1 measures 28 of 255 at 10 ms and unity gain.
// The cameras of layer 1 (9 to 15 and 24) are measured: 1.135 x light on average, so the base exposure that the
// measurement aims at is 10 ms / 1.135 / light, as seconds x gain.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "common/fpga_ctrl/array/bring_up.h"
#include "common/fpga_ctrl/capture/capture_sequencer.h"
#include "tests/support/on_board.h"

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StrEq;
using namespace std::chrono_literals;

namespace {

struct Receiver final : twin::VideoInput {
  void FrameArrives(const twin::StoredFrame& frame) override { frames.push_back(frame); }
  std::vector<twin::StoredFrame> frames;
};

struct Settings {
  double light = 1.0;
  BYTE captureMode = 0, strobeMode = 0;
  int8_t evCompVal = 0;
  BYTE isoMode = 0;
  int manualExpsUs = 0, manualIso = 100;
};

// One shot and its read-out.
class ArrayShot {
 public:
  explicit ArrayShot(const Settings& settings, const std::vector<const char*>& faults = {})
      : board(At(settings.light)) {
    board.array.SetVideoInput(receiver);
    OnBoard(board, [&] {
      ASSERT_EQ(LumoDeviceOpen(ctrlSigs.get()), 0);
      for (const char* fault : faults) board.faults.Add(fault);
      int vertexX = 0, vertexY = 0;
      result = LumoCapture(ctrlSigs.get(), &totalColumns, shutterLines.data(), totalLines.data(), gain.data(), &vertexX,
                           &vertexY, 0, &finalExposure, 0, settings.captureMode, settings.strobeMode,
                           settings.evCompVal, settings.isoMode, settings.manualExpsUs, settings.manualIso);
      stateAfterCapture = board.array.StateName();
      if (result >= 0) {
        LoadAll(settings.captureMode < 2 ? 3 : 6);
        LumoCaptureEnd();
      }
    });
    stateAtEnd = board.array.StateName();
  }
  int BaseIndex() const { return receiver.frames.size() == 75 ? 1 : 3; }
  // Seconds x gain of a bracket, as the sensors took it.
  double Light(size_t bracket) const {
    for (const twin::StoredFrame& frame : receiver.frames) {
      if (frame.bracket == static_cast<int>(bracket)) return frame.seconds * frame.gain;
    }
    return -1;
  }

  Receiver receiver;
  std::unique_ptr<ControlSignals> ctrlSigs = std::make_unique<ControlSignals>();
  twin::Board board;
  int result = -100;
  int totalColumns = 0;
  std::array<int, 6> shutterLines{}, totalLines{}, gain{};
  int finalExposure = -1;
  std::string stateAfterCapture, stateAtEnd;

 private:
  static twin::BoardOptions At(double light) {
    twin::BoardOptions options;
    options.light = light;
    return options;
  }
  void LoadAll(int brackets) {
    for (BYTE layer = 0; layer < 3; layer++) {
      for (int camera = 0; camera < (layer == 0 ? 9 : 8); camera++) {
        for (int bracket = 0; bracket < brackets; bracket++) {
          LumoLoadNew(layer, static_cast<BYTE>(camera * 6 + bracket));
          board.kernel.Spend(60ms);
        }
      }
    }
  }
};

// Every frame that comes out is the one asked for, and its sensor was set to what the record says.
void ExpectFramesMatchRecord(const ArrayShot& shot, int brackets) {
  ASSERT_EQ(shot.result, 0);
  ASSERT_EQ(shot.receiver.frames.size(), static_cast<size_t>(25 * brackets));
  size_t next = 0;
  for (const auto& [first, last] : std::vector<std::pair<int, int>>{{0, 8}, {9, 15}, {24, 24}, {16, 23}}) {
    for (int camera = first; camera <= last; camera++) {
      for (int bracket = 0; bracket < brackets; bracket++) {
        const twin::StoredFrame& frame = shot.receiver.frames[next++];
        const auto i = static_cast<size_t>(bracket);
        EXPECT_EQ(frame.camera, camera);
        EXPECT_EQ(frame.bracket, bracket);
        EXPECT_EQ(frame.gain * 16, shot.gain[i]) << camera << " " << bracket;
        const double rows = frame.seconds * 120e6 / shot.totalColumns;
        EXPECT_EQ(static_cast<int>(rows + 1e-6), shot.shutterLines[i]) << camera << " " << bracket;
        EXPECT_EQ(frame.mirror, camera < 9);
        EXPECT_EQ(frame.flip, camera < 9);
      }
    }
  }
  EXPECT_EQ(shot.stateAfterCapture, "running");
  EXPECT_EQ(shot.stateAtEnd, "suspended");
  EXPECT_THAT(shot.board.Complaints(), IsEmpty());
}

TEST(ArrayShots, AutomaticModesExposeForTheScene) {
  struct Case {
    BYTE mode;
    std::vector<double> multiples;
  };
  for (const Case& c :
       std::vector<Case>{{0, {0.25, 1, 4}}, {2, {0.125, 0.25, 0.5, 1, 2, 4}}, {4, {1 / 32.0, 0.125, 0.5, 1, 2, 4}}}) {
    for (const double light : {8.0, 1.0, 0.1}) {
      const ArrayShot shot({.light = light, .captureMode = c.mode});
      ExpectFramesMatchRecord(shot, c.mode == 0 ? 3 : 6);
      for (size_t i = 0; i < c.multiples.size(); i++) {
        // The wide list's shortest bracket needs two rows, so its base is 64 rows at least.
        const double base = std::max(0.010 / 1.135 / light, c.mode == 4 ? 64 * 32.4e-6 : 0.0);
        const double wanted = base * c.multiples[i];
        // A step of the measured average is a 28th; the gain's codes and short shutters are coarse too.
        EXPECT_NEAR(shot.Light(i) / wanted, 1, 0.06) << int{c.mode} << " light " << light << " bracket " << i;
      }
    }
  }
}

TEST(ArrayShots, CompensationIsThirdsOfAStop) {
  const double plain = ArrayShot({.captureMode = 0}).Light(1);
  EXPECT_NEAR(ArrayShot({.captureMode = 0, .evCompVal = 3}).Light(1) / plain, 2, 0.02);
  EXPECT_NEAR(ArrayShot({.captureMode = 0, .evCompVal = -4}).Light(1) / plain, 0.397, 0.01);
}

TEST(ArrayShots, ManualModesTakeWhatTheyAreTold) {
  // 4 ms at ISO 200: 1975 sixteenths of a row as base, 4 ms less what the truncation takes.
  for (const BYTE mode : {1, 3, 5}) {
    const ArrayShot shot({.captureMode = mode, .manualExpsUs = 4000, .manualIso = 200});
    ExpectFramesMatchRecord(shot, mode == 1 ? 3 : 6);
    EXPECT_THAT(shot.gain, Each(32));
    EXPECT_NEAR(shot.Light(static_cast<size_t>(shot.BaseIndex())), 0.004 * 2, 0.00001) << int{mode};
    EXPECT_EQ(shot.finalExposure, -1);
  }
}

TEST(ArrayShots, ALongManualShotStretchesTheRowsAndStaysClean) {
  const ArrayShot shot({.captureMode = 1, .manualExpsUs = 1000000, .manualIso = 100});
  ExpectFramesMatchRecord(shot, 3);
  EXPECT_EQ(shot.totalColumns, 2 * 7381);  // 1 s in 8128 rows
  EXPECT_THAT(shot.shutterLines, ElementsAre(2032, 8128, 32512, 32512, 32512, 32512));
  EXPECT_THAT(shot.totalLines, ElementsAre(2470, 8134, 32518, 32518, 32518, 32518));
  EXPECT_NEAR(shot.Light(0), 0.25, 0.001);
  EXPECT_NEAR(shot.Light(1), 1.0, 0.001);
  EXPECT_NEAR(shot.Light(2), 4.0, 0.001);
}

TEST(ArrayShots, FlickeringLightGetsWholePeriods) {
  for (const auto& [strobe, period] : std::vector<std::pair<BYTE, double>>{{1, 0.0100}, {2, 1 / 120.0}}) {
    const ArrayShot shot({.light = 0.08, .captureMode = 0, .strobeMode = strobe});
    ExpectFramesMatchRecord(shot, 3);
    // 110 ms x unity as base: even its quarter has whole periods.
    for (size_t i = 0; i < 3; i++) {
      const double periods = shot.shutterLines[i] * 32.4e-6 / period;
      EXPECT_NEAR(periods, std::round(periods), 0.02) << int{strobe} << " " << i;
      EXPECT_GE(periods, 0.98);
    }
  }
}

// No gain of the search fits the longest bracket of this scene.
TEST(ArrayShots, DarkHandHeldShotUnderFlickeringLightIsTaken) {
  const ArrayShot shot({.light = 0.02, .captureMode = 0, .strobeMode = 1});
  ExpectFramesMatchRecord(shot, 3);
  EXPECT_EQ(shot.shutterLines[2], 8 * 309);
  EXPECT_GT(shot.gain[2], 248);
  EXPECT_NEAR(shot.Light(2) / shot.Light(1), 4, 0.1);
}

TEST(ArrayShots, ASceneWithoutLightGetsTheLongestExposure) {
  const ArrayShot shot({.light = 1e-6, .captureMode = 0, .isoMode = 1});
  ExpectFramesMatchRecord(shot, 3);
  EXPECT_EQ(shot.finalExposure, 0x8C780);
}

TEST(ArrayShots, OneBadAttemptIsRepeatedFromPowerUp) {
  for (const auto& [fault, message] : std::vector<std::pair<const char*, const char*>>{
           {"layer.row-errors value=300 detail=2",
            "Retry hasCapLoadStart Finish0:1  Finish1:1  Finish2:1 Hsync0:0  "
            "Hsync1:0  Hsync2:300 \n"},
           {"layer.save silence detail=1", "Retry hasCamSaveFinish Save0:1  Save1:0  Save2:1 "},
           {"layer.conf silence detail=0", "Retry hasCapLoadStart Finish0:0  Finish1:1  Finish2:1 "}}) {
    const ArrayShot shot({.captureMode = 1, .manualExpsUs = 4000}, {fault});
    ExpectFramesMatchRecord(shot, 3);
    EXPECT_EQ(shot.board.LogCount(message), 1u) << fault;
    EXPECT_EQ(shot.board.LogCount("column:1944\n"), 2u) << fault;
  }
}

TEST(ArrayShots, ThreeBadAttemptsFailTheShotAndRest) {
  const ArrayShot shot({.captureMode = 1, .manualExpsUs = 4000}, {"layer.conf silence times=always"});
  EXPECT_EQ(shot.result, -2);
  EXPECT_EQ(shot.stateAtEnd, "suspended");
  EXPECT_EQ(shot.board.LogCount("Retry hasCapLoadStart"), 3u);
}

}  // namespace

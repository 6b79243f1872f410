// Shots by the button with stored settings: the exposures in the record are those that the scene's light asks for, or
// the user did, and the pictures are as bright as those exposures make them.
//
// Light 1 measures 28 of 255 in a camera of marked pictures at 10 ms and unity gain, and camera c sees 1 + c / 100 of
// it. Cameras 9 to 15 and 24 are measured: 1.135 on average. So the base exposure is 10 ms / 1.135 / light, as seconds
// x gain: 8.81 ms at light 1, in rows of 32.4 us 271.9. A step of the measured average is a 28th of the target.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include "tools/lumora-shot/shot_file.h"
#include "twin/board.h"
#include "twin/light/read_mark.h"
#include "twin/light/tone.h"

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;
using namespace std::chrono_literals;

namespace {

constexpr double kRow = 32.4e-6;  // s
constexpr double kMeasured = 1.135;

// A board in some light, with a setting.ini on its disk, that has taken one shot by one press.
class Pressed {
 public:
  Pressed(double light, const std::string& settings) : light_(light), board(In(light)) {
    std::filesystem::create_directories(board.disk.Directory() / "DCIM");
    std::ofstream(board.disk.Directory() / "DCIM" / "setting.ini") << settings << "btnsetting=1\n";
    EXPECT_TRUE(board.Boot());
    board.button.Press(100ms);
    EXPECT_TRUE(board.RunUntilShotEnds());
    board.Run(1s);
    EXPECT_THAT(board.Complaints(), IsEmpty());
    file = std::make_unique<shot::File>(board.disk.OnlyShot());
  }

  const shot::Record& Record() const { return file->Get().record; }
  std::vector<int> Rows() const {
    return Each([](const shot::ExposureSet& set) { return set.shutterLines; });
  }
  std::vector<int> Frames() const {
    return Each([](const shot::ExposureSet& set) { return set.totalLines; });
  }
  std::vector<int> Gains() const {
    return Each([](const shot::ExposureSet& set) { return set.gain; });
  }
  std::vector<int> Columns() const {
    return Each([](const shot::ExposureSet& set) { return set.totalRows; });
  }
  // Seconds x gain of a bracket.
  double Light(int bracket) const {
    const shot::ExposureSet& set = Record().Exposure(bracket);
    return set.Seconds() * set.gain / 16.0;
  }

  // Every picture is the frame that its entry says, and its gray is what the record's exposure makes of the light.
  void ExpectPicturesAsBrightAsExposed(int exposures) const {
    const shot::Shot& shot = file->Get();
    ASSERT_TRUE(shot.Whole()) << shot.stop;
    ASSERT_EQ(shot.exposures, exposures);
    int darkest = 255, brightest = 0;
    for (const shot::Entry& entry : shot.entries) {
      const auto found = twin::ReadMark(file->Jpeg(entry));
      ASSERT_TRUE(found.has_value()) << entry.number;
      EXPECT_EQ(found->mark.camera, entry.camIdx);
      EXPECT_EQ(found->mark.bracket, entry.hdrIdx);
      const double seen = light_ * (1 + entry.camIdx / 100.0) * Light(entry.hdrIdx) * twin::signalPerExposure;
      EXPECT_NEAR(found->field, 255 * twin::Display(seen), 4)
          << "camera " << entry.camIdx << " bracket " << entry.hdrIdx;
      darkest = std::min(darkest, found->mark.gray);
      brightest = std::max(brightest, found->mark.gray);
    }
    EXPECT_GT(brightest - darkest, 60);  // a bracket looks like a bracket
  }

 private:
  static twin::BoardOptions In(double light) {
    twin::BoardOptions options;
    options.light = light;
    return options;
  }
  template <class Field>
  std::vector<int> Each(Field field) const {
    std::vector<int> values;
    for (int i = 0; i < 6; i++) values.push_back(field(Record().Exposure(i)));
    return values;
  }

  double light_;

 public:
  twin::Board board;
  std::unique_ptr<shot::File> file;
};

// --- automatic ---

TEST(Exposure, ThreeStepsInDaylightGrowTheShutterFirst) {
  const Pressed shot(1.0, "capturemode=0\n");
  EXPECT_EQ(shot.Record().hdrMode, 2);
  EXPECT_THAT(shot.Columns(), Each(3888));
  EXPECT_THAT(shot.Frames(), Each(2470));
  // 68 and 272 rows at unity; the bright one, 17,400 as rows x gain, has the table's 1024 rows and gain for the rest.
  const auto rows = shot.Rows();
  EXPECT_NEAR(rows[0], 68, 3);
  EXPECT_NEAR(rows[1], 272, 10);
  EXPECT_NEAR(shot.Light(2), 4 * 0.010 / kMeasured, 0.0022);
  EXPECT_THAT(shot.Gains(), Each(AllOf(Ge(16), Le(17))));
  for (size_t i = 3; i < 6; i++) EXPECT_EQ(rows[i], rows[2]);
  shot.ExpectPicturesAsBrightAsExposed(3);
}

TEST(Exposure, SixStepsInDimLightUseGainHandHeld) {
  const Pressed shot(0.1, "capturemode=2\n");
  EXPECT_EQ(shot.Record().hdrMode, 4);
  const std::vector<double> multiples = {0.125, 0.25, 0.5, 1, 2, 4};
  for (int i = 0; i < 6; i++) {
    EXPECT_NEAR(shot.Light(i) / (0.100 / kMeasured) / multiples[static_cast<size_t>(i)], 1, 0.07) << i;
  }
  // 43,500 as base: 1536 rows from 0x9000, 2320 from 0x14400 on. Whole gain codes move the shutter by a code's width.
  const auto rows = shot.Rows();
  EXPECT_THAT(rows[3], AllOf(Ge(1536), Le(1536 * 28 / 27)));
  EXPECT_NEAR(rows[4], 2320, 2320 / 36);
  EXPECT_NEAR(rows[5], 2320, 2320 / 36 + 2320 / 75);
  EXPECT_NEAR(shot.Gains()[5], 75, 4);
  shot.ExpectPicturesAsBrightAsExposed(6);
}

TEST(Exposure, WideStepsOnATripodUseTheShutter) {
  const Pressed shot(0.1, "capturemode=4\nisomode=1\n");
  EXPECT_EQ(shot.Record().hdrMode, 6);
  EXPECT_THAT(shot.Gains(), Each(16));
  const std::vector<double> multiples = {1 / 32.0, 0.125, 0.5, 1, 2, 4};
  const double base = 0.100 / kMeasured / kRow;  // 2719 rows
  for (size_t i = 0; i < 6; i++) {
    const int rows = shot.Rows()[i];
    EXPECT_NEAR(rows / base / multiples[i], 1, 0.05) << i;
    EXPECT_EQ(shot.Frames()[i], rows < 2465 ? 2470 : rows + 6) << i;
  }
  shot.ExpectPicturesAsBrightAsExposed(6);
}

TEST(Exposure, CompensationOfAStopDoublesTheLight) {
  const double plain = Pressed(1.0, "capturemode=0\n").Light(1);
  EXPECT_NEAR(Pressed(1.0, "capturemode=0\nevcompval=3\n").Light(1) / plain, 2, 0.03);
  EXPECT_NEAR(Pressed(1.0, "capturemode=0\nevcompval=-6\n").Light(1) / plain, 0.25, 0.01);
}

TEST(Exposure, FlickeringLightInTheDarkIsTakenInWholePeriods) {
  // The bright bracket of this scene is beyond what any gain of the search can give to eight periods.
  const Pressed shot(0.02, "capturemode=0\nstrobemode=1\n");
  const auto rows = shot.Rows();
  for (const int row : rows) EXPECT_EQ(row % 309, 0) << row;
  EXPECT_EQ(rows[2], 8 * 309);
  EXPECT_GT(shot.Gains()[2], 248);
  EXPECT_THAT(shot.Light(1) / (0.5 / kMeasured), AllOf(Ge(0.9), Le(1.05)));  // down to the grid
  shot.ExpectPicturesAsBrightAsExposed(3);
}

// --- manual ---

TEST(Exposure, ManualShotsTakeTheUsersValuesToTheRow) {
  // 4 ms are 1975 sixteenths of a row, ISO 200 is gain 32. Each bracket truncates 63,200 times its multiple.
  const std::string user = "manualexpsus=4000\nmanualiso=200\n";
  {
    const Pressed three(0.5, "capturemode=1\n" + user);
    EXPECT_THAT(three.Rows(), ElementsAre(30, 123, 493, 493, 493, 493));
    EXPECT_THAT(three.Gains(), Each(32));
    three.ExpectPicturesAsBrightAsExposed(3);
  }
  {
    const Pressed six(0.5, "capturemode=3\n" + user);
    EXPECT_THAT(six.Rows(), ElementsAre(15, 30, 61, 123, 246, 493));
    EXPECT_THAT(six.Gains(), Each(32));
    six.ExpectPicturesAsBrightAsExposed(6);
  }
  {
    const Pressed wide(0.5, "capturemode=5\n" + user);
    EXPECT_THAT(wide.Rows(), ElementsAre(3, 15, 61, 123, 246, 493));
    wide.ExpectPicturesAsBrightAsExposed(6);
  }
  // The mode beyond the last one is the last one.
  EXPECT_THAT(Pressed(0.5, "capturemode=7\n" + user).Rows(), ElementsAre(3, 15, 61, 123, 246, 493));
}

TEST(Exposure, ASecondOfManualExposureStretchesTheRows) {
  const Pressed shot(0.002, "capturemode=1\nmanualexpsus=1000000\nmanualiso=100\n");
  EXPECT_THAT(shot.Columns(), Each(2 * 7381));
  EXPECT_THAT(shot.Rows(), ElementsAre(2032, 8128, 32512, 32512, 32512, 32512));
  EXPECT_THAT(shot.Frames(), ElementsAre(2470, 8134, 32518, 32518, 32518, 32518));
  EXPECT_NEAR(shot.Record().Exposure(1).Seconds(), 1.0, 0.0005);
  shot.ExpectPicturesAsBrightAsExposed(3);
}

TEST(Exposure, ManualTimesFollowTheLightsPeriods) {
  // 56 ms are nearest to one step of 80 ms: 39,506 sixteenths, 2469 rows; a quarter and an eighth are whole periods.
  const Pressed shot(0.05, "capturemode=3\nstrobemode=1\nmanualexpsus=56000\nmanualiso=100\n");
  EXPECT_THAT(shot.Rows(), ElementsAre(308, 617, 1234, 2469, 4938, 9876));
}

}  // namespace

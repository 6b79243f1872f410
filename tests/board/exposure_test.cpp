// Shots by the button with stored settings: the exposures in the record are those that the scene's light asks for, or
// the user did, and the pictures are as bright as those exposures make them.
//
// Light 1 measures 28 of 255 in a camera of marked pictures at 10 ms and unity gain, and camera c sees 1 + c / 100 of
// it. Cameras 9 to 15 and 24 are measured: 1.135 on average. So the base exposure is 10 ms / 1.135 / light, as seconds
// x gain: 8.81 ms at light 1, in rows of 32.4 us 271.9. A step of the measured average is a 28th of the target.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>

#include "tools/lumora-shot/shot_file.h"
#include "twin/board.h"
#include "twin/light/read_mark.h"
#include "twin/light/tone.h"

using namespace std::chrono_literals;

namespace {

constexpr std::array kThree = {0.25, 1.0, 4.0, 4.0, 4.0, 4.0};
constexpr std::array kSix = {0.125, 0.25, 0.5, 1.0, 2.0, 4.0};
constexpr std::array kWide = {1 / 32.0, 0.125, 0.5, 1.0, 2.0, 4.0};

struct Setting {
  int mode;
  const char* others;  // of setting.ini
  double light;
  double base;  // seconds x gain, to 7 %
  std::array<double, 6> multiples;
  std::array<int, 6> rows = {};  // to the row, if the first is not 0
  int gain = 0;                  // of all, if not 0
  int columns = 1944;
  int grid = 1;  // rows of a light's period
};

constexpr double kMeasured = 0.010 / 1.135;  // seconds at light 1

constexpr const char* kManual = "manualexpsus=4000\nmanualiso=200\n";
constexpr const char* kSecond = "manualexpsus=1000000\n";
constexpr const char* kPeriods = "strobemode=1\nmanualexpsus=56000\n";

const Setting kSettings[] = {
    {0, "", 1, kMeasured, kThree},
    {0, "evcompval=3\n", 1, 2 * kMeasured, kThree},
    {2, "evcompval=-6\n", 1, kMeasured / 4, kSix},
    {2, "", 0.1, 10 * kMeasured, kSix},
    {4, "isomode=1\n", 0.1, 10 * kMeasured, kWide, {}, 16},
    // The bright bracket is beyond what any gain of the search can give to eight periods; down to the grid.
    {0, "strobemode=1\n", 0.02, 48.5 * kMeasured, kThree, {}, 0, 1944, 309},
    // 4 ms are 1975 sixteenths of a row, ISO 200 is gain 32. Each bracket truncates 63,200 times its multiple.
    {1, kManual, 0.5, 0.008, kThree, {30, 123, 493, 493, 493, 493}, 32},
    {3, kManual, 0.5, 0.008, kSix, {15, 30, 61, 123, 246, 493}, 32},
    {7, kManual, 0.5, 0.008, kWide, {3, 15, 61, 123, 246, 493}, 32},
    // A second stretches the rows; 56 ms are nearest to one step of 80 ms.
    {1, kSecond, 0.002, 1, kThree, {2032, 8128, 32512, 32512, 32512, 32512}, 16, 7381},
    {3, kPeriods, 0.05, 0.08, kSix, {308, 617, 1234, 2469, 4938, 9876}, 16}};

TEST(Exposure, FollowsTheSettingAndTheLight) {
  for (const Setting& setting : kSettings) {
    const std::string text = "capturemode=" + std::to_string(setting.mode) + "\n" + setting.others;
    SCOPED_TRACE(text);
    twin::BoardOptions options;
    options.light = setting.light;
    twin::Board board(options);
    std::filesystem::create_directories(board.disk.Directory() / "DCIM");
    std::ofstream(board.disk.Directory() / "DCIM" / "setting.ini") << text << "btnsetting=1\n";
    ASSERT_TRUE(board.Boot());
    board.button.Press(100ms);
    ASSERT_TRUE(board.RunUntilShotEnds());
    board.Run(1s);
    EXPECT_THAT(board.Complaints(), testing::IsEmpty());
    const shot::File file(board.disk.OnlyShot());
    const shot::Record& record = file.Get().record;
    EXPECT_EQ(record.hdrMode, setting.mode + 2);
    for (int i = 0; i < 6; i++) {
      const auto at = static_cast<size_t>(i);
      const shot::ExposureSet& set = record.Exposure(i);
      EXPECT_EQ(set.totalRows, 2 * setting.columns);
      EXPECT_EQ(set.totalLines, set.shutterLines < 2465 ? 2470 : set.shutterLines + 6);
      EXPECT_EQ(set.shutterLines % setting.grid, 0);
      EXPECT_EQ(set.gain, setting.gain != 0 ? setting.gain : set.gain) << i;
      EXPECT_EQ(set.shutterLines, setting.rows[0] != 0 ? setting.rows[at] : set.shutterLines) << i;
      const double light = set.Seconds() * set.gain / 16.0 / setting.base / setting.multiples[at];
      EXPECT_NEAR(light, 1, setting.rows[0] != 0 ? 0.25 : 0.07) << i;  // whole rows of a short bracket
    }
    // Every picture's gray is what the record's exposure makes of the light.
    ASSERT_EQ(file.Get().exposures, setting.mode < 2 ? 3 : 6);
    for (const shot::Entry& entry : file.Get().entries) {
      const auto found = twin::ReadMark(file.Jpeg(entry));
      ASSERT_TRUE(found.has_value()) << entry.number;
      const shot::ExposureSet& set = record.Exposure(entry.hdrIdx);
      const double seen = setting.light * (1 + entry.camIdx / 100.0) * set.Seconds() * set.gain / 16.0;
      EXPECT_NEAR(found->field, 255 * twin::Display(seen * twin::signalPerExposure), 4) << entry.number;
    }
  }
}

}  // namespace

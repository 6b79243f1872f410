// Exposure arithmetic against values worked out by hand. 309 rows are a period of light on 50 Hz mains, 257 on 60 Hz,
// at the default row of 2 x 1944 cycles of 120 MHz.
#include "common/fpga_ctrl/capture/exposure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <vector>

using testing::ElementsAre;

namespace {

ExposureRequest Automatic(BYTE captureMode, BYTE strobeMode = 0, int8_t evCompVal = 0) {
  return {captureMode, strobeMode, evCompVal, 0, 0, 0};
}
ExposureRequest Manual(BYTE captureMode, int manualExpsUs, int manualIso = 100, BYTE strobeMode = 0) {
  return {captureMode, strobeMode, 0, 0, manualExpsUs, manualIso};
}

// --- manual ---

TEST(ManualExposure, GainFollowsIsoByTruncatedHalving) {
  struct Case {
    int iso, gain_a, gain_b;
  };
  for (const Case& c :
       {Case{100, 16, 1}, {150, 24, 1}, {199, 31, 1}, {200, 16, 2}, {320, 25, 2}, {-7, 16, 1}, {6400, 16, 16}}) {
    const ManualExposure manual = LumoPrepareManualExposure(Manual(1, 10000, c.iso));
    EXPECT_EQ(manual.gain_a, c.gain_a) << c.iso;
    EXPECT_EQ(manual.gain_b, c.gain_b) << c.iso;
  }
}

TEST(ManualExposure, ShortestBracketKeepsTwoRows) {
  for (const BYTE mode : {1, 3, 5, 7}) {
    for (const int us : {1, 0, -5000}) {
      const ManualExposure manual = LumoPrepareManualExposure(Manual(mode, us));
      const int shortest = LumoBracketExposures(mode, manual.curExposure)[0];
      EXPECT_EQ(LumoSplitManual(manual, shortest).shutter, 0x20) << int{mode} << " " << us;
    }
  }
}

TEST(ManualExposure, LongTimesStretchTheRows) {
  for (const auto& [us, columns] : {std::pair{263347, 1944},  // 130047 sixteenths: still fits
                                    {264000, 1948},
                                    {8877000, 65529},
                                    {9000000, 1944},      // 66436: beyond 16 bits, and below the default without them
                                    {10000000, 8282}}) {  // 73818 - 65536
    EXPECT_EQ(LumoPrepareManualExposure(Manual(1, us)).columnSize, columns);
  }
  // Products beyond 32 bits: 59055 x 73334 / 60000 x 3 + 4000 and 2 x 65924 x 59055 / 60000 + 5000.
  const ShotLimits limits = LumoManualLimits(LumoPrepareManualExposure(Manual(3, 8000000)));
  EXPECT_EQ(limits.waitTime, 220536u);
  EXPECT_EQ(limits.waitTimeB, 134771u);
}

TEST(ManualExposure, RoundsToTheLightsPeriods) {
  struct Case {
    BYTE mode, strobe;
    int us, rounded;
  };
  for (const Case& c : std::vector<Case>{
           {1, 0, 12345, 12345},     {1, 1, 4999, 4999},       {1, 1, 5000, 10000},     {1, 1, 14999, 10000},
           {1, 1, 15000, 20000},     {1, 1, 27999, 30000},     {1, 1, 28000, 40000},    {1, 1, 59999, 40000},
           {1, 1, 60000, 80000},     {1, 1, 9000000, 8800000}, {3, 1, 13999, 10000},    {3, 1, 14000, 20000},
           {3, 1, 27999, 20000},     {3, 1, 28000, 40000},     {3, 1, 55999, 40000},    {3, 1, 56000, 80000},
           {3, 1, 300000, 320000},   {5, 1, 13999, 10000},     {5, 1, 14000, 20000},    {5, 1, 55999, 60000},
           {5, 1, 56000, 80000},     {5, 1, 223999, 240000},   {5, 1, 224000, 320000},  {1, 2, 4999, 4999},
           {1, 2, 5000, 8333},       {1, 2, 12499, 16666},     {1, 2, 23999, 24999},    {1, 2, 24000, 33333},
           {1, 2, 9000000, 8866711}, {3, 2, 11999, 8333},      {3, 2, 12000, 16667},    {3, 2, 48000, 66667},
           {5, 2, 47999, 50001},     {5, 2, 48000, 66667},     {5, 2, 192000, 266667},  {7, 1, 224000, 320000},
           {1, 3, 5000, 8333},       {5, 1, INT_MAX, 8800000}, {1, 2, INT_MAX, 8866711}}) {
    EXPECT_EQ(LumoRoundManualExposure(c.mode, c.strobe, c.us), c.rounded)
        << "mode " << int{c.mode} << " strobe " << int{c.strobe} << " us " << c.us;
  }
}

// --- automatic: from measurement to base ---

TEST(AutomaticExposure, BringsTheSceneToItsTarget) {
  EXPECT_EQ(LumoAutomaticExposure(Automatic(0), 1000, 28), 1000);
  EXPECT_EQ(LumoAutomaticExposure(Automatic(0), 1000, 56), 500);
  EXPECT_EQ(LumoAutomaticExposure(Automatic(0), 1000, 255), 0x80);  // 110: below the shortest
  EXPECT_EQ(LumoAutomaticExposure(Automatic(0, 0, 3), 1000, 28), 2000);
  EXPECT_EQ(LumoAutomaticExposure(Automatic(0, 0, -3), 1000, 28), 500);
  EXPECT_EQ(LumoAutomaticExposure(Automatic(0, 0, 1), 1000, 28), 1260);  // cube root of 2
  EXPECT_EQ(LumoAutomaticExposure(Automatic(0), 25001, 56), 12501);      // 12500.5 and a half
}

TEST(AutomaticExposure, LimitsHoldWhateverTheLayersReport) {
  const std::vector<std::pair<BYTE, int>> shortest = {{0, 0x80}, {2, 0x100}, {4, 0x400}, {6, 0x400}};
  for (const auto& [mode, least] : shortest) {
    EXPECT_EQ(LumoAutomaticExposure(Automatic(mode), 1, 255), least);
    EXPECT_EQ(LumoAutomaticExposure(Automatic(mode), -1, 100), least);  // failed read
    EXPECT_EQ(LumoAutomaticExposure(Automatic(mode), -1, 0), least);
    EXPECT_EQ(LumoAutomaticExposure(Automatic(mode), 0, 0), least);
    EXPECT_EQ(LumoAutomaticExposure(Automatic(mode), 5000, 0), 0x8C780);  // nothing seen at all
    EXPECT_EQ(LumoAutomaticExposure(Automatic(mode), 0xFFFFFF, 1), 0x8C780);
  }
}

// Base exposure for a measurement that is on target already.
int OnGrid(BYTE strobeMode, int exposure) { return LumoAutomaticExposure(Automatic(0, strobeMode), exposure, 28); }

TEST(AutomaticExposure, FlickerStepsDoubleWithTheValue) {
  for (const BYTE strobe : {1, 2}) {
    const int period = strobe == 1 ? 0x135 : 0x101;
    int end = strobe == 1 ? 0x87300 : 0x78780;
    EXPECT_EQ(OnGrid(strobe, end), end);
    EXPECT_EQ(OnGrid(strobe, 0x8C780), end);
    for (int step = 64 * period; step >= period; step /= 2) {
      const int from = 16 * step;
      EXPECT_EQ(OnGrid(strobe, from), from);
      EXPECT_EQ(OnGrid(strobe, from + step - 1), from);
      EXPECT_EQ(OnGrid(strobe, from + step), from + step);
      EXPECT_EQ(OnGrid(strobe, end - 1), end - step);
      end = from;
    }
    EXPECT_EQ(OnGrid(strobe, 0x9A8), strobe == 1 ? 0x1350 : 0x1010);
    EXPECT_EQ(OnGrid(strobe, 0x9A7), 0x9A7);
  }
}

// --- brackets ---

TEST(Brackets, FollowTheCaptureMode) {
  for (const BYTE mode : {0, 1})
    EXPECT_THAT(LumoBracketExposures(mode, 1003), ElementsAre(250, 1003, 4012, 4012, 4012, 4012));
  for (const BYTE mode : {2, 3})
    EXPECT_THAT(LumoBracketExposures(mode, 1003), ElementsAre(125, 250, 501, 1003, 2006, 4012));
  for (const BYTE mode : {4, 5, 6, 7, 255}) {
    EXPECT_THAT(LumoBracketExposures(mode, 1003), ElementsAre(31, 125, 501, 1003, 2006, 4012));
  }
}

// --- shutter and gain ---

struct Wanted {
  BYTE strobe, iso;
  int base, exposure, gain_a, gain_b, shutter;
};

void ExpectSplits(const std::vector<Wanted>& splits) {
  for (const Wanted& w : splits) {
    const ExposureSplit split = LumoSplitAutomatic(w.strobe, w.iso, w.base, w.exposure);
    EXPECT_THAT((std::array{split.gain_a, split.gain_b, split.shutter}), ElementsAre(w.gain_a, w.gain_b, w.shutter));
  }
}

TEST(Split, Plain) {
  const int base = 0x8C780;
  // Hand-held: steps of 0x400, 0x480, 0x500, 0x600, 0x700, 0x800 and 0x910 rows, each with its own least exposure.
  ExpectSplits({{0, 0, base, 0x20, 16, 1, 0x20},
                {0, 0, base, 0x3FFF, 16, 1, 0x3FFF},
                {0, 0, base, 0x4000, 16, 1, 0x4000},
                {0, 0, base, 0x50FF, 20, 1, 16588},
                {0, 0, base, 0x5100, 18, 1, 0x4800},
                {0, 0, base, 0x6400, 20, 1, 0x5000},
                {0, 0, base, 0x9000, 24, 1, 0x6000},
                {0, 0, base, 0xC400, 28, 1, 0x7000},
                {0, 0, base, 0x10000, 16, 2, 0x8000},
                {0, 0, base, 0x143FF, 20, 2, 33177},
                {0, 0, base, 0x14400, 18, 2, 36864},
                {0, 0, base, 0x231E00, 31, 32, 37120}});
  // On a tripod.
  ExpectSplits(
      {{0, 1, base, 0x20, 16, 1, 0x20}, {0, 1, base, 0x78700, 16, 1, 0x78700}, {0, 1, base, 0x231E00, 19, 4, 484513}});
  // A second half without a measurement divides by nothing.
  ExpectSplits({{0, 0, 0, 0, 16, 1, 0x20}, {1, 0, 0, 0, 16, 1, 0x20}, {2, 0, 0, 0, 16, 1, 0x20}});
}

TEST(Split, FlickerRuleLooksAtTheBaseAndWantsWholePeriods) {
  const int base = 0x9A8;
  ExpectSplits({{1, 0, base, 1236, 16, 1, 1236},               // under a period: no rule
                {1, 0, base, 4944, 16, 1, 309 * 16},           // one period
                {1, 0, base, 19 * 309, 19, 1, 309 * 16},       // 16 to 18 do not divide it
                {1, 0, base, 19776, 16, 1, 4 * 309 * 16},      // first gain that fits wins
                {1, 0, base, 256 * 309, 16, 2, 8 * 309 * 16},  // eight periods are the limit
                {1, 0, base, 4 * 0x256B0, 31, 8, 8 * 309 * 16},
                {1, 0, base, 680 * 309, 17, 8, 5 * 309 * 16},  // of all gains only 8 x 17 fits
                {1, 0, base, 20 * 309 + 5, 20, 1, 4948},       // none, as when the light changed between two halves
                {1, 0, base - 1, 0x5100, 18, 1, 0x4800}});     // below that base the plain rule holds
  // On a tripod 64 periods with a gain of 112 are the first fit for the longest bracket.
  const ExposureSplit longest = LumoSplitAutomatic(1, 1, 0x87300, 4 * 0x87300);
  EXPECT_EQ(longest.gain_a * longest.gain_b, 112);
  EXPECT_EQ(longest.shutter, 64 * 309 * 16);
  // Dark and hand-held the search finds nothing; taken at its word it leaves a shutter of 0 to divide by.
  ExpectSplits({{1, 0, 0x26A00, 4 * 0x26A00, 16, 16, 8 * 309 * 16},
                {1, 0, 0x87300, 4 * 0x87300, 28, 32, 8 * 309 * 16},
                {2, 0, 0x20200, 4 * 0x20200, 16, 16, 8 * 257 * 16},
                {2, 0, 0x78780, 4 * 0x78780, 30, 32, 8 * 257 * 16}});
}

// Every base that a measurement can give, in every setting: light is kept, limits hold, the sensor has the codes.
TEST(Split, KeepsTheLightForEveryBase) {
  for (const BYTE mode : {0, 2, 4}) {
    for (const BYTE strobe : {0, 1, 2}) {
      const int period = strobe == 1 ? 309 : 257;
      for (const BYTE iso : {0, 1}) {
        for (int measured = 0x80; measured <= 0x8C780; measured += 331) {
          const int base = LumoAutomaticExposure(Automatic(mode, strobe), measured, 28);
          for (const int exposure : LumoBracketExposures(mode, base)) {
            const ExposureSplit split = LumoSplitAutomatic(strobe, iso, base, exposure);
            const int gain = split.gain_a * split.gain_b;
            ASSERT_TRUE(split.gain_a >= 16 && split.gain_a <= 31 && split.gain_b >= 1 && split.gain_b <= 32)
                << exposure;
            ASSERT_NEAR(split.shutter / 16.0 * gain, exposure, 16 + gain) << exposure;
            ASSERT_LT(split.shutter >> 4, 0x10000 - 6);
            const bool onGrid = strobe != 0 && base >= 0x9A8 && exposure >= 16 * period;
            if (onGrid) {
              ASSERT_EQ((split.shutter >> 4) % period, 0) << "base " << base << " exposure " << exposure;
            }
            if (iso == 0) {
              ASSERT_LE(split.shutter >> 4, strobe == 0 ? 2400 : 2480) << exposure;
            }
          }
        }
      }
    }
  }
}

TEST(ExposureSet, HoldsTheGainTheSensorsWay) {
  const ExposureSet set = LumoMakeExposureSet(2, 0, {0x12345, 18, 2});
  EXPECT_THAT(set.regData, ElementsAre(0x01, 0x23, 0x45, 0x12, 0x3A, 1, 0x90, 0x00));
  EXPECT_EQ(set.gain, 36);
  EXPECT_THAT(LumoMakeExposureSet(2, 5, {37120, 31, 32}).regData, ElementsAre(0, 0x91, 0, 0x09, 0xA6, 31, 0xF8, 0xFF));
}

}  // namespace

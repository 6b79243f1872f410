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

TEST(ManualExposure, GainFollowsIsoByTruncatedHalving) {
  const int rows[][3] = {{100, 16, 1}, {150, 24, 1}, {199, 31, 1},  {200, 16, 2},
                         {320, 25, 2}, {-7, 16, 1},  {6400, 16, 16}};
  for (const auto& [iso, gain_a, gain_b] : rows) {
    const ManualExposure manual = LumoPrepareManualExposure(Manual(1, 10000, iso));
    EXPECT_THAT((std::array{manual.gain_a, manual.gain_b}), ElementsAre(gain_a, gain_b)) << iso;
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
  const int rows[][4] = {
      {1, 0, 12345, 12345},     {1, 1, 4999, 4999},       {1, 1, 5000, 10000},     {1, 1, 14999, 10000},
      {1, 1, 15000, 20000},     {1, 1, 27999, 30000},     {1, 1, 28000, 40000},    {1, 1, 59999, 40000},
      {1, 1, 60000, 80000},     {1, 1, 9000000, 8800000}, {3, 1, 13999, 10000},    {3, 1, 14000, 20000},
      {3, 1, 27999, 20000},     {3, 1, 28000, 40000},     {3, 1, 55999, 40000},    {3, 1, 56000, 80000},
      {3, 1, 300000, 320000},   {5, 1, 13999, 10000},     {5, 1, 14000, 20000},    {5, 1, 55999, 60000},
      {5, 1, 56000, 80000},     {5, 1, 223999, 240000},   {5, 1, 224000, 320000},  {1, 2, 4999, 4999},
      {1, 2, 5000, 8333},       {1, 2, 12499, 16666},     {1, 2, 23999, 24999},    {1, 2, 24000, 33333},
      {1, 2, 9000000, 8866711}, {3, 2, 11999, 8333},      {3, 2, 12000, 16667},    {3, 2, 48000, 66667},
      {5, 2, 47999, 50001},     {5, 2, 48000, 66667},     {5, 2, 192000, 266667},  {7, 1, 224000, 320000},
      {1, 3, 5000, 8333},       {5, 1, INT_MAX, 8800000}, {1, 2, INT_MAX, 8866711}};
  for (const auto& [mode, strobe, us, rounded] : rows) {
    EXPECT_EQ(LumoRoundManualExposure(static_cast<BYTE>(mode), static_cast<BYTE>(strobe), us), rounded)
        << "mode " << mode << " strobe " << strobe << " us " << us;
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
  for (const auto& [mode, least] : {std::pair{0, 0x80}, {2, 0x100}, {4, 0x400}, {6, 0x400}}) {
    const ExposureRequest request = Automatic(static_cast<BYTE>(mode));
    for (const auto& [exposure, average] : {std::pair{1, 255}, {-1, 100}, {-1, 0}, {0, 0}}) {  // -1: a failed read
      EXPECT_EQ(LumoAutomaticExposure(request, exposure, average), least);
    }
    EXPECT_EQ(LumoAutomaticExposure(request, 5000, 0), 0x8C780);  // nothing seen at all
    EXPECT_EQ(LumoAutomaticExposure(request, 0xFFFFFF, 1), 0x8C780);
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

using Wanted = std::array<int, 4>;  // exposure; both gains and the shutter for it

void ExpectSplits(BYTE strobe, BYTE iso, int base, const std::vector<Wanted>& splits) {
  for (const auto& [exposure, gain_a, gain_b, shutter] : splits) {
    const ExposureSplit split = LumoSplitAutomatic(strobe, iso, base, exposure);
    EXPECT_THAT((std::array{split.gain_a, split.gain_b, split.shutter}), ElementsAre(gain_a, gain_b, shutter));
  }
}

TEST(Split, Plain) {
  // Hand-held: steps of 0x400, 0x480, 0x500, 0x600, 0x700, 0x800 and 0x910 rows, each with its own least exposure.
  ExpectSplits(0, 0, 0x8C780,
               {{0x20, 16, 1, 0x20},
                {0x3FFF, 16, 1, 0x3FFF},
                {0x4000, 16, 1, 0x4000},
                {0x50FF, 20, 1, 16588},
                {0x5100, 18, 1, 0x4800},
                {0x6400, 20, 1, 0x5000},
                {0x9000, 24, 1, 0x6000},
                {0xC400, 28, 1, 0x7000},
                {0x10000, 16, 2, 0x8000},
                {0x143FF, 20, 2, 33177},
                {0x14400, 18, 2, 36864},
                {0x231E00, 31, 32, 37120}});
  // On a tripod.
  ExpectSplits(0, 1, 0x8C780, {{0x20, 16, 1, 0x20}, {0x78700, 16, 1, 0x78700}, {0x231E00, 19, 4, 484513}});
  // A second half without a measurement divides by nothing.
  for (const BYTE strobe : {0, 1, 2}) ExpectSplits(strobe, 0, 0, {{0, 16, 1, 0x20}});
}

TEST(Split, FlickerRuleLooksAtTheBaseAndWantsWholePeriods) {
  constexpr int period = 309;
  ExpectSplits(1, 0, 0x9A8,
               {{1236, 16, 1, 1236},                     // under a period: no rule
                {4944, 16, 1, period * 16},              // one period
                {19 * period, 19, 1, period * 16},       // 16 to 18 do not divide it
                {19776, 16, 1, 4 * period * 16},         // first gain that fits wins
                {256 * period, 16, 2, 8 * period * 16},  // eight periods are the limit
                {4 * 0x256B0, 31, 8, 8 * period * 16},
                {680 * period, 17, 8, 5 * period * 16},  // of all gains only 8 x 17 fits
                {20 * period + 5, 20, 1, 4948}});        // none: the light changed in between
  ExpectSplits(1, 0, 0x9A7, {{0x5100, 18, 1, 0x4800}});  // below that base the plain rule holds
  // On a tripod 64 periods with a gain of 112 are the first fit for the longest bracket.
  ExpectSplits(1, 1, 0x87300, {{4 * 0x87300, 28, 4, 64 * period * 16}});
  // Dark and hand-held the search finds nothing; taken at its word it leaves a shutter of 0 to divide by.
  for (const auto& [strobe, base, gain_a, gain_b] :
       {Wanted{1, 0x26A00, 16, 16}, {1, 0x87300, 28, 32}, {2, 0x20200, 16, 16}, {2, 0x78780, 30, 32}}) {
    ExpectSplits(static_cast<BYTE>(strobe), 0, base, {{4 * base, gain_a, gain_b, 8 * (strobe == 1 ? 309 : 257) * 16}});
  }
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

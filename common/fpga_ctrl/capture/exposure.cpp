#include "common/fpga_ctrl/capture/exposure.h"

#include <cmath>

#include "common/bounds.h"

// --- brackets ---

namespace {

// Multiples of the base exposure, as a product and a divisor, by bracket list.
struct BracketStep {
  int times;
  int by;
};
constexpr std::array<std::array<BracketStep, kExposureSets>, 3> kBracketSteps = {{
    {{{1, 4}, {1, 1}, {4, 1}, {4, 1}, {4, 1}, {4, 1}}},
    {{{1, 8}, {1, 4}, {1, 2}, {1, 1}, {2, 1}, {4, 1}}},
    {{{1, 32}, {1, 8}, {1, 2}, {1, 1}, {2, 1}, {4, 1}}},
}};
constexpr std::array<int, 3> kBracketsTaken = {3, 6, 6};

// Shortest base exposure, automatic: the shortest bracket then has two rows at unity gain. Also the shortest manual
// base in sixteenths of a row.
constexpr std::array<int, 3> kShortestBase = {0x80, 0x100, 0x400};

int AtStep(int base, const BracketStep& step) { return base * step.times / step.by; }

}  // namespace

std::array<int, kExposureSets> LumoBracketExposures(BYTE captureMode, int curExposure) {
  std::array<int, kExposureSets> hdrExposure = {};
  const auto& steps = kBracketSteps[LumoBracketList(captureMode)];
  for (size_t i = 0; i < hdrExposure.size(); i++) hdrExposure[i] = AtStep(curExposure, steps[i]);
  return hdrExposure;
}

namespace {

int FrameLines(int rows) { return LMax(rows + 6, kFrameRows); }

// --- manual exposure ---

// Flicker grid of manual times: the step must keep the shortest bracket that lies on it a whole number of light
// periods. The first row that lists the shot's brackets and does not exceed the time applies.
struct ManualFlickerRow {
  bool three, six, wide;       // bracket lists
  int from50, step50, half50;  // us, strobeMode 1
  int from60, step60, half60;  // us, strobeMode 2
};
constexpr std::array<ManualFlickerRow, 5> kManualFlickerRows = {{
    {false, false, true, 224000, 320000, 160000, 192000, 266667, 133333},
    {false, true, true, 56000, 80000, 40000, 48000, 66667, 33333},
    {true, true, false, 28000, 40000, 20000, 24000, 33333, 16667},
    {false, true, true, 14000, 20000, 10000, 12000, 16667, 8333},
    {true, true, true, 0, 10000, 5000, 0, 8333, 4167},
}};
constexpr int kManualFlickerFrom = 5000;
constexpr int kManualFlickerCap50 = 8800000;
constexpr int kManualFlickerCap60 = 8866711;

constexpr int kLongestManualBase = 0x1FC00;  // sixteenths of a row; beyond it the rows are stretched

}  // namespace

int LumoRoundManualExposure(BYTE captureMode, BYTE strobeMode, int manualExpsUs) {
  if (strobeMode == 0 || manualExpsUs < kManualFlickerFrom) return manualExpsUs;
  const bool is50 = strobeMode == 1;
  const BracketList list = LumoBracketList(captureMode);
  for (const ManualFlickerRow& row : kManualFlickerRows) {
    const bool listed = list == kBracketsThree ? row.three : list == kBracketsSix ? row.six : row.wide;
    if (!listed || manualExpsUs < (is50 ? row.from50 : row.from60)) continue;
    const int64_t step = is50 ? row.step50 : row.step60;
    const int64_t rounded = (manualExpsUs + int64_t{is50 ? row.half50 : row.half60}) / step * step;
    const int64_t cap = is50 ? kManualFlickerCap50 : kManualFlickerCap60;
    return static_cast<int>(rounded < cap ? rounded : cap);
  }
  return manualExpsUs;  // not reached: the last row takes all
}

ManualExposure LumoPrepareManualExposure(const ExposureRequest& request) {
  ManualExposure manual = {};
  const int expsUs = LumoRoundManualExposure(request.captureMode, request.strobeMode, request.manualExpsUs);

  // Truncating here and rounding up in the automatic split are both meant.
  manual.gain_a = LMin(LMax(request.manualIso, 100), 1600) * 16 / 100;
  manual.gain_b = 1;
  while (manual.gain_a > 31) {
    manual.gain_a /= 2;
    manual.gain_b *= 2;
  }

  const BracketList list = LumoBracketList(request.captureMode);
  manual.columnSize = kDefaultColumnSize;
  int base = LMax(static_cast<int>(expsUs * 60.0 * 16.0 / kDefaultColumnSize), kShortestBase[list]);
  if (base > kLongestManualBase) {
    base = kLongestManualBase;
    // Cut to 16 bits before it is bounded, so a time beyond 8.87 s comes out short.
    const auto stretched = static_cast<uint16_t>(static_cast<int>(expsUs * 60.0 * 16.0 / kLongestManualBase));
    manual.columnSize = USMax(stretched, kDefaultColumnSize);
  }
  manual.curExposure = manual.gain_a * manual.gain_b * base;

  for (int i = 0; i < kBracketsTaken[list]; i++) {
    manual.sumLines += FrameLines(AtStep(base >> 4, kBracketSteps[list][static_cast<size_t>(i)]));
  }
  return manual;
}

// --- limits ---

ShotLimits LumoAutomaticLimits(BYTE captureMode) {
  return LumoBracketList(captureMode) == kBracketsThree ? ShotLimits{4000, 5000} : ShotLimits{7000, 8000};
}

ShotLimits LumoManualLimits(const ManualExposure& manual) {
  // columnSize / 60000 is one row in ms. Three frames go before the brackets; the products pass 32 bits at the longest.
  const double columnSize = manual.columnSize;
  return {static_cast<unsigned int>(columnSize * (manual.sumLines + 3 * kFrameRows) / 60000.0 * 3.0 + 4000.0),
          static_cast<unsigned int>(2 * (manual.sumLines * columnSize / 60000.0) + 5000.0)};
}

// --- automatic exposure ---

namespace {

constexpr double kTargetAverage = 28.0;
constexpr int kLongestBase = 0x8C780;

// A shorter base, half a period of 50 Hz light at unity gain, keeps off the grid.
constexpr int kFlickerFrom = 0x9A8;

// What belongs to one kind of light.
struct FlickerGrid {
  int q;                   // rows of one flicker period at the default line length: 10.0 ms or 8.33 ms
  int longest;             // base exposure of the last step
  int handShutterLines;    // longest shutter with isoMode 0
  int tripodShutterLines;  // with any other
};
constexpr FlickerGrid kGrid50 = {0x135, 0x87300, 0x9A8, 0x777F};
constexpr FlickerGrid kGrid60 = {0x101, 0x78780, 0x808, 0x7777};
static_assert(kGrid50.handShutterLines == 8 * kGrid50.q && kGrid50.tripodShutterLines == 99 * kGrid50.q);
static_assert(kGrid60.handShutterLines == 8 * kGrid60.q && kGrid60.tripodShutterLines == 119 * kGrid60.q);

const FlickerGrid& GridOf(BYTE strobeMode) { return strobeMode == 1 ? kGrid50 : kGrid60; }

// What a conversion does on the device's processor: it saturates, and what is no number becomes 0.
int SaturatingInt(double value) {
  if (std::isnan(value)) return 0;
  if (value >= 2147483647.0) return 2147483647;
  if (value <= -2147483648.0) return -2147483647 - 1;
  return static_cast<int>(value);
}

// Rounds down to a multiple of a step that starts at q and doubles with each doubling of the value, so that the
// brackets of a base lie on the grid too. The last step stands alone.
int RoundToFlickerGrid(const FlickerGrid& grid, int exposure) {
  if (exposure >= grid.longest) return grid.longest;
  int step = grid.q;
  const int value = LMax(exposure, 16 * step);
  while (value >= 32 * step && step < 64 * grid.q) step *= 2;
  return value / step * step;
}

}  // namespace

int LumoAutomaticExposure(const ExposureRequest& request, int exposure, int average) {
  const double evCompRatio = pow(2.0, request.evCompVal / 3.0);
  const double wanted = exposure * evCompRatio * kTargetAverage / average + 0.5;
  const int shortest = kShortestBase[LumoBracketList(request.captureMode)];
  const int curExposure = LMin(LMax(SaturatingInt(wanted), shortest), kLongestBase);
  if (request.strobeMode == 0 || curExposure < kFlickerFrom) return curExposure;
  return RoundToFlickerGrid(GridOf(request.strobeMode), curExposure);
}

// --- split into shutter and gain ---

namespace {

// Hand-held: gain grows before the shutter gets long.
struct ShutterRow {
  int below;
  int shutterLines;
};
constexpr std::array<ShutterRow, 6> kHandShutterRows = {{
    {0x5100, 0x400},
    {0x6400, 0x480},
    {0x9000, 0x500},
    {0xC400, 0x600},
    {0x10000, 0x700},
    {0x14400, 0x800},
}};
constexpr int kHandShutterPlainBelow = 0x4000;
constexpr int kHandShutterLongest = 0x910;
constexpr int kTripodShutterPlainBelow = 0x78700;
constexpr int kTripodShutterLongest = 0x7870;

constexpr int kCoarsestGain = 32;  // the sensor's; register value 31
constexpr int kFinestGain = 31;

int PlainShutterLines(BYTE isoMode, int exposure) {
  if (isoMode != 0) return exposure < kTripodShutterPlainBelow ? exposure / 16 : kTripodShutterLongest;
  if (exposure < kHandShutterPlainBelow) return exposure / 16;
  for (const ShutterRow& row : kHandShutterRows) {
    if (exposure < row.below) return row.shutterLines;
  }
  return kHandShutterLongest;
}

// The first gain that makes the shutter a whole number of flicker periods within the limit.
int FlickerShutterLines(const FlickerGrid& grid, BYTE isoMode, int exposure) {
  if (exposure < 16 * grid.q) return exposure / 16;
  const int maxShutterLines = isoMode == 0 ? grid.handShutterLines : grid.tripodShutterLines;
  for (int gain_b = 1; gain_b <= 8; gain_b *= 2) {
    for (int gain_a = 16; gain_a <= 31; gain_a++) {
      const int gain = gain_a * gain_b;
      if (exposure % (gain * grid.q) == 0 && exposure / gain <= maxShutterLines) return exposure / gain;
    }
  }
  // No such gain, as for the longest bracket in the dark: the longest whole number of periods, gain for the rest.
  return LMin(exposure / 16, maxShutterLines) / grid.q * grid.q;
}

}  // namespace

ExposureSplit LumoSplitAutomatic(BYTE strobeMode, BYTE isoMode, int curExposure, int exposure) {
  const bool isPlain = strobeMode == 0 || curExposure < kFlickerFrom;
  const int wanted =
      isPlain ? PlainShutterLines(isoMode, exposure) : FlickerShutterLines(GridOf(strobeMode), isoMode, exposure);
  const int shutterLines = LMax(wanted, 1);

  ExposureSplit split = {0, LMax(exposure / shutterLines, kUnityGain), 1};
  while (split.gain_a > kFinestGain && split.gain_b < kCoarsestGain) {
    split.gain_a = (split.gain_a + 1) >> 1;
    split.gain_b *= 2;
  }
  split.gain_a = LMin(split.gain_a, kFinestGain);
  split.shutter = LMax((exposure << 4) / (split.gain_a * split.gain_b), 0x20);
  return split;
}

ExposureSplit LumoSplitManual(const ManualExposure& manual, int exposure) {
  return {exposure / (manual.gain_a * manual.gain_b), manual.gain_a, manual.gain_b};
}

// --- the set ---

ExposureSet LumoMakeExposureSet(BYTE captureMode, int bracket, const ExposureSplit& split) {
  ExposureSet set = {};
  set.shutterLines = split.shutter >> 4;
  set.totalLines = FrameLines(set.shutterLines);
  set.gain = split.gain_a * split.gain_b;
  const bool isLast = bracket >= kBracketsTaken[LumoBracketList(captureMode)] - 1;
  set.regData = {
      static_cast<BYTE>(split.shutter >> 16),
      static_cast<BYTE>(split.shutter >> 8),
      static_cast<BYTE>(split.shutter),
      static_cast<BYTE>(set.totalLines >> 8),
      static_cast<BYTE>(set.totalLines),
      static_cast<BYTE>((split.gain_b & 0x3F) - 1),
      static_cast<BYTE>(0x80 | (split.gain_a & 0x0F) << 3),
      static_cast<BYTE>(isLast ? 0xFF : 0x00),
  };
  return set;
}

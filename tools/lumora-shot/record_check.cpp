// Is the record one that the camera can have written? Beside the ranges of its fields, the six exposure sets depend on
// each other by rules tight enough to notice most damage to any of them.
#include <algorithm>
#include <bit>
#include <cstddef>

#include "tools/lumora-shot/findings.h"
#include "tools/lumora-shot/layout.h"

namespace shot {
namespace {

constexpr int32_t anything = INT32_MAX;
// The longest shutter that is asked for is 0x7870 rows; cutting its gain to a whole sixteenth stretches it a little.
constexpr int32_t mostRows = 0x7FFF;

struct Range {
  std::string_view field;
  int32_t least, most;
};

// What every writer of the format keeps to.
constexpr std::array<Range, 10> calendar = {{{"deviceId", 0, anything},
                                             {"shootDateYear", 1970, 2100},
                                             {"shootDateMon", 1, 12},
                                             {"shootDateDay", 1, 31},
                                             {"shootTimeHour", 0, 23},
                                             {"shootTimeMin", 0, 59},
                                             {"shootTimeSec", 0, 60},
                                             {"shootTimeMS", 0, 999},
                                             {"shootIdx", 0, 1000000},
                                             {"hdrMode", 2, 9}}};

// What this camera's writer puts in.
constexpr std::array<Range, 28> written = {{{"infoVersion", 1, 1},
                                            {"pclkFreq", 0, 0},
                                            {"fNo", 0, 0},
                                            {"focus", 0, 0},
                                            {"focus35mm", 0, 0},
                                            {"evBiasMode", -128, 127},
                                            {"isoMode", 0, 255},
                                            {"wbMode", 0, 0},
                                            {"colorMode", 0, 0},
                                            {"contrastMode", 0, 0},
                                            {"sharpnessMode", 0, 0},
                                            {"oriQuality", 95, 95},
                                            {"pnoQuality", 80, 80},
                                            {"filterMode", 0, 0},
                                            {"twoHalfMode", 0, 31},
                                            {"antiFlickerMode", 0, 255},
                                            {"timerMode", 0, 7},
                                            {"multiShootMode", 0, 0},
                                            {"prevCamIdx", 0, 0},
                                            {"prevExpos", 32, 32},
                                            {"vertexX", -628318531, 628318531},  // a full turn, with the correction
                                            {"vertexY", -628318531, 628318531},
                                            {"hdrSelIdxB", 0, 0},
                                            {"compassValue", -18000, 18000},
                                            {"reserve0", 0, 0},
                                            {"reserve1", 0, 0},
                                            {"reserve2", 0, 0},
                                            {"reserve3", 0, 0}}};

// Possible, since the settings are a text file that is not tested, but no setting of the camera.
constexpr std::array<Range, 6> usual = {{{"evBiasMode", -16, 16},
                                         {"isoMode", 0, 3},
                                         {"antiFlickerMode", 0, 3},
                                         {"twoHalfMode", 0, 1},
                                         {"longitude", -1800000000, 1800000000},
                                         {"latitude", -900000000, 900000000}}};

int64_t PositionOf(std::string_view field) {
  const auto found = std::find(recordFields.begin(), recordFields.end(), field);
  return recordAt + 4 * (found - recordFields.begin());
}

template <size_t Count>
void CheckRanges(const Record& record, const std::array<Range, Count>& ranges, Weight weight, Findings& findings) {
  const auto words = WordsOf(record);
  for (const Range& range : ranges) {
    const int64_t at = PositionOf(range.field);
    const int32_t value = words[static_cast<size_t>((at - recordAt) / 4)];
    if (value >= range.least && value <= range.most) continue;
    const std::string field(range.field);
    if (weight == Weight::Remark)
      findings.Remark(at, "%s is %d, usually %d to %d", field.c_str(), value, range.least, range.most);
    else if (range.least == range.most)
      findings.Fault(at, "%s is %d, must be %d", field.c_str(), value, range.least);
    else if (range.most == anything)
      findings.Fault(at, "%s is %d, must be at least %d", field.c_str(), value, range.least);
    else
      findings.Fault(at, "%s is %d, must be %d to %d", field.c_str(), value, range.least, range.most);
  }
}

void CheckDay(const Record& r, Findings& findings) {
  constexpr std::array<int, 12> days = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (r.shootDateMon < 1 || r.shootDateMon > 12) return;  // told already
  const bool leap = r.shootDateYear % 4 == 0 && (r.shootDateYear % 100 != 0 || r.shootDateYear % 400 == 0);
  const int last = days[static_cast<size_t>(r.shootDateMon - 1)] + (leap && r.shootDateMon == 2 ? 1 : 0);
  if (r.shootDateDay > last && r.shootDateDay <= 31)
    findings.Fault(PositionOf("shootDateDay"), "shootDateDay is %d in month %d of %d", r.shootDateDay, r.shootDateMon,
                   r.shootDateYear);
}

int64_t SetAt(int step) {
  return step < 3 ? PositionOf("shutterLines0") + 16 * step : PositionOf("shutterLines3") + 16 * (step - 3);
}

// A gain is a fine step, 16 to 31, times a coarse step that is a power of two.
bool IsGain(int32_t gain) {
  if (gain < 16 || gain > 31 * 32) return false;
  while (gain > 31 && gain % 2 == 0) gain /= 2;
  return gain <= 31;
}

void CheckSet(const Record& record, int step, Findings& findings) {
  const ExposureSet& set = record.Exposure(step);
  const int64_t at = SetAt(step);
  // No exposure is set shorter than two rows, except by hand in the one mode that sets no limit.
  const int least = record.hdrMode == 9 ? 0 : 2;
  if (set.shutterLines < least || set.shutterLines > mostRows)
    findings.Fault(at, "shutterLines%d is %d, must be %d to %d", step, set.shutterLines, least, mostRows);
  // The frame is 2470 rows long, or 6 rows longer than the shutter.
  const int64_t lines = set.shutterLines < 2465 ? 2470 : set.shutterLines + int64_t{6};
  if (set.totalLines != lines)
    findings.Fault(at + 4, "totalLines%d is %d, must be %lld with shutterLines%d %d", step, set.totalLines,
                   static_cast<long long>(lines), step, set.shutterLines);
  if (set.totalRows < 2 * 0x798 || set.totalRows > 2 * 0xFFFF || set.totalRows % 2 != 0)
    findings.Fault(at + 8, "totalRows%d is %d, must be even and %d to %d", step, set.totalRows, 2 * 0x798, 2 * 0xFFFF);
  else if (set.totalRows != record.Exposure(0).totalRows)
    findings.Fault(at + 8, "totalRows%d is %d, but totalRows0 is %d", step, set.totalRows,
                   record.Exposure(0).totalRows);
  if (!IsGain(set.gain)) findings.Fault(at + 12, "gain%d is %d, which the sensors do not have", step, set.gain);
}

// Multiples of the base exposure, in thirty-seconds, by the kind of bracket.
constexpr std::array<std::array<int, 6>, 3> brackets = {
    {{8, 32, 128, 128, 128, 128}, {4, 8, 16, 32, 64, 128}, {1, 4, 16, 32, 64, 128}}};

// Rows times gain follows the bracket. Rows are cut to whole ones, so an exposure is known to one row times its gain.
void CheckBracket(const Record& record, Findings& findings) {
  if (record.hdrMode < 2 || record.hdrMode > 9) return;
  const auto& multiples = brackets[static_cast<size_t>(std::min((record.hdrMode - 2) / 2, 2))];
  const int base = record.MiddleStep();
  const ExposureSet& middle = record.Exposure(base);
  for (int step = 0; step < 6; ++step) {
    const ExposureSet& set = record.Exposure(step);
    if (step == base || !IsGain(set.gain) || !IsGain(middle.gain)) continue;
    const int64_t multiple = multiples[static_cast<size_t>(step)];
    const int64_t least = int64_t{32} * (set.shutterLines - 1) * set.gain;
    const int64_t most = int64_t{32} * (set.shutterLines + 2) * set.gain;
    // The shortest exposure is lifted to two rows, so it may be longer than its share.
    const bool tooLong = set.shutterLines > 2 && least > multiple * (middle.shutterLines + int64_t{1}) * middle.gain;
    const bool tooShort = most < multiple * middle.shutterLines * middle.gain;
    if (tooLong || tooShort)
      findings.Fault(SetAt(step), "exposure %d (%d rows, gain %d) is no %d/32 of exposure %d (%d rows, gain %d)", step,
                     set.shutterLines, set.gain, static_cast<int>(multiple), base, middle.shutterLines, middle.gain);
  }
  if (record.hdrMode % 2 == 0) return;
  for (int step = 0; step < 6; ++step)  // odd: exposures by hand, one gain for all
    if (record.Exposure(step).gain != middle.gain)
      findings.Fault(SetAt(step) + 12, "gain%d is %d, but gain%d is %d in a shot exposed by hand", step,
                     record.Exposure(step).gain, base, middle.gain);
}

}  // namespace

void CheckRecord(const Shot& shot, Findings& findings) {
  const Record& record = shot.record;
  CheckRanges(record, calendar, Weight::Fault, findings);
  CheckDay(record, findings);
  if (record.deviceId >= firstDeviceOfSecondForm) return;  // written by another kind of camera, by rules of its own
  CheckRanges(record, written, Weight::Fault, findings);
  CheckRanges(record, usual, Weight::Remark, findings);
  for (int step = 0; step < 6; ++step) CheckSet(record, step, findings);
  CheckBracket(record, findings);
}

}  // namespace shot

// The record of a shot: 64 signed words, as they stand at byte 8 of a shot file.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace shot {

// One step of the bracket.
struct ExposureSet {
  int32_t shutterLines;  // open shutter, in whole sensor rows
  int32_t totalLines;    // length of the frame, in rows
  int32_t totalRows;     // length of a row, in cycles of the 120 MHz pixel clock (its name misleads)
  int32_t gain;          // in sixteenths: 16 is unity, ISO 100

  double Seconds() const { return static_cast<double>(totalRows) * shutterLines / 120e6; }
  double Iso() const { return gain * 100.0 / 16; }
  bool operator==(const ExposureSet&) const = default;
};

// In file order, so that the struct is the 256 bytes.
struct Record {
  int32_t deviceId, infoVersion;
  int32_t shootDateYear, shootDateMon, shootDateDay, shootTimeHour, shootTimeMin, shootTimeSec, shootTimeMS;
  int32_t shootIdx;
  std::array<ExposureSet, 3> exposures0To2;
  int32_t pclkFreq, fNo, focus, focus35mm;
  int32_t evBiasMode, isoMode, hdrMode, wbMode, colorMode, contrastMode, sharpnessMode;
  int32_t oriQuality, pnoQuality, filterMode, twoHalfMode, antiFlickerMode, timerMode, multiShootMode;
  int32_t prevCamIdx, prevExpos;
  int32_t vertexX, vertexY;     // tilt, in 1e-8 radian
  int32_t longitude, latitude;  // in 1e-7 degree
  std::array<ExposureSet, 3> exposures3To5;
  int32_t hdrSelIdxB;
  int32_t compassValue;  // in hundredths of a degree
  std::array<int32_t, 4> reserve;

  // Step 0 to 5 of the bracket; all six are always written.
  const ExposureSet& Exposure(int step) const {
    return step < 3 ? exposures0To2[static_cast<size_t>(step)] : exposures3To5[static_cast<size_t>(step - 3)];
  }
  // How many steps have pictures: 3 or 6.
  int ExposureCount() const { return hdrMode < 4 ? 3 : 6; }
  // The step that the others are multiples of.
  int MiddleStep() const { return ExposureCount() == 3 ? 1 : 3; }

  bool operator==(const Record&) const = default;
};
static_assert(sizeof(Record) == 256);

// The words' names in the file's order: word i stands at byte 8 + 4i of the file.
inline constexpr std::array<std::string_view, 64> recordFields = {
    "deviceId",      "infoVersion",     "shootDateYear", "shootDateMon",   "shootDateDay",  "shootTimeHour",
    "shootTimeMin",  "shootTimeSec",    "shootTimeMS",   "shootIdx",       "shutterLines0", "totalLines0",
    "totalRows0",    "gain0",           "shutterLines1", "totalLines1",    "totalRows1",    "gain1",
    "shutterLines2", "totalLines2",     "totalRows2",    "gain2",          "pclkFreq",      "fNo",
    "focus",         "focus35mm",       "evBiasMode",    "isoMode",        "hdrMode",       "wbMode",
    "colorMode",     "contrastMode",    "sharpnessMode", "oriQuality",     "pnoQuality",    "filterMode",
    "twoHalfMode",   "antiFlickerMode", "timerMode",     "multiShootMode", "prevCamIdx",    "prevExpos",
    "vertexX",       "vertexY",         "longitude",     "latitude",       "shutterLines3", "totalLines3",
    "totalRows3",    "gain3",           "shutterLines4", "totalLines4",    "totalRows4",    "gain4",
    "shutterLines5", "totalLines5",     "totalRows5",    "gain5",          "hdrSelIdxB",    "compassValue",
    "reserve0",      "reserve1",        "reserve2",      "reserve3"};
static_assert(recordFields[28] == "hdrMode" && recordFields[46] == "shutterLines3" && recordFields[63] == "reserve3");

// The same words without their names, for listing and for tests of all of them.
std::array<int32_t, 64> WordsOf(const Record& record);
Record RecordOf(const std::array<int32_t, 64>& words);

}  // namespace shot

// The arithmetic of a shot: from a scene measurement, or from manual values, to six exposure sets that the sensors take
// frame by frame. Pure functions, no hardware, any thread.
//
// Units. Row: one sensor line, 2 x columnSize cycles of the 120 MHz pixel clock, 32.4 us at the default line length.
// Gain: 16 is unity and ISO 100; kept as gain_a, 16 to 31, the fine step, times gain_b, a power of two, the coarse
// step. Automatic exposure: rows x gain, so 16 is one row at unity. Manual exposure: 16 times that, since its shutter
// is kept in sixteenths of a row from the start.
#pragma once

#include <array>

#include "common/types.h"

constexpr int kExposureSets = 6;

constexpr uint16_t kDefaultColumnSize = 0x798;  // line length registers' value; one row is twice that many cycles
constexpr int kFrameRows = 2470;                // shortest frame

constexpr int kUnityGain = 16;

// A shot's bracket list by captureMode: 0, 1 three steps; 2, 3 six steps; from 4 on six wide steps.
enum BracketList { kBracketsThree = 0, kBracketsSix = 1, kBracketsWide = 2 };
constexpr BracketList LumoBracketList(BYTE captureMode) {
  return captureMode < 2 ? kBracketsThree : captureMode < 4 ? kBracketsSix : kBracketsWide;
}
constexpr bool LumoIsManualMode(BYTE captureMode) { return (captureMode & 1) != 0; }

// What the user asked for, read once a shot.
struct TagExposureRequest {
  BYTE captureMode;  // 0-7
  BYTE strobeMode;   // 0 no flicker handling, 1 light of 50 Hz mains, else 60 Hz
  int8_t evCompVal;  // thirds of a stop
  BYTE isoMode;      // 0 gain grows with exposure, else the shutter does
  int manualExpsUs;  // us
  int manualIso;     // cut to 100-1600
};
using ExposureRequest = TagExposureRequest;

// Result of the manual preparation.
struct TagManualExposure {
  int curExposure;  // base exposure, rows x 16 x gain
  int gain_a, gain_b;
  uint16_t columnSize;  // stretched above the default when the exposure would need too many rows
  int sumLines;         // frame lengths of all brackets together, rows
};
using ManualExposure = TagManualExposure;

// Flicker rounding of a manual exposure time: us to us. Leaves times below 5000 us and strobeMode 0 alone.
int LumoRoundManualExposure(BYTE captureMode, BYTE strobeMode, int manualExpsUs);

ManualExposure LumoPrepareManualExposure(const ExposureRequest& request);

// Time limits of one attempt of a shot, ms.
struct TagShotLimits {
  unsigned int waitTime;   // until the layers have taken all exposures
  unsigned int waitTimeB;  // from then on until all frames are saved
};
using ShotLimits = TagShotLimits;

ShotLimits LumoAutomaticLimits(BYTE captureMode);
ShotLimits LumoManualLimits(const ManualExposure& manual);

// Base exposure from a measurement: exposure as the layers report it and the scene average it gave, 0 to 255. The
// target is an average of 28, times 2 to the power of a third of `evCompVal`. Clamped, and rounded down to the flicker
// grid. An average of 0 gives the longest exposure; an exposure of -1, a failed read, the shortest.
int LumoAutomaticExposure(const ExposureRequest& request, int exposure, int average);

// The shot's six exposures; of the three-step list the last one stands four times.
std::array<int, kExposureSets> LumoBracketExposures(BYTE captureMode, int curExposure);

// How one bracket is reached.
struct TagExposureSplit {
  int shutter;         // sixteenths of a row
  int gain_a, gain_b;  // gain_a 16-31, gain_b 1-32
};
using ExposureSplit = TagExposureSplit;

// `exposure` is the bracket's, `curExposure` the base that decides between the plain and the flicker rule.
ExposureSplit LumoSplitAutomatic(BYTE strobeMode, BYTE isoMode, int curExposure, int exposure);
ExposureSplit LumoSplitManual(const ManualExposure& manual, int exposure);

// One exposure set: what the shot's record keeps of it, and its eight bytes as layer 1 stores them, by regIdx:
// 0-2 shutter in sixteenths of a row, 3-4 frame length, 5 coarse gain less 1, 6 0x80 + fine gain, 7 end mark.
struct TagExposureSet {
  int shutterLines;  // whole rows
  int totalLines;    // frame length, rows
  int gain;          // 16 is unity
  std::array<BYTE, 8> regData;
};
using ExposureSet = TagExposureSet;

ExposureSet LumoMakeExposureSet(BYTE captureMode, int bracket, const ExposureSplit& split);

// What a shot tells of its exposures. All six sets are there, whatever the capture mode uses.
struct ExposureSets {
  int totalColumns;  // pixel clocks of a sensor row
  int shutterLines[kExposureSets];
  int totalLines[kExposureSets];
  int gain[kExposureSets];  // sixteenths
};

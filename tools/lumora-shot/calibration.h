// The calibration of the cameras at the time of a shot, as each shot file carries it.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "tools/lumora-shot/shot_file.h"

namespace shot {

// Where a camera looks and how its lens draws. Angles and lengths are in the units of the calibration's maker.
struct CameraConf {
  int16_t imgIdx, lensType;
  int32_t aimInfoDirX, aimInfoDirY, aimInfoTilt;
  int32_t centerP2DX, centerP2DY;
  int32_t relaFocus, sensorScale;
};
static_assert(sizeof(CameraConf) == 32);

// How a camera's picture darkens towards its corners, for one colour.
struct VignettingCurve {
  std::array<double, 64> curve;  // in row 0 the last value is the gain of the white balance
  std::array<int16_t, 256> table;
};
struct CameraVignet {
  int32_t imgIdx, vignettingNum;
  VignettingCurve b, g, r;
};
static_assert(sizeof(CameraVignet) == 3080);

// The rows that the file really has, 25 at most.
std::vector<CameraConf> ReadCameras(const File& file);
std::vector<CameraVignet> ReadVignetting(const File& file);

}  // namespace shot

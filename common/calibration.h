// Rows of the two calibration files on the device's flash, as they lie there: little-endian, no header, one row a
// camera. Both are made when a device is calibrated. The application moves them into each shot file and reads only
// what is named here; it never creates them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "common/cameras.h"

// "CameraConf_800": where each camera looks.
struct TagCameraConfInfo {
  int16_t imgIdx;
  int16_t lensType;  // row 0: above 10 makes the device model 4, 12 and 13 select a variant of the sensor table
  int32_t aimInfoDirX;
  int32_t aimInfoDirY;
  int32_t aimInfoTilt;
  int32_t centerP2DX;
  int32_t centerP2DY;
  int32_t relaFocus;
  int32_t sensorScale;
};
using CameraConfInfo = TagCameraConfInfo;

// Reads all rows from the working directory. What the file lacks stays as it was. Returns the bytes that came, or -1 if
// there is no such file.
int LumoReadCameraConf(CameraConfInfo* camConfInfos);

// "CameraVignet_800": how each camera's light falls off. In row 0 the last element of each colour's curve is no
// curve point: it holds the white balance gain of that colour.
struct TagCameraVignetInfo {
  int32_t imgIdx;
  int32_t vignettingNum;
  double vignettingCurveB[64];
  int16_t vignettingTableB[256];
  double vignettingCurveG[64];
  int16_t vignettingTableG[256];
  double vignettingCurveR[64];
  int16_t vignettingTableR[256];
};
using CameraVignetInfo = TagCameraVignetInfo;

constexpr int kWhiteBalanceSlot = 63;

static_assert(sizeof(CameraConfInfo) == 32);
static_assert(std::has_unique_object_representations_v<CameraConfInfo>, "a narrower field would leave a gap");
static_assert(offsetof(CameraConfInfo, lensType) == 2);
static_assert(sizeof(CameraConfInfo) * kCameraCount == 800);
static_assert(sizeof(CameraVignetInfo) == 3080);
static_assert(sizeof(CameraVignetInfo::imgIdx) == 4 && sizeof(CameraVignetInfo::vignettingNum) == 4);
static_assert(offsetof(CameraVignetInfo, vignettingCurveB) == 8);
static_assert(offsetof(CameraVignetInfo, vignettingCurveG) == 1032);
static_assert(offsetof(CameraVignetInfo, vignettingCurveR) == 2056);
static_assert(offsetof(CameraVignetInfo, vignettingTableR) == 2568);

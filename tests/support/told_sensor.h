// A sensor of the tests' own, described to the ISP: answers as it is told to and keeps what it was asked.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "sdk/hi_mpi.h"

struct ToldSensor {
  HI_S32 imageMode = HI_SUCCESS;
  HI_S32 wdrMode = HI_SUCCESS;
  HI_S32 blackLevel = HI_SUCCESS;
  HI_U32 lines = 2500;
  HI_U32 longest = 2490;
  // When it is started, it writes to the chip: control, frame period, line period, widths.
  bool starts = true;
  std::array<HI_U32, 5> timing = {0xC0000000, 2500 * 700, 700, 1, 1};
  std::function<void()> whileRateIsSet;
  std::vector<std::string> asked;
  ISP_CMOS_SENSOR_IMAGE_MODE_S picture = {};
  HI_FLOAT rate = 0;
};

// The one that Register describes. Begins anew with each set of media units.
extern ToldSensor toldSensor;

constexpr SENSOR_ID kToldSensor = 7;

// Each with the code that the library gives. In a thread.
HI_S32 RegisterWithIsp(SENSOR_ID sensor = kToldSensor);
HI_S32 RegisterWithExposure(SENSOR_ID sensor = kToldSensor);
HI_S32 RegisterWithWhiteBalance(SENSOR_ID sensor = kToldSensor);

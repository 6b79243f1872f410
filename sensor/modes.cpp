#include "sensor/modes.h"

#include <cstdio>

namespace {

constexpr HI_U32 CLOCK = 72000000;
constexpr HI_U8 MODE_12M = 0;
constexpr HI_U8 MODE_4K2K = 2;
constexpr HI_U32 FULL_LINES_12M = 3120;
constexpr HI_U32 FULL_LINES_4K2K = 2200;

// The settings of a row: its periods in bytes, at registers of our own numbering.
constexpr IMX226_MODE_S Row(const char* name, HI_U32 horPeriod, HI_U32 vertPeriod, HI_U32 lines, HI_U32 maxFps) {
  return {name,
          CLOCK,
          horPeriod,
          vertPeriod,
          lines,
          maxFps,
          {0x00100000u | (lines & 0xFF), 0x00110000u | (lines >> 8), 0x00120000u | (horPeriod & 0xFF),
           0x00130000u | (horPeriod >> 8)}};
}

}  // namespace

constexpr IMX226_MODE_S g_astImx226ModeTbl[IMX226_MODES] = {
    Row("12M_10CH_12BIT_35FPS", 660, 2059200, FULL_LINES_12M, 35),
    Row("12M_10CH_10BIT_40FPS", 585, 3997696, 3080, 40),
    Row("4K2K_8CH_12BIT_30FPS", 1092, 2402400, FULL_LINES_4K2K, 30),
    Row("4K2K_4CH_12BIT_15FPS", 2184, 4804800, 2200, 15),
    Row("4K2K_10CH_10BIT_59FPS", 546, 3997696, 2200, 60),
    Row("2K_4CH_10BIT_60FPS", 528, 3997696, 2275, 60),
};

HI_U8 gu8SensorImageMode = MODE_4K2K;
HI_U32 gu32FullLinesStd = FULL_LINES_4K2K;
HI_U32 gu32FullLines = FULL_LINES_4K2K;
HI_BOOL bInit = HI_FALSE;
HI_BOOL bSensorInit = HI_FALSE;

const IMX226_MODE_S* imx226_current_mode() {
  if (gu8SensorImageMode < IMX226_MODES) return &g_astImx226ModeTbl[gu8SensorImageMode];
  printf("NOT support this mode!\n");
  return nullptr;
}

void sensor_global_init() {
  gu8SensorImageMode = MODE_4K2K;
  gu32FullLinesStd = FULL_LINES_4K2K;
  gu32FullLines = gu32FullLinesStd;
  bInit = HI_FALSE;
  bSensorInit = HI_FALSE;
}

HI_S32 cmos_set_image_mode(const ISP_CMOS_SENSOR_IMAGE_MODE_S* pstImageMode) {
  bInit = HI_FALSE;
  if (pstImageMode == nullptr) {
    printf("null pointer when set image mode!\n");
    return HI_FAILURE;
  }
  const HI_U32 width = pstImageMode->u32Width;
  const HI_U32 height = pstImageMode->u32Height;
  HI_U8 mode = 0;
  if (width <= 4196 && height <= 2160) {
    mode = MODE_4K2K;
  } else if (width <= 4000 && height <= 3000) {
    mode = MODE_12M;
  } else {
    printf("Not support! Width:%d, Height:%d, Fps:%f\n", static_cast<int>(width), static_cast<int>(height),
           static_cast<double>(pstImageMode->f32Fps));
    return HI_FAILURE;
  }
  if (bSensorInit && mode == gu8SensorImageMode) return HI_FAILURE;  // tells the ISP that no new start is needed
  gu8SensorImageMode = mode;
  return HI_SUCCESS;
}

HI_S32 cmos_set_wdr_mode(HI_U8 u8Mode) {
  if (u8Mode != WDR_MODE_NONE) {
    printf("NOT support this mode!\n");
    return HI_FAILURE;
  }
  printf("linear mode\n");
  gu32FullLinesStd = gu8SensorImageMode == MODE_12M ? FULL_LINES_12M : FULL_LINES_4K2K;
  gu32FullLines = gu32FullLinesStd;
  return HI_SUCCESS;
}

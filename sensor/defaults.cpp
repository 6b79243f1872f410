#include "sensor/defaults.h"

#include <cstdio>
#include <cstring>

#include "sensor/gains.h"
#include "sensor/modes.h"

namespace {

// The tables of the ISP are plain ones of our own, by rule: quiet settings, weaker sharpening and less colour with each
// doubling of the gain. What matters is set for each shot: noise and sharpness by LumoCalcIspParas, the rest by
// fixfile.bin where there is one.

constexpr HI_U8 Falling(HI_U32 from, int step) { return static_cast<HI_U8>(from >> step); }

constexpr ISP_CMOS_AGC_TABLE_S MakeAgc() {
  ISP_CMOS_AGC_TABLE_S table = {HI_TRUE, {}};
  for (int step = 0; step < ISP_GAIN_STEPS; step++) table.au8Saturation[step] = static_cast<HI_U8>(128 - 4 * step);
  return table;
}

constexpr ISP_CMOS_NOISE_TABLE_S MakeNoise() {
  ISP_CMOS_NOISE_TABLE_S table = {HI_TRUE, {}};
  for (int step = 0; step < ISP_GAIN_STEPS; step++) table.au8Thresh[step] = static_cast<HI_U8>(128 + 8 * step);
  return table;
}

// Square root: dark tones are lifted as a display expects, and both ends stay where they are.
constexpr ISP_CMOS_GAMMA_S MakeGamma() {
  constexpr HI_U32 WHITE = 4095;
  ISP_CMOS_GAMMA_S table = {HI_TRUE, {}};
  HI_U32 root = 0;
  for (HI_U32 node = 0; node < ISP_GAMMA_NODES; node++) {
    const HI_U32 square = WHITE * WHITE / (ISP_GAMMA_NODES - 1) * node;
    while (root < WHITE && (root + 1) * (root + 1) <= square) root++;
    table.au16Gamma[node] = static_cast<HI_U16>(node == ISP_GAMMA_NODES - 1 ? WHITE : root);
  }
  return table;
}

// None: each camera has a lens of its own, which the calibration tables describe.
constexpr ISP_CMOS_RADIAL_S MakeRadial() {
  ISP_CMOS_RADIAL_S table = {HI_TRUE, {}};
  for (HI_U16& gain : table.au16Gain) gain = 256;
  return table;
}

constexpr ISP_CMOS_BAYER_SHARPEN_S MakeBayerSharpen() {
  ISP_CMOS_BAYER_SHARPEN_S table = {HI_TRUE, {}};
  for (int step = 0; step < ISP_GAIN_STEPS; step++) {
    table.astStep[step] = {{Falling(64, step), Falling(64, step), 64},
                           {Falling(32, step), Falling(32, step), Falling(16, step), 16}};
  }
  return table;
}

constexpr ISP_CMOS_YUV_SHARPEN_S MakeYuvSharpen() {
  ISP_CMOS_YUV_SHARPEN_S table = {HI_TRUE, {}};
  for (int step = 0; step < ISP_GAIN_STEPS; step++) {
    ISP_YUV_SHARPEN_MANUAL_ATTR_S& one = table.astStep[step];
    one.u8TextureSt = one.u8EdgeSt = one.u8OverShoot = one.u8UnderShoot = Falling(32, step);
    for (HI_U8& weight : one.au8LumaWgt) weight = 255;
  }
  return table;
}

constexpr ISP_CMOS_AGC_TABLE_S g_stIspAgcTable = MakeAgc();
constexpr ISP_CMOS_NOISE_TABLE_S g_stIspNoiseTable = MakeNoise();
constexpr ISP_CMOS_DEMOSAIC_S g_stIspDemosaic = {HI_TRUE, 16, 128};
constexpr ISP_CMOS_GAMMA_S g_stIspGamma = MakeGamma();
constexpr ISP_CMOS_RADIAL_S g_stIspRadial = MakeRadial();
constexpr ISP_CMOS_BAYER_SHARPEN_S g_stIspBayerSharpen = MakeBayerSharpen();
constexpr ISP_CMOS_YUV_SHARPEN_S g_stIspYuvSharpen = MakeYuvSharpen();
static_assert(g_stIspGamma.au16Gamma[0] == 0 && g_stIspGamma.au16Gamma[64] == 2047);

// What is not exposed of a frame's lines: in mode 5 a little more.
HI_U32 LongestExposure() {
  const HI_U32 reserve = gu8SensorImageMode == 5 ? 10 : 8;
  return gu32FullLinesStd > reserve ? gu32FullLinesStd - reserve : 0;
}

}  // namespace

HI_S32 cmos_get_isp_black_level(ISP_CMOS_BLACK_LEVEL_S* pstBlackLevel) {
  if (pstBlackLevel == nullptr) {
    printf("null pointer when get isp black level value!\n");
    return HI_FAILURE;
  }
  pstBlackLevel->bUpdate = HI_FALSE;
  for (HI_U16& level : pstBlackLevel->au16BlackLevel) level = 0;
  return HI_SUCCESS;
}

HI_S32 cmos_get_isp_default(ISP_CMOS_DEFAULT_S* pstDef) {
  if (pstDef == nullptr) {
    printf("null pointer when get isp default value!\n");
    return HI_FAILURE;
  }
  memset(pstDef, 0, sizeof(*pstDef));
  memcpy(&pstDef->stAgcTbl, &g_stIspAgcTable, sizeof(g_stIspAgcTable));
  memcpy(&pstDef->stNoiseTbl, &g_stIspNoiseTable, sizeof(g_stIspNoiseTable));
  memcpy(&pstDef->stDemosaic, &g_stIspDemosaic, sizeof(g_stIspDemosaic));
  memcpy(&pstDef->stGamma, &g_stIspGamma, sizeof(g_stIspGamma));
  memcpy(&pstDef->stRadial, &g_stIspRadial, sizeof(g_stIspRadial));
  memcpy(&pstDef->stBayerSharpen, &g_stIspBayerSharpen, sizeof(g_stIspBayerSharpen));
  memcpy(&pstDef->stYuvSharpen, &g_stIspYuvSharpen, sizeof(g_stIspYuvSharpen));
  return HI_SUCCESS;
}

HI_S32 cmos_get_ae_default(AE_SENSOR_DEFAULT_S* pstAeSnsDft) {
  if (pstAeSnsDft == nullptr) {
    printf("null pointer when get ae default value!\n");
    return HI_FAILURE;
  }
  pstAeSnsDft->u32FullLinesStd = gu32FullLinesStd;
  pstAeSnsDft->u32LinesPer500ms = gu32FullLinesStd * 30 / 2;
  pstAeSnsDft->u32MinIntTime = 4;
  pstAeSnsDft->u32MaxIntTime = LongestExposure();
  pstAeSnsDft->u32MinAgain = IMX226_GAIN_UNITY;
  pstAeSnsDft->u32MaxAgain = 22528;
  pstAeSnsDft->u32MinDgain = IMX226_GAIN_UNITY;
  pstAeSnsDft->u32MaxDgain = 8192;
  return HI_SUCCESS;
}

HI_S32 cmos_get_awb_default(AWB_SENSOR_DEFAULT_S* pstAwbSnsDft) {
  if (pstAwbSnsDft == nullptr) {
    printf("null pointer when get awb default value!\n");
    return HI_FAILURE;
  }
  *pstAwbSnsDft = {4900, {523, 256, 256}};
  return HI_SUCCESS;
}

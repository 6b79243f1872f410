#include "sensor/exposure.h"

#include <cstdio>

#include "sensor/hv_sync.h"
#include "sensor/modes.h"

namespace {

constexpr HI_U32 FULL_LINES_MAX = 0xFFFFF;
constexpr HI_U32 SLOW_LINES_MAX = 0x3FFFF;
constexpr HI_U32 LINES_NOT_EXPOSED = 8;  // a frame's longest exposure is shorter by these

// --- the list ---

// Its registers have numbers of our own, as no sensor is there to have them.
enum Entry {
  kExposureLow,
  kExposureHigh,
  kAnalogGainLow,
  kAnalogGainHigh,
  kDigitalGain,
  kGainPickA,
  kGainPickB,
  kModeSetting,
  kEntries = kModeSetting + IMX226_MODE_SETTINGS
};
static_assert(kEntries == 11 && kEntries <= ISP_MAX_SNS_REGS);

ISP_SNS_REG_S gs_astRegs[kEntries] = {
    {HI_FALSE, 0x20, 0}, {HI_FALSE, 0x21, 0}, {HI_FALSE, 0x22, 0}, {HI_FALSE, 0x23, 0},
    {HI_FALSE, 0x24, 0}, {HI_FALSE, 0x25, 0}, {HI_FALSE, 0x26, 0},
};

void Put(int entry, HI_U32 data) {
  if (gs_astRegs[entry].u32Data == data) return;
  gs_astRegs[entry].u32Data = data;
  gs_astRegs[entry].bUpdate = HI_TRUE;
}

// By the analog gain, two further register values. Our own stand-ins, a step a doubling.
struct GainPick {
  HI_U32 u32Again;  // register value from which the row holds
  HI_U32 u32A, u32B;
};
constexpr GainPick GAIN_PICKS[] = {{0, 0, 0}, {0x400, 1, 1}, {0x600, 2, 1}, {0x700, 3, 1}};

// --- rates ---

// Lines of a frame at one frame per second. Mode 3 counts fewer than its row would give; so be it.
constexpr HI_U32 MODE_4CH_15FPS = 3;
HI_U32 LinesAtOneFps(const IMX226_MODE_S& mode) {
  return &mode == &g_astImx226ModeTbl[MODE_4CH_15FPS] ? 15552 : mode.u32FullLines * mode.u32MaxFps;
}

HI_U32 LongestExposure(HI_U32 lines) { return lines > LINES_NOT_EXPOSED ? lines - LINES_NOT_EXPOSED : 0; }

}  // namespace

HI_S32 cmos_fps_set(HI_FLOAT f32Fps, AE_SENSOR_DEFAULT_S* pstAeSnsDft) {
  if (pstAeSnsDft == nullptr) {
    printf("null pointer when set fps!\n");
    return HI_FAILURE;
  }
  const IMX226_MODE_S* mode = imx226_current_mode();
  if (mode == nullptr) return HI_FAILURE;
  const double fps = f32Fps;
  if (!(fps >= 0.5 && fps <= mode->u32MaxFps)) {
    printf("Not support Fps: %f\n", fps);
    return HI_FAILURE;
  }
  gau32HvSync[HV_SYNC_VERT_PERIOD] = static_cast<HI_U32>(mode->u32VertPeriod * mode->u32MaxFps / fps);
  gu32FullLinesStd = static_cast<HI_U32>(LinesAtOneFps(*mode) / fps);
  if (gu32FullLinesStd > FULL_LINES_MAX) gu32FullLinesStd = FULL_LINES_MAX;
  gu32FullLines = gu32FullLinesStd;
  IMX226_MasterHvSyncWrite();

  pstAeSnsDft->f32Fps = f32Fps;
  pstAeSnsDft->u32FullLinesStd = gu32FullLinesStd;
  pstAeSnsDft->u32MaxIntTime = LongestExposure(gu32FullLinesStd);
  pstAeSnsDft->u32LinesPer500ms = static_cast<HI_U32>(gu32FullLinesStd * fps * 0.5);
  return HI_SUCCESS;
}

HI_S32 cmos_slow_framerate_set(HI_U32 u32FullLines, AE_SENSOR_DEFAULT_S* pstAeSnsDft) {
  if (pstAeSnsDft == nullptr) {
    printf("null pointer when set slow framerate!\n");
    return HI_FAILURE;
  }
  const IMX226_MODE_S* mode = imx226_current_mode();
  if (mode == nullptr) return HI_FAILURE;
  gu32FullLines = u32FullLines < SLOW_LINES_MAX ? u32FullLines : SLOW_LINES_MAX;
  gau32HvSync[HV_SYNC_VERT_PERIOD] = mode->u32HorPeriod * gu32FullLines;
  IMX226_MasterHvSyncWrite();
  pstAeSnsDft->u32MaxIntTime = LongestExposure(gu32FullLines);
  return HI_SUCCESS;
}

void cmos_inttime_update(HI_U32 u32IntTime) {
  constexpr HI_U8 MODE_2K = 5;
  const HI_S64 shortest = gu8SensorImageMode == MODE_2K ? 10 : 8;
  const HI_S64 limit = static_cast<HI_S64>(gu32FullLines) - 4;
  HI_S64 value = static_cast<HI_S64>(gu32FullLines) - u32IntTime;
  if (value > 0xFFFF) value = 0xFFFF;
  if (value < shortest) value = shortest;
  if (value >= limit) value = limit - 1;
  if (value < 0) value = 0;  // a frame of five lines
  Put(kExposureLow, static_cast<HI_U32>(value) & 0xFF);
  Put(kExposureHigh, static_cast<HI_U32>(value) >> 8);
}

void cmos_gains_update(HI_U32 u32Again, HI_U32 u32Dgain) {
  const GainPick* pick = GAIN_PICKS;
  for (const GainPick& row : GAIN_PICKS) {
    if (u32Again >= row.u32Again) pick = &row;
  }
  Put(kAnalogGainLow, u32Again & 0xFF);
  Put(kAnalogGainHigh, u32Again >> 8 & 0xFF);
  Put(kDigitalGain, u32Dgain & 0xFF);
  Put(kGainPickA, pick->u32A);
  Put(kGainPickB, pick->u32B);
}

HI_S32 cmos_get_sns_regs_info(ISP_SNS_REGS_INFO_S* pstRegsInfo) {
  if (pstRegsInfo == nullptr) {
    printf("null pointer when get sns reg info!\n");
    return HI_FAILURE;
  }
  if (!bInit) {
    const IMX226_MODE_S* mode = imx226_current_mode();
    if (mode == nullptr) return HI_FAILURE;
    for (int i = 0; i < IMX226_MODE_SETTINGS; i++) {
      gs_astRegs[kModeSetting + i] = {HI_TRUE, mode->au32Setting[i] >> 16, mode->au32Setting[i] & 0xFFFF};
    }
    for (ISP_SNS_REG_S& reg : gs_astRegs) reg.bUpdate = HI_TRUE;
    bInit = HI_TRUE;
  }
  pstRegsInfo->u32RegNum = kEntries;
  for (int i = 0; i < kEntries; i++) {
    pstRegsInfo->astRegs[i] = gs_astRegs[i];
    gs_astRegs[i].bUpdate = HI_FALSE;
  }
  return HI_SUCCESS;
}

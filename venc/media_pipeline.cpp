#include "venc/media_pipeline.h"

#include "common/fpga_ctrl/capture/capture_sequencer.h"
#include "common/log.h"
#include "common/sample_comm_sys/sample_comm_sys.h"
#include "common/sample_comm_venc/encoder.h"
#include "common/sample_comm_venc/snap_process.h"
#include "common/sample_comm_vi/sample_comm_vi.h"
#include "common/sample_comm_vpss/sample_comm_vpss.h"
#include "venc/quality_file.h"

namespace {

constexpr VIDEO_NORM_E gs_enNorm = VIDEO_ENCODING_MODE_PAL;
constexpr PIXEL_FORMAT_E PIXEL_FORMAT = PIXEL_FORMAT_YUV_SEMIPLANAR_420;
constexpr HI_U32 MAX_POOLS = 128;
constexpr HI_U32 POOL_BLOCKS = 12;
constexpr HI_U32 CHIP_NUMBER = 0x3519A;
constexpr ISP_DEV ISP_DEV_0 = 0;
constexpr VPSS_GRP VPSS_GRP_0 = 0;
constexpr HI_U32 FULL_QUALITY = 95;
constexpr HI_U32 HALF_QUALITY = 85;

constexpr SAMPLE_VI_CONFIG_S stViConfig = {
    .enViMode = SONY_IMX226_LVDS_4K_30FPS,
    .enNorm = VIDEO_ENCODING_MODE_AUTO,
    .enRotate = 0,
    .enViChnSet = VI_CHN_SET_MIRROR,
    .enWDRMode = WDR_MODE_NONE,
    .enFrmRate = SAMPLE_FRAMERATE_DEFAULT,
};

// What the steps hand on to each other.
struct SetUp {
  PIC_SIZE_E enSize;
  SIZE_S stSize;
};

// --- steps, in their order ---

HI_S32 StartSystem(SetUp* setUp) {
  SAMPLE_COMM_VI_GetSizeBySensor(stViConfig.enViMode, &setUp->enSize);
  VB_CONF_S stVbConf = {};
  stVbConf.u32MaxPoolCnt = MAX_POOLS;
  stVbConf.astCommPool[0].u32BlkSize =
      SAMPLE_COMM_SYS_CalcPicVbBlkSize(gs_enNorm, setUp->enSize, PIXEL_FORMAT, SAMPLE_SYS_ALIGN_WIDTH);
  stVbConf.astCommPool[0].u32BlkCnt = POOL_BLOCKS;
  return SAMPLE_COMM_SYS_Init(&stVbConf);
}

HI_S32 StartInput(SetUp*) { return SAMPLE_COMM_VI_StartVi(&stViConfig); }

// Whether the tuning took hold is not tested: the ISP has defaults.
HI_S32 TuneQuality(SetUp*) {
  ISP_REG_ATTR_S stReg = {};
  HI_MPI_ISP_GetISPRegAttr(ISP_DEV_0, &stReg);
  printf("ISP registers: isp 0x%x %u, extended 0x%x %u, ae 0x%x %u, awb 0x%x %u\n", stReg.u32IspRegAddr,
         stReg.u32IspRegSize, stReg.u32IspExtRegAddr, stReg.u32IspExtRegSize, stReg.u32AeExtRegAddr,
         stReg.u32AeExtRegSize, stReg.u32AwbExtRegAddr, stReg.u32AwbExtRegSize);
  PQ_BIN_MODULE_S stModule = {};
  stModule.enChip = CHIP_NUMBER;
  stModule.stPqBinIsp = {stReg.u32IspRegAddr,   stReg.u32IspRegSize,   stReg.u32IspExtRegAddr, stReg.u32IspExtRegSize,
                         stReg.u32AeExtRegAddr, stReg.u32AeExtRegSize, stReg.u32AwbExtRegAddr, stReg.u32AwbExtRegSize};
  HI_PQ_BIN_Init(&stModule);
  fun();

  VI_DCI_PARAM_S stDci = {};
  HI_MPI_VI_GetDCIParam(0, &stDci);
  stDci.bEnable = HI_FALSE;
  HI_MPI_VI_SetDCIParam(0, &stDci);
  VI_CSC_ATTR_S stCsc = {};
  HI_MPI_VI_GetCSCAttr(0, &stCsc);
  stCsc.enViCscType = VI_CSC_TYPE_601;
  HI_MPI_VI_SetCSCAttr(0, &stCsc);
  return HI_SUCCESS;
}

HI_S32 FindSize(SetUp* setUp) { return SAMPLE_COMM_SYS_GetPicSize(gs_enNorm, setUp->enSize, &setUp->stSize); }

HI_S32 StartGroup(SetUp* setUp) {
  VPSS_GRP_ATTR_S stAttr = {};
  stAttr.u32MaxW = setUp->stSize.u32Width;
  stAttr.u32MaxH = setUp->stSize.u32Height;
  stAttr.enPixFmt = PIXEL_FORMAT;
  stAttr.bNrEn = HI_TRUE;
  stAttr.enDieMode = VPSS_DIE_MODE_NODIE;
  return SAMPLE_COMM_VPSS_StartGroup(VPSS_GRP_0, &stAttr);
}

HI_S32 BindInput(SetUp*) { return SAMPLE_COMM_VI_BindVpss(); }

HI_S32 EnableVpssChn(VPSS_CHN VpssChn, HI_U32 u32Width, HI_U32 u32Height) {
  VPSS_CHN_ATTR_S stAttr = {};
  stAttr.s32SrcFrameRate = -1;
  stAttr.s32DstFrameRate = -1;
  VPSS_CHN_MODE_S stMode = {};
  stMode.enChnMode = VPSS_CHN_MODE_USER;
  stMode.bDouble = HI_FALSE;
  stMode.enPixelFormat = PIXEL_FORMAT;
  stMode.enCompressMode = COMPRESS_MODE_NONE;
  stMode.u32Width = u32Width;
  stMode.u32Height = u32Height;
  return SAMPLE_COMM_VPSS_EnableChn(VPSS_GRP_0, VpssChn, &stAttr, &stMode);
}
HI_S32 EnableFullChn(SetUp* setUp) { return EnableVpssChn(0, setUp->stSize.u32Width, setUp->stSize.u32Height); }
HI_S32 EnableHalfChn(SetUp* setUp) { return EnableVpssChn(1, setUp->stSize.u32Width / 2, setUp->stSize.u32Height / 2); }

HI_S32 StartFullEncoder(SetUp* setUp) { return SAMPLE_COMM_VENC_SnapStart_2(VencChn0, &setUp->stSize, FULL_QUALITY); }
HI_S32 BindFullEncoder(SetUp*) { return SAMPLE_COMM_VENC_BindVpss(VencChn0, VPSS_GRP_0, 0); }
HI_S32 StartHalfEncoder(SetUp* setUp) { return SAMPLE_COMM_VENC_SnapStart(VencChn1, &setUp->stSize, HALF_QUALITY); }
HI_S32 BindHalfEncoder(SetUp*) { return SAMPLE_COMM_VENC_BindVpss(VencChn1, VPSS_GRP_0, 1); }

// --- levels: what is undone together ---

enum Level { kSystem, kInput, kGroup, kInputBinding, kVpssChannels, kEncoders, kLevels };

void StopEncoders() {
  SAMPLE_COMM_VENC_UnBindVpss(VencChn0, VPSS_GRP_0, 0);
  SAMPLE_COMM_VENC_Stop(VencChn0);
  SAMPLE_COMM_VENC_UnBindVpss(VencChn1, VPSS_GRP_0, 1);
  SAMPLE_COMM_VENC_Stop(VencChn1);
}
void DisableVpssChannels() {
  SAMPLE_COMM_VPSS_DisableChn(VPSS_GRP_0, 0);
  SAMPLE_COMM_VPSS_DisableChn(VPSS_GRP_0, 1);
}
void UnbindInput() { SAMPLE_COMM_VI_UnBindVpss(); }
void StopGroup() { SAMPLE_COMM_VPSS_StopGroup(VPSS_GRP_0); }
void StopInput() { SAMPLE_COMM_VI_StopVi(&stViConfig); }
void StopSystem() { SAMPLE_COMM_SYS_Exit(); }

constexpr void (*UNDO[kLevels])() = {StopSystem, StopInput, StopGroup, UnbindInput, DisableVpssChannels, StopEncoders};

struct Step {
  Level level;  // undone from here outwards when this step fails
  HI_S32 (*start)(SetUp*);
  const char* failure;
  int line;  // of its row, which tells two steps of one name apart in the log
};

constexpr Step STEPS[] = {
    {kSystem, StartSystem, "SAMPLE_COMM_SYS_Init error", __LINE__},
    {kInput, StartInput, "SAMPLE_COMM_VI_StartVi error", __LINE__},
    {kInput, TuneQuality, "", __LINE__},
    {kInput, FindSize, "SAMPLE_COMM_SYS_GetPicSize error", __LINE__},
    {kGroup, StartGroup, "SAMPLE_COMM_VPSS_StartGroup error", __LINE__},
    {kInputBinding, BindInput, "SAMPLE_COMM_VI_BindVpss error", __LINE__},
    {kVpssChannels, EnableFullChn, "SAMPLE_COMM_VPSS_EnableChn error", __LINE__},
    {kVpssChannels, EnableHalfChn, "SAMPLE_COMM_VPSS_EnableChn error", __LINE__},
    {kEncoders, StartFullEncoder, "SAMPLE_COMM_VENC_SnapStart_2 error", __LINE__},
    {kEncoders, BindFullEncoder, "SAMPLE_COMM_VENC_BindVpss error", __LINE__},
    {kEncoders, StartHalfEncoder, "SAMPLE_COMM_VENC_SnapStart error", __LINE__},
    {kEncoders, BindHalfEncoder, "SAMPLE_COMM_VENC_BindVpss error", __LINE__},
};

}  // namespace

HI_S32 SAMPLE_VENC_1080P_MJPEG_JPEG(ControlSignals* ctrlSigs) {
  SetUp setUp = {};
  HI_S32 s32Ret = HI_SUCCESS;
  Level reached = kSystem;
  for (const Step& step : STEPS) {
    reached = step.level;
    s32Ret = step.start(&setUp);
    if (s32Ret != HI_SUCCESS) {
      fprintf(g_lumoDebug, "%s:%d: %s\n", __func__, step.line, step.failure);
      break;
    }
  }
  if (s32Ret == HI_SUCCESS) {
    s32Ret = LumoVencSnapProcess(ctrlSigs);
    LumoCaptureEnd();
  }
  for (int level = reached; level >= kSystem; level--) UNDO[level]();
  return s32Ret;
}

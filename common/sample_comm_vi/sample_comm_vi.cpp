#include "common/sample_comm_vi/sample_comm_vi.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "common/sample_comm_sys/sample_print.h"

namespace {

constexpr const char* MIPI_DEV_NAME = "/dev/hi_mipi";
constexpr VI_DEV VI_DEV_0 = 0;
constexpr VI_CHN VI_CHN_0 = 0;
constexpr RECT_S SENSOR_RECT = {0, 0, 3264, 2448};
constexpr SIZE_S SENSOR_SIZE = {3264, 2448};

// The ends of the binding between input and processing.
struct ViToVpss {
  MPP_CHN_S stSrc = {HI_ID_VIU, 0, 0};
  MPP_CHN_S stDest = {HI_ID_VPSS, 0, 0};
};

}  // namespace

HI_S32 SAMPLE_COMM_VI_GetSizeBySensor(SAMPLE_VI_MODE_E /*enMode*/, PIC_SIZE_E* penSize) {
  *penSize = PIC_UHD4K;
  return HI_SUCCESS;
}

HI_BOOL IsSensorInput(SAMPLE_VI_MODE_E enViMode) {
  switch (enViMode) {
    case SONY_IMX226_LVDS_4K_30FPS: return HI_TRUE;
  }
  return HI_FALSE;
}

HI_S32 SAMPLE_COMM_VI_StartVi(const SAMPLE_VI_CONFIG_S* pstViConfig) {
  if (!IsSensorInput(pstViConfig->enViMode)) {
    SAMPLE_PRT("no input of mode %d!\n", pstViConfig->enViMode);
    return HI_FAILURE;
  }
  const HI_S32 s32Ret = SAMPLE_COMM_VI_StartIspAndVi(pstViConfig);
  if (s32Ret != HI_SUCCESS) SAMPLE_PRT("SAMPLE_COMM_VI_StartIspAndVi error\n");
  return s32Ret;
}

HI_S32 SAMPLE_COMM_VI_StartIspAndVi(const SAMPLE_VI_CONFIG_S* pstViConfig) {
  HI_S32 s32Ret = SAMPLE_COMM_VI_StartMIPI(pstViConfig);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("SAMPLE_COMM_VI_StartMIPI failed!\n");
    return s32Ret;
  }
  s32Ret = SAMPLE_COMM_ISP_Init(pstViConfig->enWDRMode, pstViConfig->enFrmRate);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("SAMPLE_COMM_ISP_Init failed!\n");
    return s32Ret;
  }
  s32Ret = SAMPLE_COMM_ISP_Run();
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("SAMPLE_COMM_ISP_Run failed!\n");
    return s32Ret;
  }
  s32Ret = SAMPLE_COMM_VI_StartDev(VI_DEV_0);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("SAMPLE_COMM_VI_StartDev[%d] failed!\n", VI_DEV_0);
    return s32Ret;
  }
  s32Ret = SAMPLE_COMM_VI_StartChn(VI_CHN_0, &SENSOR_RECT, &SENSOR_SIZE, pstViConfig);
  if (s32Ret != HI_SUCCESS) SAMPLE_PRT("SAMPLE_COMM_VI_StartChn[%d] failed!\n", VI_CHN_0);
  return s32Ret;
}

HI_S32 SAMPLE_COMM_VI_StartMIPI(const SAMPLE_VI_CONFIG_S* pstViConfig) {
  const HI_S32 s32Ret = SAMPLE_COMM_VI_SetMipiAttr(pstViConfig);
  if (s32Ret != HI_SUCCESS) SAMPLE_PRT("MIPI init failed!\n");
  return s32Ret;
}

HI_S32 SAMPLE_COMM_VI_SetMipiAttr(const SAMPLE_VI_CONFIG_S* /*pstViConfig: one mode, one record*/) {
  const int fd = open(MIPI_DEV_NAME, O_RDWR);
  if (fd < 0) {
    SAMPLE_PRT("open %s failed!\n", MIPI_DEV_NAME);
    return HI_FAILURE;
  }
  MIPI_DEV_ATTR_S stAttr = LVDS_4lane_SENSOR_IMX226_SIMULATOR_10BIT_8M_NOWDR_ATTR;
  if (ioctl(fd, HI_MIPI_SET_DEV_ATTR, &stAttr) != 0) {
    SAMPLE_PRT("set mipi attr failed!\n");
    close(fd);
    return HI_FAILURE;
  }
  close(fd);
  return HI_SUCCESS;
}

HI_S32 SAMPLE_COMM_VI_StartDev(VI_DEV ViDev) {
  VI_DEV_ATTR_S stViDevAttr = DEV_ATTR_LVDS_BASE;
  stViDevAttr.stDevRect = SENSOR_RECT;

  ISP_WDR_MODE_S stWdrMode = {};
  HI_S32 s32Ret = HI_MPI_ISP_GetWDRMode(0, &stWdrMode);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_ISP_GetWDRMode failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  s32Ret = HI_MPI_VI_SetDevAttr(ViDev, &stViDevAttr);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_VI_SetDevAttr failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  const VI_WDR_ATTR_S stWdrAttr = {stWdrMode.enWDRMode, HI_FALSE};
  s32Ret = HI_MPI_VI_SetWDRAttr(ViDev, &stWdrAttr);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_VI_SetWDRAttr failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  s32Ret = HI_MPI_VI_EnableDev(ViDev);
  if (s32Ret != HI_SUCCESS) SAMPLE_PRT("HI_MPI_VI_EnableDev failed with %#x!\n", s32Ret);
  return s32Ret;
}

HI_S32 SAMPLE_COMM_VI_StartChn(VI_CHN ViChn, const RECT_S* pstCapRect, const SIZE_S* pstTarSize,
                               const SAMPLE_VI_CONFIG_S* pstViConfig) {
  VI_CHN_ATTR_S stChnAttr = {};
  stChnAttr.stCapRect = *pstCapRect;
  stChnAttr.stDestSize = *pstTarSize;
  stChnAttr.enCapSel = VI_CAPSEL_BOTH;
  stChnAttr.enPixFormat = PIXEL_FORMAT_YUV_SEMIPLANAR_420;
  stChnAttr.enCompressMode = COMPRESS_MODE_NONE;
  stChnAttr.bMirror = pstViConfig->enViChnSet == VI_CHN_SET_MIRROR ? HI_TRUE : HI_FALSE;
  stChnAttr.bFlip = HI_FALSE;
  stChnAttr.s32SrcFrameRate = -1;
  stChnAttr.s32DstFrameRate = -1;
  HI_S32 s32Ret = HI_MPI_VI_SetChnAttr(ViChn, &stChnAttr);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_VI_SetChnAttr failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  s32Ret = HI_MPI_VI_EnableChn(ViChn);
  if (s32Ret != HI_SUCCESS) SAMPLE_PRT("HI_MPI_VI_EnableChn failed with %#x!\n", s32Ret);
  return s32Ret;
}

void SAMPLE_COMM_VI_StopVi(const SAMPLE_VI_CONFIG_S* /*pstViConfig*/) {
  HI_S32 s32Ret = HI_MPI_VI_DisableChn(VI_CHN_0);
  if (s32Ret != HI_SUCCESS) SAMPLE_PRT("HI_MPI_VI_DisableChn failed with %#x!\n", s32Ret);
  s32Ret = HI_MPI_VI_DisableDev(VI_DEV_0);
  if (s32Ret != HI_SUCCESS) SAMPLE_PRT("HI_MPI_VI_DisableDev failed with %#x!\n", s32Ret);
  SAMPLE_COMM_ISP_Stop();
}

HI_S32 SAMPLE_COMM_VI_BindVpss() {
  ViToVpss stEnds;
  const HI_S32 s32Ret = HI_MPI_SYS_Bind(&stEnds.stSrc, &stEnds.stDest);
  if (s32Ret != HI_SUCCESS) SAMPLE_PRT("HI_MPI_SYS_Bind failed with %#x!\n", s32Ret);
  return s32Ret;
}

HI_S32 SAMPLE_COMM_VI_UnBindVpss() {
  ViToVpss stEnds;
  const HI_S32 s32Ret = HI_MPI_SYS_UnBind(&stEnds.stSrc, &stEnds.stDest);
  if (s32Ret != HI_SUCCESS) SAMPLE_PRT("HI_MPI_SYS_UnBind failed with %#x!\n", s32Ret);
  return s32Ret;
}

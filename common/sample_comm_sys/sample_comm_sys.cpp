#include "common/sample_comm_sys/sample_comm_sys.h"

#include "common/sample_comm_sys/sample_print.h"

namespace {

// Header of a block of 4:2:0, bytes a line.
constexpr HI_U32 VB_PIC_HEADER_PER_LINE = 24;
// 4:2:0 would need one and a half; two is a reserve that every format gets.
constexpr HI_U32 VB_BYTES_PER_PIXEL = 2;

constexpr HI_U32 RaiseToMultiple(HI_U32 value, HI_U32 align) { return (value + align - 1) & ~(align - 1); }

}  // namespace

HI_S32 SAMPLE_COMM_SYS_GetPicSize(VIDEO_NORM_E /*enNorm: only sizes of the analog norms depend on it*/,
                                  PIC_SIZE_E enPicSize, SIZE_S* pstSize) {
  switch (enPicSize) {
    case PIC_UHD4K: *pstSize = {3264, 2448}; return HI_SUCCESS;
  }
  return HI_FAILURE;
}

HI_U32 SAMPLE_COMM_SYS_CalcPicVbBlkSize(VIDEO_NORM_E enNorm, PIC_SIZE_E enPicSize, PIXEL_FORMAT_E enPixFmt,
                                        HI_U32 u32AlignWidth) {
  SIZE_S stSize = {};
  if (SAMPLE_COMM_SYS_GetPicSize(enNorm, enPicSize, &stSize) != HI_SUCCESS) {
    SAMPLE_PRT("get picture size[%d] failed!\n", enPicSize);
    return 0;
  }
  const HI_U32 u32Width = RaiseToMultiple(stSize.u32Width, u32AlignWidth);
  const HI_U32 u32Height = RaiseToMultiple(stSize.u32Height, u32AlignWidth);
  HI_U32 u32BlkSize = u32Width * u32Height * VB_BYTES_PER_PIXEL;
  if (enPixFmt == PIXEL_FORMAT_YUV_SEMIPLANAR_420) u32BlkSize += stSize.u32Height * VB_PIC_HEADER_PER_LINE;
  return u32BlkSize;
}

HI_S32 SAMPLE_COMM_SYS_Init(const VB_CONF_S* pstVbConf) {
  HI_MPI_SYS_Exit();
  HI_MPI_VB_Exit();

  HI_S32 s32Ret = HI_MPI_VB_SetConf(pstVbConf);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_VB_SetConf failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  s32Ret = HI_MPI_VB_Init();
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_VB_Init failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  const MPP_SYS_CONF_S stSysConf = {SAMPLE_SYS_ALIGN_WIDTH};
  s32Ret = HI_MPI_SYS_SetConf(&stSysConf);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_SYS_SetConf failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  s32Ret = HI_MPI_SYS_Init();
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_SYS_Init failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  return HI_SUCCESS;
}

void SAMPLE_COMM_SYS_Exit() {
  HI_MPI_SYS_Exit();
  HI_MPI_VB_Exit();
}

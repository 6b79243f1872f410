#include "common/sample_comm_vpss/sample_comm_vpss.h"

#include "common/sample_comm_sys/sample_print.h"

HI_S32 SAMPLE_COMM_VPSS_StartGroup(VPSS_GRP VpssGrp, const VPSS_GRP_ATTR_S* pstVpssGrpAttr) {
  HI_S32 s32Ret = HI_MPI_VPSS_CreateGrp(VpssGrp, pstVpssGrpAttr);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_VPSS_CreateGrp failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  s32Ret = HI_MPI_VPSS_StartGrp(VpssGrp);
  if (s32Ret != HI_SUCCESS) SAMPLE_PRT("HI_MPI_VPSS_StartGrp failed with %#x!\n", s32Ret);
  return s32Ret;
}

HI_S32 SAMPLE_COMM_VPSS_EnableChn(VPSS_GRP VpssGrp, VPSS_CHN VpssChn, const VPSS_CHN_ATTR_S* pstVpssChnAttr,
                                  const VPSS_CHN_MODE_S* pstVpssChnMode) {
  HI_S32 s32Ret = HI_MPI_VPSS_SetChnAttr(VpssGrp, VpssChn, pstVpssChnAttr);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_VPSS_SetChnAttr failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  s32Ret = HI_MPI_VPSS_SetChnMode(VpssGrp, VpssChn, pstVpssChnMode);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_VPSS_SetChnMode failed with %#x!\n", s32Ret);
    return s32Ret;
  }
  s32Ret = HI_MPI_VPSS_EnableChn(VpssGrp, VpssChn);
  if (s32Ret != HI_SUCCESS) SAMPLE_PRT("HI_MPI_VPSS_EnableChn failed with %#x!\n", s32Ret);
  return s32Ret;
}

HI_S32 SAMPLE_COMM_VPSS_StopGroup(VPSS_GRP VpssGrp) {
  const HI_S32 s32Stop = HI_MPI_VPSS_StopGrp(VpssGrp);
  if (s32Stop != HI_SUCCESS) SAMPLE_PRT("HI_MPI_VPSS_StopGrp failed with %#x!\n", s32Stop);
  const HI_S32 s32Destroy = HI_MPI_VPSS_DestroyGrp(VpssGrp);
  if (s32Destroy != HI_SUCCESS) SAMPLE_PRT("HI_MPI_VPSS_DestroyGrp failed with %#x!\n", s32Destroy);
  return s32Stop != HI_SUCCESS ? s32Stop : s32Destroy;
}

HI_S32 SAMPLE_COMM_VPSS_DisableChn(VPSS_GRP VpssGrp, VPSS_CHN VpssChn) {
  const HI_S32 s32Ret = HI_MPI_VPSS_DisableChn(VpssGrp, VpssChn);
  if (s32Ret != HI_SUCCESS) SAMPLE_PRT("HI_MPI_VPSS_DisableChn failed with %#x!\n", s32Ret);
  return s32Ret;
}

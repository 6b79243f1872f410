#include "common/sample_comm_venc/encoder.h"

#include "common/sample_comm_sys/sample_print.h"

namespace {

HI_S32 StartJpegChn(VENC_CHN VencChn, const SIZE_S& stPicSize, HI_U32 u32BufSize, HI_U32 u32Qfactor) {
  VENC_CHN_ATTR_S stAttr = {};
  stAttr.stVeAttr.enType = PT_JPEG;
  VENC_ATTR_JPEG_S& stJpegAttr = stAttr.stVeAttr.stAttrJpeg;
  stJpegAttr.u32MaxPicWidth = stPicSize.u32Width;
  stJpegAttr.u32MaxPicHeight = stPicSize.u32Height;
  stJpegAttr.u32PicWidth = stPicSize.u32Width;
  stJpegAttr.u32PicHeight = stPicSize.u32Height;
  stJpegAttr.u32BufSize = u32BufSize;
  stJpegAttr.bByFrame = HI_TRUE;
  stJpegAttr.bSupportDCF = HI_FALSE;
  const HI_S32 s32Ret = HI_MPI_VENC_CreateChn(VencChn, &stAttr);
  if (s32Ret != HI_SUCCESS) {
    SAMPLE_PRT("HI_MPI_VENC_CreateChn [%d] faild with %#x!\n", VencChn, s32Ret);
    return s32Ret;
  }

  VENC_PARAM_JPEG_S stJpegParam = {};
  HI_MPI_VENC_GetJpegParam(VencChn, &stJpegParam);
  printf("HI_MPI_VENC_GetJpegParam, u32Qfactor = %d\n", static_cast<int>(stJpegParam.u32Qfactor));
  stJpegParam.u32Qfactor = u32Qfactor;
  HI_MPI_VENC_SetJpegParam(VencChn, &stJpegParam);
  return HI_SUCCESS;
}

HI_U32 StreamBufferSize(const SIZE_S& stSize) { return stSize.u32Width * stSize.u32Height * 2; }

}  // namespace

HI_S32 SAMPLE_COMM_VENC_SnapStart_2(VENC_CHN VencChn, const SIZE_S* pstSize, HI_U32 u32Qfactor) {
  return StartJpegChn(VencChn, *pstSize, StreamBufferSize(*pstSize), u32Qfactor);
}

HI_S32 SAMPLE_COMM_VENC_SnapStart(VENC_CHN VencChn, const SIZE_S* pstSize, HI_U32 u32Qfactor) {
  const SIZE_S stHalf = {pstSize->u32Width / 2, pstSize->u32Height / 2};
  return StartJpegChn(VencChn, stHalf, StreamBufferSize(*pstSize), u32Qfactor);
}

HI_S32 SAMPLE_COMM_VENC_Stop(VENC_CHN VencChn) {
  const HI_S32 s32Stop = HI_MPI_VENC_StopRecvPic(VencChn);
  if (s32Stop != HI_SUCCESS) SAMPLE_PRT("HI_MPI_VENC_StopRecvPic vechn[%d] failed with %#x!\n", VencChn, s32Stop);
  const HI_S32 s32Destroy = HI_MPI_VENC_DestroyChn(VencChn);
  if (s32Destroy != HI_SUCCESS) SAMPLE_PRT("HI_MPI_VENC_DestroyChn vechn[%d] failed with %#x!\n", VencChn, s32Destroy);
  return s32Stop != HI_SUCCESS ? s32Stop : s32Destroy;
}

HI_S32 SAMPLE_COMM_VENC_BindVpss(VENC_CHN VencChn, VPSS_GRP VpssGrp, VPSS_CHN VpssChn) {
  MPP_CHN_S stSrc = {HI_ID_VPSS, VpssGrp, VpssChn};
  MPP_CHN_S stDest = {HI_ID_VENC, 0, VencChn};
  const HI_S32 s32Ret = HI_MPI_SYS_Bind(&stSrc, &stDest);
  if (s32Ret != HI_SUCCESS) SAMPLE_PRT("HI_MPI_SYS_Bind failed with %#x!\n", s32Ret);
  return s32Ret;
}

HI_S32 SAMPLE_COMM_VENC_UnBindVpss(VENC_CHN VencChn, VPSS_GRP VpssGrp, VPSS_CHN VpssChn) {
  MPP_CHN_S stSrc = {HI_ID_VPSS, VpssGrp, VpssChn};
  MPP_CHN_S stDest = {HI_ID_VENC, 0, VencChn};
  const HI_S32 s32Ret = HI_MPI_SYS_UnBind(&stSrc, &stDest);
  if (s32Ret != HI_SUCCESS) SAMPLE_PRT("HI_MPI_SYS_UnBind failed with %#x!\n", s32Ret);
  return s32Ret;
}

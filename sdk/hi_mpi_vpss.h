/* Video processing: a group takes the pictures of the input, each of its channels gives them on in a size. */
#ifndef LUMORA_SDK_HI_MPI_VPSS_H
#define LUMORA_SDK_HI_MPI_VPSS_H

#include "sdk/hi_mpi_sys.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef HI_S32 VPSS_GRP;
typedef HI_S32 VPSS_CHN;

typedef enum { VPSS_DIE_MODE_NODIE = 0 } VPSS_DIE_MODE_E;
typedef enum { VPSS_CHN_MODE_AUTO = 0, VPSS_CHN_MODE_USER = 1 } VPSS_CHN_MODE_E;

typedef struct {
  HI_U32 u32MaxW;
  HI_U32 u32MaxH;
  PIXEL_FORMAT_E enPixFmt;
  HI_BOOL bIeEn;
  HI_BOOL bDciEn;
  HI_BOOL bNrEn;
  HI_BOOL bHistEn;
  VPSS_DIE_MODE_E enDieMode;
} VPSS_GRP_ATTR_S;

typedef struct {
  HI_BOOL bSpEn;
  HI_BOOL bBorderEn;
  HI_BOOL bMirror;
  HI_BOOL bFlip;
  HI_S32 s32SrcFrameRate; /* -1, -1: every picture */
  HI_S32 s32DstFrameRate;
} VPSS_CHN_ATTR_S;

typedef struct {
  VPSS_CHN_MODE_E enChnMode;
  HI_U32 u32Width;
  HI_U32 u32Height;
  HI_BOOL bDouble;
  PIXEL_FORMAT_E enPixelFormat;
  COMPRESS_MODE_E enCompressMode;
} VPSS_CHN_MODE_S;

HI_S32 HI_MPI_VPSS_CreateGrp(VPSS_GRP VpssGrp, const VPSS_GRP_ATTR_S* pstGrpAttr);
HI_S32 HI_MPI_VPSS_DestroyGrp(VPSS_GRP VpssGrp); /* after HI_MPI_VPSS_StopGrp */
HI_S32 HI_MPI_VPSS_StartGrp(VPSS_GRP VpssGrp);
HI_S32 HI_MPI_VPSS_StopGrp(VPSS_GRP VpssGrp);
HI_S32 HI_MPI_VPSS_SetChnAttr(VPSS_GRP VpssGrp, VPSS_CHN VpssChn, const VPSS_CHN_ATTR_S* pstChnAttr);
HI_S32 HI_MPI_VPSS_SetChnMode(VPSS_GRP VpssGrp, VPSS_CHN VpssChn, const VPSS_CHN_MODE_S* pstVpssMode);
HI_S32 HI_MPI_VPSS_EnableChn(VPSS_GRP VpssGrp, VPSS_CHN VpssChn);
HI_S32 HI_MPI_VPSS_DisableChn(VPSS_GRP VpssGrp, VPSS_CHN VpssChn);

#ifdef __cplusplus
}
#endif
#endif

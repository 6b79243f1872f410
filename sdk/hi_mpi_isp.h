/* Image signal processor: its start, its loop, its register layout, and the settings of noise and sharpness. */
#ifndef LUMORA_SDK_HI_MPI_ISP_H
#define LUMORA_SDK_HI_MPI_ISP_H

#include "sdk/hi_mpi_sys.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef HI_S32 ISP_DEV;

#define ALG_LIB_NAME_SIZE_MAX 20

/* One of the algorithm libraries that the ISP works with, by its name. */
typedef struct {
  HI_S32 s32Id;
  HI_CHAR acLibName[ALG_LIB_NAME_SIZE_MAX];
} ALG_LIB_S;

typedef enum { BAYER_RGGB = 0, BAYER_GRBG = 1, BAYER_GBRG = 2, BAYER_BGGR = 3 } ISP_BAYER_FORMAT_E;
typedef enum { OP_TYPE_AUTO = 0, OP_TYPE_MANUAL = 1 } ISP_OP_TYPE_E;

typedef struct {
  WDR_MODE_E enWDRMode;
} ISP_WDR_MODE_S;

typedef struct {
  RECT_S stWndRect;
  HI_FLOAT f32FrameRate; /* frames per second */
  ISP_BAYER_FORMAT_E enBayer;
} ISP_PUB_ATTR_S;

/* Where the settings of each part of the ISP lie: start and bytes. */
typedef struct {
  HI_U32 u32IspRegAddr;
  HI_U32 u32IspRegSize;
  HI_U32 u32IspExtRegAddr;
  HI_U32 u32IspExtRegSize;
  HI_U32 u32AeExtRegAddr;
  HI_U32 u32AeExtRegSize;
  HI_U32 u32AwbExtRegAddr;
  HI_U32 u32AwbExtRegSize;
} ISP_REG_ATTR_S;

typedef struct {
  HI_U8 u8Thresh;     /* strength of noise reduction */
  HI_U8 u8ThreshLong; /* the same for the long exposure of a WDR pair */
} ISP_NR_MANUAL_ATTR_S;

typedef struct {
  HI_BOOL bEnable;
  ISP_OP_TYPE_E enOpType;
  ISP_NR_MANUAL_ATTR_S stManual;
} ISP_NR_ATTR_S;

typedef struct {
  HI_U8 u8SharpenD;
  HI_U8 u8SharpenUd;
  HI_U16 u16LumaThd;
} ISP_BAYER_SHARPEN_S;

typedef struct {
  HI_U8 u8SharpenHF;
  HI_U8 u8SharpenMF;
  HI_U8 u8SharpenLF;
  HI_U8 u8SadAmplifier;
} ISP_BAYER_SHARPEN_EX_S;

typedef struct {
  ISP_BAYER_SHARPEN_S stShp;
  ISP_BAYER_SHARPEN_EX_S stShpEx;
} ISP_BAYER_SHARPEN_MANUAL_ATTR_S;

typedef struct {
  HI_BOOL bEnable;
  ISP_OP_TYPE_E enOpType;
  ISP_BAYER_SHARPEN_MANUAL_ATTR_S stManual;
} ISP_BAYER_SHARPEN_ATTR_S;

typedef struct {
  HI_BOOL bEnLowLumaShoot;
  HI_U8 u8TextureSt;
  HI_U8 u8EdgeSt;
  HI_U8 u8OverShoot;
  HI_U8 u8UnderShoot;
  HI_U8 u8TextureThd;
  HI_U8 u8EdgeThd;
  HI_U8 u8JagCtrl;
  HI_U8 u8SaltCtrl;
  HI_U8 u8PepperCtrl;
  HI_U8 u8DetailCtrl;
  HI_U8 au8LumaThd[4];
  HI_U8 au8LumaWgt[4];
} ISP_YUV_SHARPEN_MANUAL_ATTR_S;

typedef struct {
  HI_BOOL bEnable;
  ISP_OP_TYPE_E enOpType;
  ISP_YUV_SHARPEN_MANUAL_ATTR_S stManual;
} ISP_YUV_SHARPEN_ATTR_S;

HI_S32 HI_MPI_AE_Register(ISP_DEV IspDev, ALG_LIB_S* pstAeLib);
HI_S32 HI_MPI_AWB_Register(ISP_DEV IspDev, ALG_LIB_S* pstAwbLib);
HI_S32 HI_MPI_AF_Register(ISP_DEV IspDev, ALG_LIB_S* pstAfLib);
HI_S32 HI_MPI_ISP_MemInit(ISP_DEV IspDev); /* after the libraries are registered */
HI_S32 HI_MPI_ISP_SetWDRMode(ISP_DEV IspDev, const ISP_WDR_MODE_S* pstWDRMode);
HI_S32 HI_MPI_ISP_GetWDRMode(ISP_DEV IspDev, ISP_WDR_MODE_S* pstWDRMode);
HI_S32 HI_MPI_ISP_SetPubAttr(ISP_DEV IspDev, const ISP_PUB_ATTR_S* pstPubAttr);
HI_S32 HI_MPI_ISP_Init(ISP_DEV IspDev);
HI_S32 HI_MPI_ISP_Run(ISP_DEV IspDev); /* returns when another thread calls HI_MPI_ISP_Exit */
HI_S32 HI_MPI_ISP_Exit(ISP_DEV IspDev);
HI_S32 HI_MPI_ISP_GetISPRegAttr(ISP_DEV IspDev, ISP_REG_ATTR_S* pstIspRegAttr);

/* Settings; they hold from the next frame that enters the ISP. */
HI_S32 HI_MPI_ISP_GetNRAttr(ISP_DEV IspDev, ISP_NR_ATTR_S* pstNRAttr);
HI_S32 HI_MPI_ISP_SetNRAttr(ISP_DEV IspDev, const ISP_NR_ATTR_S* pstNRAttr);
HI_S32 HI_MPI_ISP_GetBayerSharpenAttr(ISP_DEV IspDev, ISP_BAYER_SHARPEN_ATTR_S* pstAttr);
HI_S32 HI_MPI_ISP_SetBayerSharpenAttr(ISP_DEV IspDev, const ISP_BAYER_SHARPEN_ATTR_S* pstAttr);
HI_S32 HI_MPI_ISP_GetYuvSharpenAttr(ISP_DEV IspDev, ISP_YUV_SHARPEN_ATTR_S* pstAttr);
HI_S32 HI_MPI_ISP_SetYuvSharpenAttr(ISP_DEV IspDev, const ISP_YUV_SHARPEN_ATTR_S* pstAttr);

/* Tuning data: a file of settings for the whole ISP. */
typedef struct {
  HI_U32 u32IspRegAddr;
  HI_U32 u32IspRegSize;
  HI_U32 u32IspExtRegAddr;
  HI_U32 u32IspExtRegSize;
  HI_U32 u32AeExtRegAddr;
  HI_U32 u32AeExtRegSize;
  HI_U32 u32AwbExtRegAddr;
  HI_U32 u32AwbExtRegSize;
} PQ_BIN_ISP_S;

typedef struct {
  HI_U32 enChip; /* chip number, 0x3519A here */
  PQ_BIN_ISP_S stPqBinIsp;
} PQ_BIN_MODULE_S;

HI_S32 HI_PQ_BIN_Init(PQ_BIN_MODULE_S* pstPqBinModule);
HI_S32 HI_PQ_BIN_ParseBinData(HI_U8* pu8Buf, HI_U32 u32BufSize); /* after HI_PQ_BIN_Init */

#ifdef __cplusplus
}
#endif
#endif

/* Video input: one device behind the lanes, one channel that gives its pictures on. */
#ifndef LUMORA_SDK_HI_MPI_VI_H
#define LUMORA_SDK_HI_MPI_VI_H

#include "sdk/hi_mpi_sys.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef HI_S32 VI_DEV;
typedef HI_S32 VI_CHN;

typedef enum { VI_MODE_LVDS = 7 } VI_INTF_MODE_E;
typedef enum { VI_WORK_MODE_1Multiplex = 0 } VI_WORK_MODE_E;
typedef enum { VI_SCAN_INTERLACED = 0, VI_SCAN_PROGRESSIVE = 1 } VI_SCAN_MODE_E;
typedef enum { VI_INPUT_DATA_YUYV = 2 } VI_DATA_YUV_SEQ_E;
typedef enum { VI_PATH_BYPASS = 0, VI_PATH_ISP = 1, VI_PATH_RAW = 2 } VI_DATA_PATH_E;
typedef enum { VI_DATA_TYPE_YUV = 0, VI_DATA_TYPE_RGB = 1 } VI_DATA_TYPE_E;
typedef enum { VI_CAPSEL_TOP = 0, VI_CAPSEL_BOTTOM = 1, VI_CAPSEL_BOTH = 2 } VI_CAPSEL_E;

typedef struct {
  VI_INTF_MODE_E enIntfMode;
  VI_WORK_MODE_E enWorkMode;
  HI_U32 au32CompMask[2]; /* which bits of the bus carry each component */
  VI_SCAN_MODE_E enScanMode;
  HI_S32 s32AdChnId[4]; /* -1: default */
  VI_DATA_YUV_SEQ_E enDataSeq;
  VI_DATA_PATH_E enDataPath;
  VI_DATA_TYPE_E enInputDataType;
  HI_BOOL bDataRev;
  RECT_S stDevRect; /* what is taken of the incoming picture */
} VI_DEV_ATTR_S;

typedef struct {
  WDR_MODE_E enWDRMode;
  HI_BOOL bCompress;
} VI_WDR_ATTR_S;

typedef struct {
  RECT_S stCapRect;
  SIZE_S stDestSize;
  VI_CAPSEL_E enCapSel;
  PIXEL_FORMAT_E enPixFormat;
  COMPRESS_MODE_E enCompressMode;
  HI_BOOL bMirror;
  HI_BOOL bFlip;
  HI_S32 s32SrcFrameRate; /* -1, -1: every picture */
  HI_S32 s32DstFrameRate;
} VI_CHN_ATTR_S;

typedef struct {
  HI_BOOL bEnable; /* dynamic contrast improvement */
} VI_DCI_PARAM_S;

typedef enum { VI_CSC_TYPE_601 = 0, VI_CSC_TYPE_709 = 1 } VI_CSC_TYPE_E;

typedef struct {
  VI_CSC_TYPE_E enViCscType; /* colour matrix from RGB to YUV */
} VI_CSC_ATTR_S;

HI_S32 HI_MPI_VI_SetDevAttr(VI_DEV ViDev, const VI_DEV_ATTR_S* pstDevAttr); /* while disabled */
HI_S32 HI_MPI_VI_SetWDRAttr(VI_DEV ViDev, const VI_WDR_ATTR_S* pstWDRAttr);
HI_S32 HI_MPI_VI_EnableDev(VI_DEV ViDev);
HI_S32 HI_MPI_VI_DisableDev(VI_DEV ViDev); /* its channels first */
HI_S32 HI_MPI_VI_SetChnAttr(VI_CHN ViChn, const VI_CHN_ATTR_S* pstAttr);
HI_S32 HI_MPI_VI_EnableChn(VI_CHN ViChn); /* its device first */
HI_S32 HI_MPI_VI_DisableChn(VI_CHN ViChn);
HI_S32 HI_MPI_VI_GetDCIParam(VI_DEV ViDev, VI_DCI_PARAM_S* pstDciParam);
HI_S32 HI_MPI_VI_SetDCIParam(VI_DEV ViDev, const VI_DCI_PARAM_S* pstDciParam);
HI_S32 HI_MPI_VI_GetCSCAttr(VI_DEV ViDev, VI_CSC_ATTR_S* pstCSCAttr);
HI_S32 HI_MPI_VI_SetCSCAttr(VI_DEV ViDev, const VI_CSC_ATTR_S* pstCSCAttr);

/* A picture in memory, by planes. A frame of sensor data has one, of 16 bits a sample. */
typedef struct {
  HI_U32 u32Width;
  HI_U32 u32Height;
  HI_U32 u32Stride[3]; /* samples from one row to the next */
  HI_U32 u32PhyAddr[3];
  HI_U64 u64pts; /* microseconds, when it came in */
} VIDEO_FRAME_S;

typedef struct {
  VIDEO_FRAME_S stVFrame;
  HI_U32 u32PoolId; /* the pool that its memory belongs to */
} VIDEO_FRAME_INFO_S;

/* Sensor data as it comes in, before any processing, is kept for the user in channel 17 + ViDev. */
HI_S32 HI_MPI_VI_EnableBayerDump(VI_DEV ViDev);  /* its device first */
HI_S32 HI_MPI_VI_DisableBayerDump(VI_DEV ViDev); /* frames that nobody took are gone */
/* How many frames wait for the user; a new one takes the place of the oldest. 0: none are kept. */
HI_S32 HI_MPI_VI_SetFrameDepth(VI_CHN ViChn, HI_U32 u32Depth);
/* Takes the oldest waiting frame. s32MilliSec: how long to wait for one; -1 without limit, 0 not at all. The frame
 * stays the user's, several at a time, until it is released. */
HI_S32 HI_MPI_VI_GetFrame(VI_CHN ViChn, VIDEO_FRAME_INFO_S* pstFrameInfo, HI_S32 s32MilliSec);
HI_S32 HI_MPI_VI_ReleaseFrame(VI_CHN ViChn, const VIDEO_FRAME_INFO_S* pstFrameInfo);

#ifdef __cplusplus
}
#endif
#endif

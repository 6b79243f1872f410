/* Video encoder: channels that make a JPEG of each picture which reaches them while they are told to take some. */
#ifndef LUMORA_SDK_HI_MPI_VENC_H
#define LUMORA_SDK_HI_MPI_VENC_H

#include "sdk/hi_mpi_sys.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef HI_S32 VENC_CHN;

typedef struct {
  HI_U32 u32MaxPicWidth;
  HI_U32 u32MaxPicHeight;
  HI_U32 u32BufSize; /* bytes of the channel's stream buffer */
  HI_U32 u32PicWidth;
  HI_U32 u32PicHeight;
  HI_BOOL bByFrame; /* a stream is taken a whole picture at a time */
  HI_BOOL bSupportDCF;
} VENC_ATTR_JPEG_S;

typedef struct {
  PAYLOAD_TYPE_E enType;
  VENC_ATTR_JPEG_S stAttrJpeg;
} VENC_ATTR_S;

typedef struct {
  VENC_ATTR_S stVeAttr;
} VENC_CHN_ATTR_S;

typedef struct {
  HI_U32 u32Qfactor; /* 1 to 99 */
} VENC_PARAM_JPEG_S;

typedef struct {
  HI_S32 s32RecvPicNum; /* pictures to take before the channel stops by itself; -1: no end */
} VENC_RECV_PIC_PARAM_S;

typedef struct {
  HI_U32 u32LeftPics;         /* pictures taken and not yet encoded */
  HI_U32 u32LeftStreamBytes;  /* bytes waiting in the stream buffer */
  HI_U32 u32LeftStreamFrames; /* pictures waiting there */
  HI_U32 u32CurPacks;         /* packs of the first of them; 0: nothing waits */
  HI_U32 u32LeftRecvPics;     /* pictures still to take, of s32RecvPicNum */
} VENC_CHN_STAT_S;

/* A piece of a stream. Its payload is at pu8Addr + u32Offset and u32Len - u32Offset bytes long. */
typedef struct {
  HI_U8* pu8Addr; /* the channel's own memory, valid until the stream is released */
  HI_U32 u32Len;
  HI_U64 u64PTS; /* microseconds, when the picture came in */
  HI_BOOL bFrameEnd;
  HI_U32 u32Offset;
} VENC_PACK_S;

typedef struct {
  VENC_PACK_S* pstPack; /* the caller's array */
  HI_U32 u32PackCount;  /* in: its length; out: packs filled in */
  HI_U32 u32Seq;
} VENC_STREAM_S;

HI_S32 HI_MPI_VENC_CreateChn(VENC_CHN VeChn, const VENC_CHN_ATTR_S* pstAttr);
HI_S32 HI_MPI_VENC_DestroyChn(VENC_CHN VeChn); /* after HI_MPI_VENC_StopRecvPic */
HI_S32 HI_MPI_VENC_GetJpegParam(VENC_CHN VeChn, VENC_PARAM_JPEG_S* pstJpegParam);
HI_S32 HI_MPI_VENC_SetJpegParam(VENC_CHN VeChn, const VENC_PARAM_JPEG_S* pstJpegParam);
HI_S32 HI_MPI_VENC_StartRecvPicEx(VENC_CHN VeChn, const VENC_RECV_PIC_PARAM_S* pstRecvParam);
HI_S32 HI_MPI_VENC_StopRecvPic(VENC_CHN VeChn); /* also on a channel that takes none */
/* The channel's descriptor, for select: readable while a stream waits. It stays the same and is never closed by the
 * caller. Negative on failure. */
HI_S32 HI_MPI_VENC_GetFd(VENC_CHN VeChn);
HI_S32 HI_MPI_VENC_Query(VENC_CHN VeChn, VENC_CHN_STAT_S* pstStat);
/* Takes the first waiting stream. s32MilliSec: how long to wait for one; -1 without limit, 0 not at all. */
HI_S32 HI_MPI_VENC_GetStream(VENC_CHN VeChn, VENC_STREAM_S* pstStream, HI_S32 s32MilliSec);
HI_S32 HI_MPI_VENC_ReleaseStream(VENC_CHN VeChn, VENC_STREAM_S* pstStream);

#ifdef __cplusplus
}
#endif
#endif

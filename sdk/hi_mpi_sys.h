/* System unit: alignment, the bindings that lead pictures from one unit to the next, and mappings of the chip. */
#ifndef LUMORA_SDK_HI_MPI_SYS_H
#define LUMORA_SDK_HI_MPI_SYS_H

#include "sdk/hi_type.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct {
  HI_U32 u32Width;
  HI_U32 u32Height;
} SIZE_S;

typedef struct {
  HI_S32 s32X;
  HI_S32 s32Y;
  HI_U32 u32Width;
  HI_U32 u32Height;
} RECT_S;

typedef enum { PIXEL_FORMAT_YUV_SEMIPLANAR_420 = 23 } PIXEL_FORMAT_E;
typedef enum { COMPRESS_MODE_NONE = 0 } COMPRESS_MODE_E;
typedef enum { WDR_MODE_NONE = 0 } WDR_MODE_E;
typedef enum { PT_JPEG = 26 } PAYLOAD_TYPE_E;

typedef enum {
  VIDEO_ENCODING_MODE_PAL = 0,
  VIDEO_ENCODING_MODE_NTSC = 1,
  VIDEO_ENCODING_MODE_AUTO = 2,
} VIDEO_NORM_E;

typedef enum {
  HI_ID_VPSS = 6,
  HI_ID_VENC = 7,
  HI_ID_VIU = 16,
} MOD_ID_E;

/* One end of a binding. */
typedef struct {
  MOD_ID_E enModId;
  HI_S32 s32DevId; /* device, or VPSS group */
  HI_S32 s32ChnId;
} MPP_CHN_S;

typedef struct {
  HI_U32 u32AlignWidth; /* bytes; the stride of every picture is a multiple of it */
} MPP_SYS_CONF_S;

HI_S32 HI_MPI_SYS_SetConf(const MPP_SYS_CONF_S* pstSysConf); /* before HI_MPI_SYS_Init */
HI_S32 HI_MPI_SYS_Init(void);                                /* after HI_MPI_VB_Init */
HI_S32 HI_MPI_SYS_Exit(void);                                /* also on a system that is not up */
HI_S32 HI_MPI_SYS_Bind(MPP_CHN_S* pstSrcChn, MPP_CHN_S* pstDestChn);
HI_S32 HI_MPI_SYS_UnBind(MPP_CHN_S* pstSrcChn, MPP_CHN_S* pstDestChn);

/* Physical memory or registers of the chip, from user space. Null if there is nothing to map. */
void* HI_MPI_SYS_Mmap(HI_U32 u32PhyAddr, HI_U32 u32Size);
HI_S32 HI_MPI_SYS_Munmap(void* pVirAddr, HI_U32 u32Size); /* with the size that it was mapped with */

/* A register of the chip's, by its physical address. */
HI_S32 HI_MPI_SYS_GetReg(HI_U32 u32Addr, HI_U32* pu32Value);
HI_S32 HI_MPI_SYS_SetReg(HI_U32 u32Addr, HI_U32 u32Value);

#ifdef __cplusplus
}
#endif
#endif

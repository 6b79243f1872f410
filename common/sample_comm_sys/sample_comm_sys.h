// The media system as a whole: picture sizes, buffer pools, start and end.
// Main thread; SAMPLE_COMM_SYS_Exit also from the signal handler.
#pragma once

#include "sdk/hi_mpi_sys.h"
#include "sdk/hi_mpi_vb.h"

// Bytes: the stride of every picture is a multiple of it.
constexpr HI_U32 SAMPLE_SYS_ALIGN_WIDTH = 64;

// Named picture sizes. The pipeline has one, and the name says what the chip calls it, not its width.
enum PIC_SIZE_E { PIC_UHD4K = 21 };

// Size in pixels of a named size: PIC_UHD4K is 3264 x 2448, under every norm.
// Returns HI_SUCCESS, or HI_FAILURE for a name that this build does not map; *pstSize is then untouched.
HI_S32 SAMPLE_COMM_SYS_GetPicSize(VIDEO_NORM_E enNorm, PIC_SIZE_E enPicSize, SIZE_S* pstSize);

// Bytes of one block of the common pool: both sides raised to `u32AlignWidth` (a power of two), two bytes a pixel for
// every format, and for 4:2:0 a header of 24 bytes a line. 16352640 for PIC_UHD4K aligned to 64.
// Returns 0 for a size that this build does not map.
HI_U32 SAMPLE_COMM_SYS_CalcPicVbBlkSize(VIDEO_NORM_E enNorm, PIC_SIZE_E enPicSize, PIXEL_FORMAT_E enPixFmt,
                                        HI_U32 u32AlignWidth);

// Clears what a former run left, then brings up pools and system.
// Returns HI_SUCCESS, or the code of the call that failed; what came up before it stays up.
HI_S32 SAMPLE_COMM_SYS_Init(const VB_CONF_S* pstVbConf);

// System, then pools. Harmless when they are not up.
void SAMPLE_COMM_SYS_Exit();

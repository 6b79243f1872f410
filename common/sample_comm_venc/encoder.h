// The two JPEG encoder channels: made here, started and stopped by each shot. Main thread.
#pragma once

#include "sdk/hi_mpi_venc.h"
#include "sdk/hi_mpi_vpss.h"

constexpr VENC_CHN VencChn0 = 0;  // full pictures, from VPSS channel 0
constexpr VENC_CHN VencChn1 = 1;  // half pictures, from VPSS channel 1

// Makes a JPEG channel of a given quality (1 to 99); _2 for pictures of `pstSize`, the other for half its width and
// height. Both get a stream buffer of two bytes a pixel of `pstSize`. The channel takes no picture yet.
// Returns HI_SUCCESS, or the code of the failed creation. Whether the quality was taken is not looked at.
HI_S32 SAMPLE_COMM_VENC_SnapStart_2(VENC_CHN VencChn, const SIZE_S* pstSize, HI_U32 u32Qfactor);
HI_S32 SAMPLE_COMM_VENC_SnapStart(VENC_CHN VencChn, const SIZE_S* pstSize, HI_U32 u32Qfactor);

// Stops the channel if it takes pictures and destroys it; tries both. The code of the first that failed, else
// HI_SUCCESS.
HI_S32 SAMPLE_COMM_VENC_Stop(VENC_CHN VencChn);

// Leads the pictures of a VPSS channel to an encoder channel, and takes that back.
HI_S32 SAMPLE_COMM_VENC_BindVpss(VENC_CHN VencChn, VPSS_GRP VpssGrp, VPSS_CHN VpssChn);
HI_S32 SAMPLE_COMM_VENC_UnBindVpss(VENC_CHN VencChn, VPSS_GRP VpssGrp, VPSS_CHN VpssChn);

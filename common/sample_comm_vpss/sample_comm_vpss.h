// Video processing: one group, its channels. Main thread.
#pragma once

#include "sdk/hi_mpi_vpss.h"

// Each returns HI_SUCCESS, or the code of the call that failed; it stops there and undoes nothing.
HI_S32 SAMPLE_COMM_VPSS_StartGroup(VPSS_GRP VpssGrp, const VPSS_GRP_ATTR_S* pstVpssGrpAttr);
HI_S32 SAMPLE_COMM_VPSS_EnableChn(VPSS_GRP VpssGrp, VPSS_CHN VpssChn, const VPSS_CHN_ATTR_S* pstVpssChnAttr,
                                  const VPSS_CHN_MODE_S* pstVpssChnMode);

// Each tries all its calls and returns the code of the first that failed, or HI_SUCCESS.
HI_S32 SAMPLE_COMM_VPSS_StopGroup(VPSS_GRP VpssGrp);
HI_S32 SAMPLE_COMM_VPSS_DisableChn(VPSS_GRP VpssGrp, VPSS_CHN VpssChn);

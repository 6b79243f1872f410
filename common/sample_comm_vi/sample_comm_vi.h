// Video input: the FPGA's stream on the LVDS lanes, taken as if it came from one sensor, and the ISP behind it.
// Main thread.
#pragma once

#include "common/sample_comm_isp/sample_comm_isp.h"
#include "common/sample_comm_sys/sample_comm_sys.h"
#include "sdk/hi_mipi.h"
#include "sdk/hi_mpi_vi.h"

// The sensor that stands at the input. The one whose part the FPGA plays.
enum SAMPLE_VI_MODE_E { SONY_IMX226_LVDS_4K_30FPS = 16 };

enum SAMPLE_VI_CHN_SET_E { VI_CHN_SET_NORMAL = 0, VI_CHN_SET_MIRROR = 1 };

struct SAMPLE_VI_CONFIG_S {
  SAMPLE_VI_MODE_E enViMode;
  VIDEO_NORM_E enNorm;
  HI_S32 enRotate;  // 0: none; the only one
  SAMPLE_VI_CHN_SET_E enViChnSet;
  WDR_MODE_E enWDRMode;
  SAMPLE_FRAME_RATE_E enFrmRate;
};

// What the FPGA must send: the receiver's record.
extern const MIPI_DEV_ATTR_S LVDS_4lane_SENSOR_IMX226_SIMULATOR_10BIT_8M_NOWDR_ATTR;
// What the input makes of it: the device's attributes, with no rectangle yet.
extern const VI_DEV_ATTR_S DEV_ATTR_LVDS_BASE;

// The picture size of a sensor: PIC_UHD4K, whatever sensor it is. Always HI_SUCCESS.
HI_S32 SAMPLE_COMM_VI_GetSizeBySensor(SAMPLE_VI_MODE_E enMode, PIC_SIZE_E* penSize);

// Whether the mode's pictures need the ISP.
HI_BOOL IsSensorInput(SAMPLE_VI_MODE_E enViMode);

// Receiver, ISP with its thread, device 0, channel 0, in this order; stops at the first that fails.
// Returns HI_SUCCESS, or the code of that step. Undoes nothing: SAMPLE_COMM_VI_StopVi undoes all, failed or not.
HI_S32 SAMPLE_COMM_VI_StartVi(const SAMPLE_VI_CONFIG_S* pstViConfig);
void SAMPLE_COMM_VI_StopVi(const SAMPLE_VI_CONFIG_S* pstViConfig);

// The steps of StartVi.
HI_S32 SAMPLE_COMM_VI_StartIspAndVi(const SAMPLE_VI_CONFIG_S* pstViConfig);
HI_S32 SAMPLE_COMM_VI_StartMIPI(const SAMPLE_VI_CONFIG_S* pstViConfig);
HI_S32 SAMPLE_COMM_VI_SetMipiAttr(const SAMPLE_VI_CONFIG_S* pstViConfig);
HI_S32 SAMPLE_COMM_VI_StartDev(VI_DEV ViDev);
HI_S32 SAMPLE_COMM_VI_StartChn(VI_CHN ViChn, const RECT_S* pstCapRect, const SIZE_S* pstTarSize,
                               const SAMPLE_VI_CONFIG_S* pstViConfig);

// Leads the pictures of channel 0 to VPSS group 0, and takes that back.
HI_S32 SAMPLE_COMM_VI_BindVpss();
HI_S32 SAMPLE_COMM_VI_UnBindVpss();

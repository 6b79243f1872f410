// What the ISP and its libraries start from. Thread that starts the ISP.
// All four: HI_SUCCESS, or HI_FAILURE with a line on standard output for a null pointer.
#pragma once

#include "sdk/hi_mpi_sensor.h"

// No black level at all, and never an update: the ISP leaves the pictures' black alone.
HI_S32 cmos_get_isp_black_level(ISP_CMOS_BLACK_LEVEL_S* pstBlackLevel);

// Noise, sharpness, gamma and the like, in tables of our own.
HI_S32 cmos_get_isp_default(ISP_CMOS_DEFAULT_S* pstDef);

// Lines of the mode that stands, limits of exposure and gains.
HI_S32 cmos_get_ae_default(AE_SENSOR_DEFAULT_S* pstAeSnsDft);

HI_S32 cmos_get_awb_default(AWB_SENSOR_DEFAULT_S* pstAwbSnsDft);

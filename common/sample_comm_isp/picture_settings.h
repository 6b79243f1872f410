// What the ISP is told anew for each exposure of a shot.
#pragma once

#include "common/fpga_ctrl/capture/isp_params.h"
#include "common/types.h"
#include "sdk/hi_type.h"

// Strength of noise reduction, for the frames that enter the ISP from now on. Main thread.
// Always 0, whatever the ISP answers: a shot goes on with the settings that it has.
HI_S32 SAMPLE_VENC_1080P_MJPEG_JPEG_set_NR(BYTE nr);

// Sharpening, before and after the colours are made; the second is thereby switched to manual. As above otherwise.
HI_S32 SAMPLE_VENC_1080P_MJPEG_JPEG_set_Sharpen(const LUMO_ISP_BAYER_SHARPEN_S* stShp,
                                                const LUMO_ISP_BAYER_SHARPEN_EX_S* stShpEx,
                                                const LUMO_ISP_YUV_SHARPEN_MANUAL_ATTR_S* stManual);

// The chip's media pipeline: one input fed by the FPGA, the ISP, one VPSS group with a full and a half channel, a JPEG
// encoder on each. Built once, never changed but for the noise and sharpen settings of each exposure.
#pragma once

#include "common/control_signals.h"
#include "common/fpga_ctrl/capture/isp_params.h"
#include "sdk/hi_type.h"

// Builds the pipeline, stays in the snap loop until `needQuit`, puts the array to rest and tears the pipeline down.
// If a step fails, the snap loop is not entered, and all levels reached so far are undone, the failed one included.
// Main thread. Returns 0 after a normal quit, else the code of the step that failed.
HI_S32 SAMPLE_VENC_1080P_MJPEG_JPEG(ControlSignals* ctrlSigs);

// Strength of noise reduction, for the frames that enter the ISP from now on. Main thread.
// Always 0, whatever the ISP answers: a shot goes on with the settings that it has.
HI_S32 SAMPLE_VENC_1080P_MJPEG_JPEG_set_NR(BYTE nr);

// Sharpening, before and after the colours are made; the second is thereby switched to manual. As above otherwise.
HI_S32 SAMPLE_VENC_1080P_MJPEG_JPEG_set_Sharpen(const LUMO_ISP_BAYER_SHARPEN_S* stShp,
                                                const LUMO_ISP_BAYER_SHARPEN_EX_S* stShpEx,
                                                const LUMO_ISP_YUV_SHARPEN_MANUAL_ATTR_S* stManual);

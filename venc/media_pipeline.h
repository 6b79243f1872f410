// The chip's media pipeline: one input fed by the FPGA, the ISP, one VPSS group with a full and a half channel, a JPEG
// encoder on each. Built once, never changed but for the settings of each exposure (picture_settings.h).
#pragma once

#include "common/control_signals.h"
#include "sdk/hi_type.h"

// Builds the pipeline, stays in the snap loop until `needQuit`, puts the array to rest and tears the pipeline down.
// If a step fails, the snap loop is not entered, and all levels reached so far are undone, the failed one included.
// Main thread. Returns 0 after a normal quit, else the code of the step that failed.
HI_S32 SAMPLE_VENC_1080P_MJPEG_JPEG(ControlSignals* ctrlSigs);

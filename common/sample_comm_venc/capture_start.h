// Opens a shot: the array exposes, the encoder channels start, the shot file gets its head, the first stored frame is
// on its way. Main thread, from the snap loop only.
#pragma once

#include "common/control_signals.h"
#include "common/sample_comm_venc/venc_status.h"

// Returns 0 with needCapture 0, or the negative of the code that it left in needCapture:
//   1  LumoCapture failed; the array has been re-initialised
//   2  channel 0 did not start           3  channel 1
//   4  no usable descriptor, channel 0   5  channel 1
//   6  CameraConf_800 missing            7  CameraVignet_800 missing
//   8  the shot file cannot be created
// After 2 to 8 the array stays awake; stopping the channels is the caller's. needSave is not touched. The head is
// flushed before the first frame, so a power cut leaves a file with a full head and an empty index.
//
// A single-camera shot (saveSingle not 0) opens a plain JPEG and needs no calibration files; it takes precedence over
// twoHalfIdx. With twoHalfIdx 2 the file of the first half goes on, open or not.
int LumoVencCapture(LumoVencStatus* en, ControlSignals* ctrlSigs);

// Sets the ISP's noise and sharpen settings for frames of this gain, in sixteenths.
void LumoApplyGain(int gain);

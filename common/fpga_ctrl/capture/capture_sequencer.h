// One whole shot into the memory of the layers, and the stored frames out again, one at a time.
//
// All 25 sensors expose together through the brackets; every frame lands in the store of the layer that owns its
// sensor, at address camIdx x 6 + bracket. Frames leave along the chain layer 0 -> 1 -> 2 -> video input.
//
//   Standby -> LumoCapture -> LumoLoadNew ... -> LumoCaptureEnd -> Standby
//
// LumoCapture and LumoCaptureEnd: snap thread. LumoLoadNew: the thread that owns the shot at that moment, the snap
// thread, or the control thread during a raw dump. Nothing locks the link or the memory of the chain's position;
// turn-taking through `needCapture`, `needSave` and `rawLoadInfo` does.
#pragma once

#include "common/control_signals.h"
#include "common/types.h"

// Takes a shot; up to three attempts, each after the first with the array's power cycled and its bitstream reloaded.
//   totalColumns    out: pixel clock cycles (120 MHz) of one sensor row; set before the first attempt
//   shutterLines, totalLines, gain
//                   out: six entries each, rows, rows, and 16 for unity; left alone if the layers never measured
//   vertexX, vertexY, vertexReady
//                   out: tilt in 1e-08 radian, zeroed when the exposure is set and read then if vertexReady is 1;
//                   they stay 0 if the motion sensor gives none
//   finalExposure   in with twoHalfIdx 2, out of an automatic shot with any other: base exposure, rows x gain
//   twoHalfIdx, captureMode, strobeMode, evCompVal, isoMode, manualExpsUs, manualIso
//                   as the fields of ControlSignals
// Fills `camTemp`. Returns 0 (or above) with all frames stored, sensors in reset, layers awake and layer 0 connected;
// negative with the array in standby: -1 it could not be set up, -2 the exposures were not taken or came with row
// errors, -3 the frames were not saved. Takes seconds; polls the link without a pause while the sensors expose.
int LumoCapture(ControlSignals* ctrlSigs, int* totalColumns, int* shutterLines, int* totalLines, int* gain,
                int* vertexX, int* vertexY, int vertexReady, int* finalExposure, BYTE twoHalfIdx, BYTE captureMode,
                BYTE strobeMode, int8_t evCompVal, BYTE isoMode, int manualExpsUs, int manualIso);

// Wakes the array, sets all sensors up and starts them; the layers then measure, and hold the first exposure steps.
//   exposureOrg  rows that the measurement starts with, cut to 8 to 0x8E0
//   hdrEn        not 0: bracketed capture
//   columnSize   sensors' line length
// Returns 0, or -1 with the array in standby. With the serial adapter in, position and compass are read into ctrlSigs.
int LumoCapturePrepare(ControlSignals* ctrlSigs, uint16_t exposureOrg, BYTE hdrEn, BYTE captureMode,
                       uint16_t columnSize);

// Queues one exposure step: at the next frame start all sensors take the next exposure set. Nineteen commands in
// each layer's FIFO; the layers carry out one step a frame.
void LumoCaptureAEAGConf(uint16_t columnSize);

// Sends the stored frame `imgIdx` (camIdx x 6 + bracket) of a layer to the video input. Waits for a load that still
// runs, without a limit. Steps along the chain one layer at a time only: from layer 0 to 2 or back, load a frame of
// layer 1 between.
void LumoLoadNew(BYTE layIdx, BYTE imgIdx);

// Back to standby after the last frame.
void LumoCaptureEnd();

// The module with GPS receiver and compass behind layer 0, there when `usbMode` has bit 2. The layer answers for it in
// the register range of its camera 0, from 0xFF00 up. Same threads as spi_link.h.
#pragma once

#include "common/control_signals.h"
#include "common/types.h"

// Reads position, heading and tilt. The array must be awake. A byte that cannot be read is taken as what its failure's
// number ends in, 0xFD to 0xFF. Always 0.
//   longitude, latitude  degrees x 10,000,000, south and west negative
//   compassValue         hundredths of a degree, -18000 to 18000: where the camera's x axis points, from magnetic
//                        north to the east
//   gpsState             1, or 0 if both numbers are 0: no position
//   vertexReady          1 asks the motion sensor for the tilt, else the camera counts as level
int LumoReadGpsCompass(Shared<int>* longitude, Shared<int>* latitude, Shared<int>* compassValue, Shared<BYTE>* gpsState,
                       int vertexReady);

// The same out of standby and back to it, into the fields of `ctrlSigs`. Returns `gpsState`; -1 without the module,
// -2 the array did not wake, -3 the reading failed. Control thread.
int LumoGetGpsState(ControlSignals* ctrlSigs);

// Starts (`modeStart` not 0) or ends the compass calibration, out of standby and back to it. Returns 0; -1 the array
// did not wake; -2 the first byte of the latitude was not 0, though the command went out. Control thread.
int LumoCompassCalibrate(BYTE modeStart);

// The 25 image sensors, of one type (chip id 0x8865), reached only through the layers. They keep their set-up while
// they run and lose it in reset, so it is written anew before every shot.
// Same threads as spi_link.h. All calls that fail leave the array in standby.
#pragma once

#include "common/control_signals.h"
#include "common/types.h"

// Writes the whole set-up to all sensors, which must be out of reset; they do not stream yet.
// Returns 0; -1 the layers were not ready before it, -3 not ready after it.
int LumoInitAllCameras();

// Changes four white balance entries of the sensor set-up for the rest of the run, if the lens asks for it (12, 13).
// Main thread, before the first shot.
void LumoSetSensorTableLens(int lensType);

// Reads all sensors' temperatures into `camTemp`, degrees Celsius. The sensors must be streaming; the array stays
// awake. A sensor that cannot be read leaves a value without meaning; if no layer is ready `camTemp` stays.
void GetCameraTemperature(ControlSignals* ctrlSigs);

// The same out of standby and back to it, for a reading outside a shot. Takes about half a second. Control thread.
void ReadCameraTemperature(ControlSignals* ctrlSigs);

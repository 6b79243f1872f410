// The whole device, opened and closed as one. Main thread alone.
#pragma once

#include "common/control_signals.h"

// Once at start-up, before any other thread: clock, pins, co-processor, storage colour, the disk's picture folder,
// the array (left in standby), sensor table by lens. Sets `stcSpiMode` and the LED bits.
// Returns 0; -1 the folder can be neither written nor made, -2 SPI bus, -3 array, -4 no camera calibration.
int LumoDeviceOpen(ControlSignals* ctrlSigs);

// Array to standby, bus closed.
void LumoDeviceClose();

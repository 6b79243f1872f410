// Start and end of the sensor that is not there: its sequences run, and the chip's timing with them.
#pragma once

#include "sdk/hi_type.h"

// Stops the timing, runs the start sequence with its waits (about 200 ms), starts the timing of the mode that stands,
// and says so on standard output. A mode that does not exist starts nothing. Thread that starts the ISP.
void sensor_init();

void sensor_exit();

// For the search of bad pixels the ISP would have the sensor dark and slow. The FPGA's cameras are neither, and no
// register is reached: nothing is left to do.
void cmos_set_pixel_detect(HI_BOOL bEnable);

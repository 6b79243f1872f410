// The sensor description, handed to the ISP and its two libraries. Main thread, before HI_MPI_ISP_Init.
#pragma once

#include "sdk/hi_type.h"

// Does nothing: the settings are in the code, and the directory is never read. Always 0.
int sensor_set_inifile_path(const char* pcPath);

// Registers the callbacks with ISP 0, then with its exposure library, then with its white balance library.
// HI_SUCCESS, or the code of the one that was refused, with a line on standard output; what came before it stays.
HI_S32 sensor_register_callback();

// Undoes all three, whether or not one is refused. HI_SUCCESS, or the code of the last that was refused.
HI_S32 sensor_unregister_callback();

// The kernel modules of the USB adapters, which the program carries. Main thread, at start.
#pragma once

// Lays them out in the working directory, where they are missing. An existing file is never compared or replaced.
void LumoInitKOFiles();

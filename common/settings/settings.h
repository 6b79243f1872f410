// What the device remembers from one start to the next: the user's settings on the disk, which follow the disk and not
// the camera, and the tilt offset and model number on its own flash. All three are key=value files; numbers are taken
// by LumoNumber and cut to their field's width, without a range test.
#pragma once

#include "common/control_signals.h"

// Loads the settings from /mnt/udisk/DCIM/setting.ini. A key that it does not name leaves its field alone. `saveRaw` is
// 0 afterwards if the file names it, whatever it says: raw frames are asked for shot by shot.
// Returns 0, or -1 if there is no such file. Main thread, at start.
int LumoLoadSetting(ControlSignals* ctrlSigs);

// Writes the settings, but for `muteMode`, which lasts until the power goes. A file that does not open is not reported:
// the settings are then lost at the next start. Main thread at start; control thread and HTTP threads, without a lock,
// as their writes follow what a user does.
void LumoSaveSetting(ControlSignals* ctrlSigs);

// Loads `plusVertexX` and `plusVertexY` from vertex.ini. Main thread, at start.
void LumoLoadVertex(ControlSignals* ctrlSigs);

// Loads `deviceId` from info.ini, then overrides it with 4 if the calibration's first lens is of a type above 10.
// Main thread, at start.
void LumoLoadInfo(ControlSignals* ctrlSigs);

// The device's serial number: one stable number per device, never negative as an int, since it is shown as one. It is
// a hash of the camera calibration, which is different for each device and never written by it; 0 without that file.
unsigned int CalcSerailNo();

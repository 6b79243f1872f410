// The disk's room, the LED colour that shows it, and the list of finished shots.
#pragma once

#include "common/control_signals.h"

// Where the shots and the user's settings lie, on the disk.
constexpr char kShotFolder[] = "/mnt/udisk/DCIM/";

// Sizes of the file system at /mnt/udisk in KB of 1,024 bytes, counting all free blocks, not only those of ordinary
// users. 0 for both, with a line in the log, if it cannot be asked. Any thread.
void LumoCheckStorage(unsigned int* freeKBs, unsigned int* totalKBs);

// 1 if there is room for a shot: more than 256 MB. A disk that cannot be asked has none. Any thread.
BYTE LumoStorageEnough();

// Takes the colour of the free space into `ledCtrl0B`, `ledCtrl0G` and `ledCtrl0R` and puts it on LED 0. Control
// thread, and the main thread while the device is being opened.
void LumoUpdateStorageLED(ControlSignals* ctrlSigs);

// Whether `errFileList` holds the name. At most kErrFileNameSize characters are compared. Any thread.
bool LumoIsErrFile(const ControlSignals* ctrlSigs, const char* name);

// Writes `fileList` anew: 16 bytes of head room, then the base name of each finished shot and CR LF, in the order in
// which the directory gives them, without the names in `errFileList`. Shots that find no room in the list are left
// out; a list that is filled to its last byte has no terminator. Control thread; the list is cleared first, so a
// reader on another thread may see it short.
// Returns 0, or -1 if the shots' directory cannot be opened (the list is then empty).
int LumoUpdateFileList(ControlSignals* ctrlSigs);

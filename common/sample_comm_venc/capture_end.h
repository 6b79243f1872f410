// Closes a shot: index, sizes, thumbnail, final name.
#pragma once

#include "common/control_signals.h"
#include "common/sample_comm_venc/venc_status.h"

// Stops both channels and finishes the file: a whole shot gets its index and JPEG section size patched in, its
// thumbnail behind the JPEGs and the name it keeps; a single-camera shot only its name; the first half of a two-half
// shot stays open for the second. jpgFileBuf must hold the half JPEG of the thumbnail's camera; it is overwritten.
// A file that gets its name is on the disk when this returns: two syncs, of at most the kernel's waiting writes.
//
// Returns 0 if needSave still holds 0xFF, which the caller then clears, or the negative of the code left in needSave:
//   1  channel 0 does not stop   2  channel 1 (wins over 1)     the file stays open
//   3  no file is open
//   4  seek to the index    5  index not written    6  seek to the JPEG section's size    8  seek to the end
//   9  no memory    10  no usable half JPEG for the thumbnail    11  thumbnail not encoded
// After 4 to 11 the file is closed and keeps its temporary name. 7 is not used. The final rename is not checked.
int LumoVencCaptureEnd(LumoVencStatus* en, ControlSignals* ctrlSigs);

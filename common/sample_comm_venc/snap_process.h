// The loop that turns requests into shots. The main thread sits in it from the moment when the media pipeline stands
// until the process quits.
#pragma once

#include "common/control_signals.h"

// Waits for needCapture 0xFF, opens a shot, has the array replay its stored frames one by one, files what the two
// encoder channels make of them and closes the shot; asks again for frames that stay out; with saveRaw, follows a whole
// shot by a raw pass. needQuit is looked at between shots only.
//
// A timeout (300 ms) steps the sequence back by one and is counted, except at the start of the sequence and of the
// layers 1 and 2, where the same entry is asked for without limit. At 8, 16 and 24 counted timeouts the shot starts
// anew, unless it is half of a two-half shot; at 32 it is given up. The count goes on over a restart.
//
// Returns 0 after needQuit, -1 if the pack buffer cannot be allocated (needSave then stays at 0xFF).
//
// needSave: 0 after a good shot, the code of capture_end.h after a failed close, that of raw_dump.h after a failed raw
// pass, whose shot file is good all the same, or
//   10  too many retries, a timeout of a single-camera shot, or a channel that cannot be queried
//   11  channel 0 does not give its stream     12  channel 1
// needCapture: see capture_start.h; 0xFF again for a restart.
int LumoVencSnapProcess(ControlSignals* ctrlSigs);

// How much of a finished shot is lost if the battery is taken out some time after the camera has said that it is saved,
// and what the syncs of a shot cost.
#pragma once

#include <cstdio>

namespace campaign {

// Prints a line for each time; `shots` of each, by seeds. `synced` false: with a kernel that refuses each sync, which
// leaves what a camera without them would.
void PrintAfterSaved(FILE* out, int shots, bool synced);

// Prints the board time of both syncs of a shot, by write speed of the stick, for a shot of rendered pictures.
void PrintSyncCost(FILE* out);

}  // namespace campaign

// The prompt: commands from standard input while the board runs.
#pragma once

#include "twin/console/console.h"
#include "twin/console/status_display.h"

namespace twin {

// Reads and carries out lines until `quit`, the end of the input or a signal. In real pace the board goes on while
// nobody types. In free pace, and paused, its time stands still at the prompt and moves with `wait` and `step` alone.
// Mistakes and failed expectations are told and change nothing. `status` may be null.
void RunPrompt(Console& console, StatusDisplay* status);

}  // namespace twin

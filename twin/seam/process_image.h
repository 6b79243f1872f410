// The application's variables. A process starts with fresh ones; ours is started again and again inside one host
// process, so they are put back to their first values each time.
#pragma once

namespace twin {

// Puts every variable of the application (its .data and .bss) back to what the program file says. The first call
// remembers that state, so it must come before any application code has run.
void ResetProcessImage();

}  // namespace twin

// The array's way into life and back to rest.
//
//   Unconfigured  no power, or no bitstream loaded since it came
//   Standby       configured, suspended, sensors in reset: where the array is whenever nobody uses it
//   Awake         configured, running, sensors out of reset and not yet set up
//
// Same threads as spi_link.h.
#pragma once

#include "common/types.h"

// Loads a bitstream of `dataSize` bytes into all layers. The shared reset and INIT pin must be an input.
// Returns 0; -1 INIT did not rise, out of memory or the transfer failed, -2 DONE stayed low, -3 INIT fell after it.
int LumoSpiFpgaConf(const BYTE* confData, int dataSize);

// Unconfigured to standby, with a look at every sensor's chip id; a wrong one is only logged.
// Returns 0; -1 configuration failed, -3 the layers did not become ready. In standby in every case. Takes about 1 s.
int LumoFpgaInit();

// From any state; cannot fail.
void LumoFpgaStandby();

// Standby to awake. Returns 0 ready, -1 the link failed, -2 not ready in time; the array is then still awake.
int LumoFpgaAwake();

// The last resort after a failed shot: power off, on, LumoFpgaInit, whatever its outcome.
void LumoFpgaReInit();

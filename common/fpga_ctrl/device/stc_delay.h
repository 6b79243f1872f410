// The unit of all timing on the co-processor link.
#pragma once

// An empty double loop of 40 times 47 turns, without sleeping. The counts were found with counters that live in memory,
// where a turn costs a store and its loads: about 15 us at 1 GHz. In registers it would be several times shorter, and
// too short for the co-processor. No other figure is known for it. Any thread.
void LumoStcSpiDelay();

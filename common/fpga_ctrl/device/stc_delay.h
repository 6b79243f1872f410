// The unit of all timing on the co-processor link.
#pragma once

// An empty double loop of 40 times 47 turns, without sleeping: its length follows from the processor's speed, and no
// other figure is known for it. Any thread.
void LumoStcSpiDelay();

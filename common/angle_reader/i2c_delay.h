// The unit of time on the software I2C bus: a busy wait whose real length follows from the processor's speed. As with
// the co-processor's, the counters live in memory, which makes it about 2 us at 1 GHz: two of them hold the clock low
// for longer than the 1.3 us that the motion sensor needs.
#pragma once

void LumoI2cDelay();

// The unit of time on the software I2C bus: a busy wait whose real length follows from the processor's speed.
#pragma once

void LumoI2cDelay();

// The motion sensor's self test: it moves its own masses, and the answer is held against the factory's trim.
// Costs about half a second. Its result and the biases that it measures change nothing: they would go to the DMP only
// if a compass had passed as well, and there is none.
#pragma once

#include "common/angle_reader/motion_sensor.h"

// Bit 0 the gyroscope passed, bit 1 the accelerometer. The DMP must not run yet. The settings are as before afterwards.
int mpu_run_self_test(float* gyroBias, float* accelBias);  // degrees per second, g; three each

void run_self_test();

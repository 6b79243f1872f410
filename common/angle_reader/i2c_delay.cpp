#include "common/angle_reader/i2c_delay.h"

void LumoI2cDelay() {
  volatile int outer = 0;
  while (outer < 5) {
    volatile int inner = 0;
    while (inner < 47) inner = inner + 1;
    outer = outer + 1;
  }
}

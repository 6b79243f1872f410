#include "common/angle_reader/i2c_delay.h"

void LumoI2cDelay() {
  for (int i = 0; i < 5; i++) {
    for (int j = 0; j < 47; j++) __asm__ volatile("");
  }
}

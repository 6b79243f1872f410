#include "common/fpga_ctrl/device/stc_delay.h"

void LumoStcSpiDelay() {
  for (int outer = 0; outer < 40; outer++) {
    // The empty statement keeps the compiler from seeing that nothing is done here.
    for (int inner = 0; inner < 47; inner++) asm volatile("");
  }
}

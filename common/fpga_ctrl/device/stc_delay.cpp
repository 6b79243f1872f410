#include "common/fpga_ctrl/device/stc_delay.h"

void LumoStcSpiDelay() {
  volatile int outer = 0;
  while (outer < 40) {
    volatile int inner = 0;
    while (inner < 47) inner = inner + 1;
    outer = outer + 1;
  }
}

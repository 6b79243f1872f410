#include "common/fpga_ctrl/device/pulses.h"

#include <unistd.h>

#include "common/fpga_ctrl/array/gpio.h"

void LumoSetPulseLines(BYTE isHigh, BYTE muteMode) {
  LumoGpioSetLedEn0(isHigh);
  LumoGpioSetBuzzerOff(isHigh, muteMode);
}

void LumoPulseTrain(int toggles, BYTE muteMode) {
  for (int i = 0; i < toggles; i++) {
    usleep(100 * 1000);
    LumoSetPulseLines(static_cast<BYTE>(i % 2), muteMode);
  }
}

#include "common/fpga_ctrl/device/device.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "common/calibration.h"
#include "common/fpga_ctrl/array/bring_up.h"
#include "common/fpga_ctrl/array/camera_sensors.h"
#include "common/fpga_ctrl/array/gpio.h"
#include "common/fpga_ctrl/array/spi_link.h"
#include "common/fpga_ctrl/device/clock.h"
#include "common/fpga_ctrl/device/stc_link.h"
#include "common/fpga_ctrl/device/storage.h"
#include "common/log.h"

namespace {

// LED 0 and buzzer, three times off and on: the disk cannot be used.
void SignalUnusableDisk() {
  for (int round = 0; round < 6; round++) {
    usleep(100 * 1000);
    LumoGpioSetLedEn0(round & 1);
    LumoGpioSetBuzzerOff(round & 1, 0);
  }
}

}  // namespace

int LumoDeviceOpen(ControlSignals* ctrlSigs) {
  LumoGetRtcTime();
  LumoGpioInit();

  const BYTE firstReply = LumoStcSpiReadWrite(1, 1, 1, 0);
  const BYTE secondReply = LumoStcSpiReadWrite(1, 1, 1, 0);
  fprintf(g_lumoDebug, "LumoStcSpiReadWrite:%d\n", secondReply);
  const bool firstIdle = firstReply == 0 || firstReply == 0xFF;
  const bool secondIdle = secondReply == 0 || secondReply == 0xFF;
  ctrlSigs->stcSpiMode = firstIdle && secondIdle ? 0 : 1;

  LumoUpdateStorageLED(ctrlSigs);

  if (access(kShotFolder, W_OK) < 0 && mkdir(kShotFolder, 0777) < 0) {
    SignalUnusableDisk();
    LumoLog("mkdir error\n");
    return -1;
  }
  if (LumoSpiInit() < 0) {
    LumoLog("LumoSpiInit error\n");
    return -2;
  }
  if (LumoFpgaInit() < 0) {
    LumoLog("LumoFpgaInit error\n");
    return -3;
  }

  CameraConfInfo camConfInfos[kCameraCount];
  const int read = LumoReadCameraConf(camConfInfos);
  if (read < 0) {
    LumoLog("Read CameraConf_800 error\n");
    return -4;
  }
  if (read >= static_cast<int>(sizeof(CameraConfInfo))) LumoSetSensorTableLens(camConfInfos[0].lensType);
  return 0;
}

void LumoDeviceClose() {
  LumoFpgaStandby();
  LumoSpiExit();
}

#include "common/usbserial/display_line.h"

#include <cstdio>

#include "common/bounds.h"
#include "common/fpga_ctrl/device/stc_link.h"
#include "common/fpga_ctrl/device/storage.h"
#include "common/log.h"
#include "common/usbserial/port.h"

static constexpr int kLineSize = 19;
static constexpr int kMostPercent = 99;  // keeps two places

DisplayLevels LumoReadDisplayLevels(ControlSignals* ctrlSigs) {
  unsigned int freeKBs = 0;
  unsigned int totalKBs = 0;
  LumoCheckStorage(&freeKBs, &totalKBs);
  const unsigned int percent = totalKBs / 100;
  const unsigned int storage = percent == 0 ? 0 : freeKBs / percent;  // a disk that cannot be asked is full
  const int battery = LMin(LMax(LumoGetBatteryLevel(ctrlSigs), 0), kMostPercent);
  return {storage < kMostPercent ? static_cast<int>(storage) : kMostPercent, battery};
}

void LumoSendDisplayLine(ControlSignals* ctrlSigs, DisplayLine line, const DisplayLevels& levels, bool hasPosition) {
  const char address = static_cast<char>('0' + ctrlSigs->wirelessId);
  const int storage = levels.storageLevel;
  const int battery = levels.batteryLevel;
  char uartSendBuf[32] = {};
  const size_t size = sizeof(uartSendBuf);
  switch (line) {
    case kLineReady:
      snprintf(uartSendBuf, size, "X%cReady    %c %02d %02d0", address, hasPosition ? 'Y' : 'N', storage, battery);
      break;
    case kLineCapture: snprintf(uartSendBuf, size, "X%cCapture    %02d %02d0", address, storage, battery); break;
    case kLineSave: snprintf(uartSendBuf, size, "X%cSave       %02d %02d0", address, storage, battery); break;
    case kLineShot:
      snprintf(uartSendBuf, size, "X%c%s %02d %02d0", address, ctrlSigs->oriInfo, storage, battery);
      break;
    case kLineDiskFull: snprintf(uartSendBuf, size, "X%cDisk Full  %02d %02d0", address, storage, battery); break;
    case kLineError: snprintf(uartSendBuf, size, "X%cError      %02d %02d0", address, storage, battery); break;
  }
  HI_Serial_Send(ctrlSigs->serialFd, uartSendBuf, kLineSize);
  fprintf(g_lumoDebug, "Serial Send: %s\n", uartSendBuf);
}

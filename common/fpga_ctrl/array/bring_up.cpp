#include "common/fpga_ctrl/array/bring_up.h"

#include <unistd.h>

#include <array>
#include <cstdlib>

#include "common/bounds.h"
#include "common/cameras.h"
#include "common/fpga_ctrl/array/fpga_commands.h"
#include "common/fpga_ctrl/array/gpio.h"
#include "common/fpga_ctrl/array/registers.h"
#include "common/fpga_ctrl/array/write_cipher.h"
#include "common/fpga_ctrl/device/clock.h"
#include "common/log.h"

// The bitstream, a configuration stream with the sync word 0xAA995566; see venc/blobs.S.
constexpr int kConfDataSize = 1396280;
extern "C" const BYTE confData[kConfDataSize];

namespace {

constexpr int kConfBufBytes = 0x100000;
static_assert(kConfDataSize > kConfBufBytes && kConfDataSize <= 2 * kConfBufBytes, "the load takes two transfers");

constexpr unsigned int kClockUnconfigured = 0x04;
constexpr unsigned int kClockConfigured = 0x14;

// What every sensor must answer.
struct ChipIdByte {
  uint16_t cciAddr;
  BYTE value;
};
constexpr std::array<ChipIdByte, 2> kChipId = {{{0x300B, 0x88}, {0x300C, 0x65}}};

void SetClock(unsigned int value) { himm(1, kClockControl, &value); }

// The reset of the layers and their INIT line are one pin: an input during configuration, an output at all other times.
void SetSharedPinOutput(bool isOutput) {
  unsigned int direction = 0;
  himm(0, kFpgaSharedPinDirection, &direction);
  direction = isOutput ? direction | kFpgaSharedPinBit : direction & ~static_cast<unsigned int>(kFpgaSharedPinBit);
  himm(1, kFpgaSharedPinDirection, &direction);
}

void PulseFpgaReset() {
  LumoGpioSetFpgaResetn(0);
  usleep(1000);
  LumoGpioSetFpgaResetn(1);
}

// Sends the stream in its stored byte order, so each word has its first byte in the high half; a missing last byte
// is sent as 0. Returns the words of the transfer that failed, or 0.
int SendConfStream(const BYTE* data, int dataSize, uint16_t* sendBuf, uint16_t* receiveBuf) {
  for (int done = 0; done < dataSize;) {
    const int remaining = dataSize - done;
    const int bufSize = LMin((remaining + 1) / 2, kConfBufBytes / 2);
    for (int word = 0; word < bufSize; word++) {
      const int first = done + word * 2;
      const unsigned int low = first + 1 < dataSize ? data[first + 1] : 0;
      sendBuf[word] = static_cast<uint16_t>(static_cast<unsigned int>(data[first]) << 8 | low);
    }
    if (LumoSpiTransfer(sendBuf, receiveBuf, static_cast<unsigned int>(bufSize) * 2) < 0) return bufSize;
    done += bufSize * 2;
  }
  return 0;
}

// A sensor that answers wrongly twice is only logged.
void CheckChipIds() {
  for (int layIdx = kLayers - 1; layIdx >= 0; layIdx--) {
    for (int camIdx = 0; camIdx < kLayerCameras[layIdx]; camIdx++) {
      for (const ChipIdByte& id : kChipId) {
        int readReg = LumoSpiCciRead(static_cast<BYTE>(layIdx), static_cast<BYTE>(camIdx), id.cciAddr, 500);
        if (readReg == id.value) continue;
        LumoLogAs("LumoFpgaInit", "LumoSpiCciRead 0x%04X(0x%02X) error, layIdx = %d, camIdx = %d, readReg = %d\n",
                  id.cciAddr, id.value, layIdx, camIdx, readReg);
        readReg = LumoSpiCciRead(static_cast<BYTE>(layIdx), static_cast<BYTE>(camIdx), id.cciAddr, 500);
        if (readReg == id.value) continue;
        LumoLogAs("LumoFpgaInit", "LumoSpiCciRead 0x%04X(0x%02X) error again, layIdx = %d, camIdx = %d, readReg = %d\n",
                  id.cciAddr, id.value, layIdx, camIdx, readReg);
      }
    }
  }
}

}  // namespace

int LumoSpiFpgaConf(const BYTE* data, int dataSize) {
  // PROGRAM_B low clears the layers. The four reads only take time: their sum can never fail the test.
  LumoGpioSetFpgaProgramB(0);
  int sum = 0;
  for (int i = 0; i < 4; i++) sum += LumoGpioGetFpgaInitD();
  LumoGpioSetFpgaProgramB(1);
  if (sum >= 0xFF) return -1;

  const unsigned int startTime = LumoGetTime();
  int rlt = LumoGpioGetFpgaInitD();
  while (rlt == 0 && LumoGetTime() - startTime <= 99) {
    usleep(10);
    rlt = LumoGpioGetFpgaInitD();
  }
  if (rlt == 0) {
    LumoLog("LumoGpioGetFpgaInitD error, rlt = %d\n", rlt);
    return -1;
  }
  usleep(10);

  auto* sendBuf = static_cast<uint16_t*>(malloc(kConfBufBytes));
  auto* receiveBuf = static_cast<uint16_t*>(malloc(kConfBufBytes));
  if (sendBuf == nullptr || receiveBuf == nullptr) {
    LumoLog("malloc error, size = %d\n", kConfBufBytes);
    free(sendBuf);
    free(receiveBuf);
    return -1;
  }
  const int failedSize = SendConfStream(data, dataSize, sendBuf, receiveBuf);
  if (failedSize > 0) LumoLog("ioctl SPI_IOC_MESSAGE error, bufSize = %d\n", failedSize);
  free(sendBuf);
  free(receiveBuf);
  if (failedSize > 0) return -1;

  rlt = LumoGpioGetFpgaDone();
  if (rlt == 0) {
    LumoLog("LumoGpioGetFpgaDone error, rlt = %d\n", rlt);
    return -2;
  }
  rlt = LumoGpioGetFpgaInitD();
  if (rlt == 0) {
    LumoLog("LumoGpioGetFpgaInitD error, rlt = %d\n", rlt);
    return -3;
  }
  return 0;
}

int LumoFpgaInit() {
  LumoGpioSetFpgaSuspend(0);
  usleep(1000);
  SetClock(kClockUnconfigured);
  SetSharedPinOutput(false);
  const int confRlt = LumoSpiFpgaConf(confData, kConfDataSize);
  SetSharedPinOutput(true);
  if (confRlt < 0) {
    LumoLog("LumoSpiFpgaConf error\n");
    LumoFpgaStandby();
    return -1;
  }
  SetClock(kClockConfigured);
  usleep(100 * 1000);

  PulseFpgaReset();
  usleep(5000);
  WriteCipher();
  LumoSpiSetCamResetnAll(1);
  usleep(1000);
  if (LumoSpiWaitReady(500) < 0) {
    LumoLog("LumoSpiWaitReady error\n");
    LumoFpgaStandby();
    return -3;
  }

  CheckChipIds();
  LumoFpgaStandby();
  return 0;
}

void LumoFpgaStandby() {
  PulseFpgaReset();
  usleep(1000);
  // Twice in a row on purpose.
  LumoSpiSetCamResetnAll(0);
  LumoSpiSetCamResetnAll(0);
  usleep(1000);
  LumoGpioSetFpgaSuspend(1);
}

int LumoFpgaAwake() {
  LumoGpioSetFpgaSuspend(0);
  PulseFpgaReset();
  usleep(1000);
  WriteCipher();  // each wake-up repeats it
  LumoSpiSetCamResetnAll(1);
  LumoSpiMainDelaySetupAndRunAll(0x100);
  return LumoSpiWaitReady(500);
}

void LumoFpgaReInit() {
  LumoGpioSetPowerEn(0);
  usleep(200 * 1000);
  LumoGpioSetPowerEn(1);
  usleep(100 * 1000);
  LumoFpgaInit();
}

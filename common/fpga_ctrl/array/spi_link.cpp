#include "common/fpga_ctrl/array/spi_link.h"

#include <fcntl.h>
#include <linux/spi/spidev.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cstring>

#include "common/fpga_ctrl/array/registers.h"
#include "common/fpga_ctrl/device/clock.h"
#include "common/log.h"

namespace {

// What the driver's requests are on the wire between program and kernel.
static_assert(SPI_IOC_WR_MODE == 0x40016B01);
static_assert(SPI_IOC_WR_BITS_PER_WORD == 0x40016B03);
static_assert(SPI_IOC_WR_MAX_SPEED_HZ == 0x40046B04);
static_assert(SPI_IOC_MESSAGE(1) == 0x40206B00);
static_assert(sizeof(spi_ioc_transfer) == 32);

constexpr const char* kSpiDevice = "/dev/spidev0.0";
constexpr std::array<unsigned int, 4> kSpiPinRegisters = {0x1204007C, 0x12040080, 0x12040084, 0x12040088};

int g_lumoSpiFd = -1;

// The two address bytes of a frame, each in the high half of a word: the first word alone is marked.
struct FrameAddress {
  uint16_t spiAddrFirst;
  uint16_t spiAddrOther;
};

constexpr FrameAddress MakeFrameAddress(BYTE layIdx, BYTE camIdx, bool isRead) {
  const unsigned int address = (layIdx & 3u) << 6 | (camIdx & 15u) << 2 | (isRead ? 2u : 0u);
  return {static_cast<uint16_t>((address | 1u) << 8), static_cast<uint16_t>(address << 8)};
}
static_assert(MakeFrameAddress(kAllLayers, kAllCameras, false).spiAddrFirst == 0xFD00);
static_assert(MakeFrameAddress(kAllLayers, kAllCameras, false).spiAddrOther == 0xFC00);
static_assert(MakeFrameAddress(1, 0, true).spiAddrFirst == 0x4300);

}  // namespace

int LumoSpiInit() {
  for (const unsigned int pin : kSpiPinRegisters) {
    unsigned int spi0 = 1;
    himm(1, pin, &spi0);
  }
  if (g_lumoSpiFd >= 0) return 0;

  g_lumoSpiFd = open(kSpiDevice, 0);
  if (g_lumoSpiFd < 0) {
    LumoLog("Open %s error!\n", kSpiDevice);
    return -1;
  }
  BYTE mode = SPI_MODE_0;
  if (ioctl(g_lumoSpiFd, SPI_IOC_WR_MODE, &mode) < 0) {
    LumoLog("ioctl SPI_IOC_WR_MODE error, value = %d\n", mode);
    return -2;
  }
  BYTE bitsPerWord = 16;
  if (ioctl(g_lumoSpiFd, SPI_IOC_WR_BITS_PER_WORD, &bitsPerWord) < 0) {
    LumoLog("ioctl SPI_IOC_WR_BITS_PER_WORD error, value = %d\n", bitsPerWord);
    return -3;
  }
  uint32_t maxSpeedHz = 25000000;
  if (ioctl(g_lumoSpiFd, SPI_IOC_WR_MAX_SPEED_HZ, &maxSpeedHz) < 0) {
    LumoLog("ioctl SPI_IOC_WR_MAX_SPEED_HZ error, value = %d\n", static_cast<int>(maxSpeedHz));
    return -4;
  }
  return 0;
}

void LumoSpiExit() {
  if (g_lumoSpiFd >= 0) close(g_lumoSpiFd);
  g_lumoSpiFd = -1;
}

int LumoSpiTransfer(const uint16_t* send, uint16_t* receive, unsigned int size) {
  spi_ioc_transfer transfer;
  memset(&transfer, 0, sizeof(transfer));  // speed and word size 0: the device's, as set at opening
  transfer.tx_buf = reinterpret_cast<uintptr_t>(send);
  transfer.rx_buf = reinterpret_cast<uintptr_t>(receive);
  transfer.len = size;
  transfer.cs_change = 1;
  return ioctl(g_lumoSpiFd, SPI_IOC_MESSAGE(1), &transfer) < 0 ? -1 : 0;
}

int LumoSpiWrite(BYTE layIdx, BYTE camIdx, BYTE spiCmd, BYTE spiDataH, BYTE spiDataM, BYTE spiDataL) {
  const FrameAddress address = MakeFrameAddress(layIdx, camIdx, false);
  const std::array<uint16_t, 4> send = {
      static_cast<uint16_t>(address.spiAddrFirst | spiCmd), static_cast<uint16_t>(address.spiAddrOther | spiDataH),
      static_cast<uint16_t>(address.spiAddrOther | spiDataM), static_cast<uint16_t>(address.spiAddrOther | spiDataL)};
  std::array<uint16_t, 4> receive = {};
  if (LumoSpiTransfer(send.data(), receive.data(), sizeof(send)) < 0) {
    LumoLog(
        "ioctl SPI_IOC_MESSAGE error, layIdx = %d, camIdx = %d, spiCmd = %d, spiDataH = %d, spiDataM = %d, "
        "spiDataL = %d\n",
        layIdx, camIdx, spiCmd, spiDataH, spiDataM, spiDataL);
    return -1;
  }
  return 0;
}

int LumoSpiRead(BYTE layIdx, BYTE spiCmd) {
  const FrameAddress address = MakeFrameAddress(layIdx, 0, true);
  const std::array<uint16_t, 4> send = {static_cast<uint16_t>(address.spiAddrFirst | spiCmd), address.spiAddrOther,
                                        address.spiAddrOther, address.spiAddrOther};
  std::array<uint16_t, 4> receive = {};
  if (LumoSpiTransfer(send.data(), receive.data(), sizeof(send)) < 0) {
    LumoLog("ioctl SPI_IOC_MESSAGE error, layIdx = %d, spiCmd = %d\n", layIdx, spiCmd);
    return -1;
  }
  return receive[1] & 0xFF;  // the answer comes with the word behind the command
}

// --- state of all three layers ---

namespace {

struct LayerCount {
  int set;     // layers whose register is not 0
  int failed;  // layers that could not be read
};

LayerCount CountLayers(BYTE spiCmd) {
  LayerCount count = {0, 0};
  for (BYTE layIdx = 0; layIdx < 3; layIdx++) {
    const int value = LumoSpiRead(layIdx, spiCmd);
    if (value < 0) count.failed++;
    if (value > 0) count.set++;
  }
  return count;
}

}  // namespace

int LumoSpiReadAllSet(BYTE spiCmd) {
  const LayerCount count = CountLayers(spiCmd);
  if (count.failed > 0) return -1;
  return count.set == 3 ? 1 : 0;
}

int LumoSpiReadAnySet(BYTE spiCmd) {
  const LayerCount count = CountLayers(spiCmd);
  if (count.failed > 0) return -1;
  return count.set > 0 ? 1 : 0;
}

int LumoSpiIsReady() { return LumoSpiReadAllSet(kRegReady); }
int LumoSpiIsFifoAlmostFull() { return LumoSpiReadAnySet(kRegFifoAlmostFull); }
int LumoSpiIsCapConfFinish() { return LumoSpiReadAllSet(kRegCapConfFinish); }
int LumoSpiIsCapSaveFinish() { return LumoSpiReadAllSet(kRegCapSaveFinish); }

namespace {

// The last result of `poll`: not 0, or 0 when `waitTime` ms had passed.
int PollUntilSet(int (*poll)(), int waitTime) {
  const unsigned int startTime = LumoGetTime();
  for (;;) {
    const int rlt = poll();
    if (rlt != 0) return rlt;
    if (LumoGetTime() - startTime >= static_cast<unsigned int>(waitTime)) return 0;
    usleep(1000);
  }
}

}  // namespace

int LumoSpiWaitReady(int waitTime) {
  const int rlt = PollUntilSet(LumoSpiIsReady, waitTime);
  if (rlt > 0) return 0;
  LumoLog("LumoSpiIsReady error, rlt = %d\n", rlt);
  return rlt == 0 ? -2 : -1;
}

int LumoSpiWaitCapSaveFinish(int waitTime) {
  const int rlt = PollUntilSet(LumoSpiIsCapSaveFinish, waitTime);
  if (rlt > 0) return 0;
  LumoLog("LumoSpiIsCapSaveFinish error, rlt = %d\n", rlt);
  return rlt == 0 ? -2 : -1;
}

#include "common/fpga_ctrl/array/camera_sensors.h"

#include <unistd.h>

#include <array>

#include "common/cameras.h"
#include "common/fpga_ctrl/array/bring_up.h"
#include "common/fpga_ctrl/array/fpga_commands.h"
#include "common/log.h"

// --- set-up tables: register address in bits 23 to 8, value in bits 7 to 0, written in order to all cameras ---

// Sensor mode (clocks, timing, window, output) and sensor image processing (defects, lens, white balance, exposure
// defaults). They come with the device; see venc/blobs.S.
constexpr int kReg20TableASize = 238;
constexpr int kReg20TableBSize = 101;
extern "C" const int reg20TableA[kReg20TableASize];
extern "C" int reg20TableB[kReg20TableBSize];

namespace {

// A short set with low register numbers; first, and only before a shot.
constexpr std::array<int, 14> reg28Table = {
    0x000219, 0x000402, 0x000503, 0x000601, 0x000901, 0x000A01, 0x0014C2,
    0x00154C, 0x00362C, 0x00172B, 0x00182B, 0x00190C, 0x001E0A, 0x001F0A,
};

// White balance of the lens types 12 and 13, as entries of table B.
constexpr std::array<int, 4> kLensEntries = {0x50181D, 0x50197B, 0x501C14, 0x501DE5};

}  // namespace

int LumoInitAllCameras() {
  if (LumoSpiWaitReady(1000) < 0) {
    LumoLog("LumoSpiWaitReady error\n");
    LumoFpgaStandby();
    return -1;
  }
  LumoSpiCciBatchWriteAll(reg28Table.data(), static_cast<int>(reg28Table.size()));
  LumoSpiCciBatchWriteAll(reg20TableA, kReg20TableASize);
  LumoSpiCciBatchWriteAll(reg20TableB, kReg20TableBSize);
  // Layer 0 alone has this orientation; behind the tables, which set it for all.
  LumoSpiCciWriteOneLayer(0, 0x3820, 0x06);
  LumoSpiCciWriteOneLayer(0, 0x3821, 0x46);
  if (LumoSpiWaitReady(1000) < 0) {
    LumoLog("LumoSpiWaitReady error\n");
    LumoFpgaStandby();
    return -3;
  }
  return 0;
}

void LumoSetSensorTableLens(int lensType) {
  if (lensType != 12 && lensType != 13) return;
  for (int& entry : reg20TableB) {
    for (const int lensEntry : kLensEntries) {
      if (entry >> 8 == lensEntry >> 8) entry = lensEntry;
    }
  }
}

void GetCameraTemperature(ControlSignals* ctrlSigs) {
  if (LumoSpiWaitReady(1000) < 0) {
    LumoLog("LumoSpiWaitReady error\n");
    LumoFpgaStandby();
    return;
  }
  // A rising trigger bit starts the reading on every sensor at once.
  LumoSpiCciWriteAll(0x4D12, 0);
  usleep(1000);
  LumoSpiCciWriteAll(0x4D12, 1);
  usleep(1000);
  for (size_t imgIdx = 0; imgIdx < kCameraCount; imgIdx++) {
    const int value = LumoSpiCciRead(layIdxTable[imgIdx], camIdxTable[imgIdx], 0x4D13, 500);
    ctrlSigs->camTemp[imgIdx] = static_cast<int8_t>(static_cast<BYTE>(value - 0x40));
  }
}

void ReadCameraTemperature(ControlSignals* ctrlSigs) {
  if (LumoFpgaAwake() < 0) {
    LumoLog("LumoFpgaAwake error\n");
    LumoFpgaStandby();
    return;
  }
  LumoSpiPulseFifoReset();
  if (LumoSpiWaitReady(1000) < 0) {
    LumoLog("LumoSpiWaitReady error\n");
    LumoFpgaStandby();
    return;
  }
  LumoSpiCciBatchWriteAll(reg20TableA, kReg20TableASize);
  LumoSpiCciBatchWriteAll(reg20TableB, kReg20TableBSize);
  LumoSpiCciWriteAll(0x0100, 1);
  if (LumoSpiWaitReady(1000) < 0) {
    LumoLog("LumoSpiWaitReady error\n");
    LumoFpgaStandby();
    return;
  }
  usleep(100 * 1000);
  GetCameraTemperature(ctrlSigs);
  LumoSpiSetCamResetnAll(0);
  LumoSpiSetCamResetnAll(0);
  LumoFpgaStandby();
}

#include "common/fpga_ctrl/array/fpga_commands.h"

#include "common/bounds.h"
#include "common/log.h"

// --- the command table ---

namespace {

// Where a payload byte comes from: nothing, one byte of the command's value, or the byte that goes with it.
enum class Payload : BYTE { None, Bits7To0, Bits15To8, Bits23To16, Data };

struct CommandRow {
  BYTE spiCmd;
  BYTE layIdx;  // or kGiven
  BYTE camIdx;  // or kGiven, kLimited
  Payload h, m, l;
};

constexpr BYTE kGiven = 0xFF;    // the caller's argument
constexpr BYTE kLimited = 0xFE;  // the caller's argument, cut to the layer's last camera

constexpr auto kNone = Payload::None;
constexpr auto kLow = Payload::Bits7To0;
constexpr auto kMid = Payload::Bits15To8;
constexpr auto kTop = Payload::Bits23To16;
constexpr auto kData = Payload::Data;

// clang-format off
//                                            code  layer       camera       H      M      L
constexpr CommandRow kFifoResetHigh  = {0x12, kAllLayers, 0,           kNone, kNone, kNone};
constexpr CommandRow kFifoResetLow   = {0x13, kAllLayers, 0,           kNone, kNone, kNone};
constexpr CommandRow kMainDelayRun   = {0x14, kAllLayers, 0,           kTop,  kMid,  kLow };
constexpr CommandRow kWriteExpsReg   = {0x15, 1,          0,           kLow,  kData, kNone};
constexpr CommandRow kColumnSize     = {0x16, kAllLayers, 0,           kLow,  kNone, kNone};
constexpr CommandRow kVsyncMaxCnt    = {0x17, kGiven,     kAllCameras, kLow,  kNone, kNone};
constexpr CommandRow kGetRegValue    = {0xB0, kAllLayers, kAllCameras, kLow,  kNone, kNone};
constexpr CommandRow kCapturePrepare = {0xD0, kAllLayers, 0,           kNone, kNone, kNone};
constexpr CommandRow kCaptureStart   = {0xD1, kAllLayers, 0,           kNone, kNone, kNone};
constexpr CommandRow kCaptureHdrOn   = {0xD2, kAllLayers, 0,           kNone, kNone, kNone};
constexpr CommandRow kCaptureHdrOff  = {0xD3, kAllLayers, 0,           kNone, kNone, kNone};
constexpr CommandRow kCaptureLoadNew = {0xD6, kGiven,     0,           kLow,  kNone, kNone};
constexpr CommandRow kDataSrcOwn     = {0xD8, kGiven,     0,           kNone, kNone, kNone};
constexpr CommandRow kDataSrcBefore  = {0xD9, kGiven,     0,           kNone, kNone, kNone};
constexpr CommandRow kParalSendOn    = {0xDA, kGiven,     0,           kNone, kNone, kNone};
constexpr CommandRow kParalSendOff   = {0xDB, kGiven,     0,           kNone, kNone, kNone};
constexpr CommandRow kExposureOrg    = {0xDD, kAllLayers, 0,           kMid,  kLow,  kNone};
constexpr CommandRow kSubDelayOne    = {0xE1, kGiven,     kGiven,      kTop,  kMid,  kLow };
constexpr CommandRow kSubDelayAll    = {0xE1, kAllLayers, kAllCameras, kTop,  kMid,  kLow };
constexpr CommandRow kSubDelayRun    = {0xE2, kAllLayers, kAllCameras, kNone, kNone, kNone};
constexpr CommandRow kWaitVsyncRise  = {0xE3, kAllLayers, kAllCameras, kNone, kNone, kNone};
constexpr CommandRow kWaitVsyncFall  = {0xE4, kAllLayers, kAllCameras, kNone, kNone, kNone};
constexpr CommandRow kCamResetnHigh  = {0xE5, kAllLayers, 0,           kNone, kNone, kNone};
constexpr CommandRow kCamResetnLow   = {0xE6, kAllLayers, 0,           kNone, kNone, kNone};
constexpr CommandRow kCciWriteOne    = {0xF0, kGiven,     kLimited,    kMid,  kLow,  kData};
constexpr CommandRow kCciWriteLayer  = {0xF0, kGiven,     kAllCameras, kMid,  kLow,  kData};
constexpr CommandRow kCciWriteAll    = {0xF0, kAllLayers, kAllCameras, kMid,  kLow,  kData};
constexpr CommandRow kCciWriteCalc   = {0xF1, kAllLayers, kAllCameras, kMid,  kLow,  kNone};
constexpr CommandRow kCciReadOne     = {0xF2, kGiven,     kLimited,    kMid,  kLow,  kNone};
// clang-format on

BYTE PayloadByte(Payload source, unsigned int value, BYTE data) {
  switch (source) {
    case Payload::Bits7To0: return static_cast<BYTE>(value);
    case Payload::Bits15To8: return static_cast<BYTE>(value >> 8);
    case Payload::Bits23To16: return static_cast<BYTE>(value >> 16);
    case Payload::Data: return data;
    case Payload::None: break;
  }
  return 0;
}

// Sends a row with the arguments that it asks for; the others are ignored.
int Send(const CommandRow& row, BYTE layIdx, BYTE camIdx, unsigned int value = 0, BYTE data = 0) {
  const BYTE maxCamIdx = layIdx == 0 ? 8 : 7;
  const BYTE layer = row.layIdx == kGiven ? layIdx : row.layIdx;
  const BYTE camera = row.camIdx == kGiven ? camIdx : row.camIdx == kLimited ? BMin(camIdx, maxCamIdx) : row.camIdx;
  return LumoSpiWrite(layer, camera, row.spiCmd, PayloadByte(row.h, value, data), PayloadByte(row.m, value, data),
                      PayloadByte(row.l, value, data));
}
int SendAll(const CommandRow& row, unsigned int value = 0, BYTE data = 0) {
  return Send(row, kAllLayers, kAllCameras, value, data);
}

}  // namespace

// --- layer state ---

int LumoSpiSetFifoResetAll(BYTE isHigh) { return SendAll(isHigh != 0 ? kFifoResetHigh : kFifoResetLow); }
void LumoSpiPulseFifoReset() {
  LumoSpiSetFifoResetAll(1);
  LumoSpiSetFifoResetAll(0);
}
int LumoSpiMainDelaySetupAndRunAll(unsigned int delay) { return SendAll(kMainDelayRun, delay); }
int LumoSpiSetColumnSize(BYTE columnSize256) { return SendAll(kColumnSize, columnSize256); }
int LumoSpiSetVsyncMaxCnt(BYTE layIdx, BYTE vsyncMaxCnt) { return Send(kVsyncMaxCnt, layIdx, 0, vsyncMaxCnt); }
int LumoSpiSetCamResetnAll(BYTE isHigh) { return SendAll(isHigh != 0 ? kCamResetnHigh : kCamResetnLow); }

// --- capture ---

int LumoSpiCapturePrepareAll() { return SendAll(kCapturePrepare); }
int LumoSpiCaptureStartAll() { return SendAll(kCaptureStart); }
int LumoSpiSetCaptureHdrAll(BYTE enable) { return SendAll(enable != 0 ? kCaptureHdrOn : kCaptureHdrOff); }
int LumoSpiSetExposureOrgAll(uint16_t exposureOrg) { return SendAll(kExposureOrg, exposureOrg); }
int LumoSpiWriteExpsReg(BYTE regMode, BYTE regIdx, BYTE regData) {
  return SendAll(kWriteExpsReg, static_cast<unsigned int>(regMode) << 5 | (regIdx & 7u) << 2, regData);
}

// --- read-out ---

int LumoSpiCaptureLoadNew(BYTE layIdx, BYTE raddrH) { return Send(kCaptureLoadNew, layIdx, 0, raddrH & 0x3Fu); }
int LumoSpiSelectDataSrcOneLayer(BYTE layIdx, BYTE selSrc1) {
  return Send(selSrc1 != 0 ? kDataSrcBefore : kDataSrcOwn, layIdx, 0);
}
int LumoSpiSetParalSendOneLayer(BYTE layIdx, BYTE enable) {
  return Send(enable != 0 ? kParalSendOn : kParalSendOff, layIdx, 0);
}

// --- command FIFO ---

int LumoSpiSubDelaySetupOneCamera(BYTE layIdx, BYTE camIdx, unsigned int delay) {
  return Send(kSubDelayOne, layIdx, camIdx, delay);
}
int LumoSpiSubDelaySetupAll(unsigned int delay) { return SendAll(kSubDelayAll, delay); }
int LumoSpiSubDelayRunAll() { return SendAll(kSubDelayRun); }
int LumoSpiSubWaitVysncAll(unsigned int maxDelay, BYTE selPosEdge) {
  if (LumoSpiSubDelaySetupAll(maxDelay) < 0) return -2;
  return SendAll(selPosEdge != 0 ? kWaitVsyncRise : kWaitVsyncFall);
}
// The index sits one bit higher here than in the write of a set.
int LumoSpiGetRegValueAll(BYTE regIdx) { return SendAll(kGetRegValue, (regIdx & 7u) << 3); }
int LumoSpiCciWriteCalcAll(uint16_t cciAddr) { return SendAll(kCciWriteCalc, cciAddr); }

// --- sensor registers ---

int LumoSpiCciWriteOneCamera(BYTE layIdx, BYTE camIdx, uint16_t cciAddr, BYTE cciData) {
  return Send(kCciWriteOne, layIdx, camIdx, cciAddr, cciData);
}
int LumoSpiCciReadOneCamera(BYTE layIdx, BYTE camIdx, uint16_t cciAddr) {
  return Send(kCciReadOne, layIdx, camIdx, cciAddr);
}
int LumoSpiCciWriteOneLayer(BYTE layIdx, uint16_t cciAddr, BYTE cciData) {
  return Send(kCciWriteLayer, layIdx, kAllCameras, cciAddr, cciData);
}
int LumoSpiCciWriteAll(uint16_t cciAddr, BYTE cciData) { return SendAll(kCciWriteAll, cciAddr, cciData); }

int LumoSpiCciBatchWriteAll(const int* regTable, int regNum) {
  for (int i = 0; i < regNum; i++) {
    const auto entry = static_cast<unsigned int>(regTable[i]);
    if (LumoSpiCciWriteAll(static_cast<uint16_t>(entry >> 8), static_cast<BYTE>(entry)) < 0) return -1;
  }
  return 0;
}

int LumoSpiCciRead(BYTE layIdx, BYTE camIdx, uint16_t cciAddr, int waitTime) {
  if (LumoSpiCciReadOneCamera(layIdx, camIdx, cciAddr) < 0) return -3;
  if (LumoSpiWaitReady(waitTime) < 0) {
    LumoLog("LumoSpiWaitReady error, layIdx = %d, camIdx = %d, waitTime = %d\n", layIdx, camIdx, waitTime);
    return -2;
  }
  return LumoSpiReadCci(layIdx, camIdx < 7);
}

// --- reads ---

int LumoSpiReadCci(BYTE layIdx, BYTE isSub0) { return LumoSpiRead(layIdx, isSub0 != 0 ? kRegCciSub0 : kRegCciSub1); }
int LumoSpiReadLoadBusy() { return LumoSpiReadAnySet(kRegLoadBusy); }
int LumoSpiReadHsyncErr(BYTE layIdx, BYTE idx) {
  return LumoSpiRead(layIdx, idx == 0 ? kRegHsyncErrLow : kRegHsyncErrHigh);
}
int LumoSpiReadFifoEmpty(BYTE layIdx) { return LumoSpiRead(layIdx, kRegFifoEmpty); }
int LumoSpiReadSaveFinish(BYTE layIdx) { return LumoSpiRead(layIdx, kRegSaveFinish); }
int LumoSpiReadCalcCnt() { return LumoSpiRead(1, kRegCalcCnt); }
int LumoSpiReadCamdataAvg() { return LumoSpiRead(1, kRegCamdataAvg); }

int LumoSpiReadExposure() {
  const int low = LumoSpiRead(1, kRegExposureLow);
  const int middle = LumoSpiRead(1, kRegExposureMiddle);
  const int high = LumoSpiRead(1, kRegExposureHigh);
  if (low < 0 || middle < 0 || high < 0) return -1;
  return high << 16 | middle << 8 | low;
}

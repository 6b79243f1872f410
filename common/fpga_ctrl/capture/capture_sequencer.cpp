#include "common/fpga_ctrl/capture/capture_sequencer.h"

#include <unistd.h>

#include <array>
#include <cstdio>

#include "common/angle_reader/angle.h"
#include "common/bounds.h"
#include "common/fpga_ctrl/array/bring_up.h"
#include "common/fpga_ctrl/array/camera_sensors.h"
#include "common/fpga_ctrl/array/fpga_commands.h"
#include "common/fpga_ctrl/array/gps_compass.h"
#include "common/fpga_ctrl/array/spi_link.h"
#include "common/fpga_ctrl/capture/exposure.h"
#include "common/fpga_ctrl/device/clock.h"
#include "common/log.h"

namespace {

constexpr int kAttempts = 3;
constexpr uint16_t kExposureOrg = 0x20;
constexpr int kFirstSteps = 12;

// Limits of the frame starts that each layer counts, by the number of exposures.
constexpr std::array<BYTE, 3> kVsyncMaxCntThree = {0x77, 0x56, 0x55};
constexpr std::array<BYTE, 3> kVsyncMaxCntSix = {0xAA, 0x89, 0x88};

// Delays of the sensors' starts at the default line length.
struct StartDelay {
  BYTE layIdx;
  BYTE camIdx;
  int delay;
};
constexpr std::array<StartDelay, 4> kStartDelays = {{
    {0, kAllCameras, 0x100},
    {1, 0, 0x54E},
    {1, 7, 0x99C},
    {2, kAllCameras, 0x99C},
}};

// The sensor registers that an exposure step sets, by byte of the exposure set. The eighth byte is the end mark.
constexpr std::array<uint16_t, 7> kStepRegisters = {0x3500, 0x3501, 0x3502, 0x380E, 0x380F, 0x3508, 0x3509};
constexpr BYTE kEndMarkIdx = 7;

// The layer whose frame store is connected through the chain to the video input.
BYTE g_lumoLoadLayIdx = 0;

// A delay given for the default line length, in the layers' clock.
unsigned int ScaleDelay(int delay, uint16_t columnSize) {
  return static_cast<unsigned int>(columnSize * delay / kDefaultColumnSize);
}

// --- the measurement ---

// What the layers have measured so far in one attempt: the latest count, and the scene average by count.
struct SceneSamples {
  int calcCnt;
  std::array<int, 256> dataAvg;
};

void TakeSample(SceneSamples* samples) {
  samples->calcCnt = LumoSpiReadCalcCnt();
  const int average = LumoSpiReadCamdataAvg();
  if (samples->calcCnt >= 0) samples->dataAvg[static_cast<size_t>(samples->calcCnt)] = average;
}

int AverageAt(const SceneSamples& samples, int calcCnt) { return samples.dataAvg[static_cast<size_t>(calcCnt)]; }

// Two samples that lie two apart agree within a factor of 6/5, both ways.
bool HasSettled(const SceneSamples& samples) {
  if (samples.calcCnt <= 3) return false;
  const int before = AverageAt(samples, samples.calcCnt - 2);
  const int now = AverageAt(samples, samples.calcCnt);
  return before * 5 < now * 6 && now * 5 < before * 6;
}

// --- one attempt ---

// What a shot is asked for and where its outcome goes: the same in each attempt.
struct Shot {
  ExposureRequest request;
  BYTE twoHalfIdx;
  bool isManual;
  ManualExposure manual;  // of an automatic shot only the line length counts
  ShotLimits limits;

  int* shutterLines;
  int* totalLines;
  int* gain;
  int* vertexX;
  int* vertexY;
  int vertexReady;
  int* finalExposure;
};

// How far an attempt has come.
struct Attempt {
  BYTE hasCapLoadStart;         // all exposures taken, and no row came wrong
  BYTE hasCamSaveFinish;        // all frames saved
  std::array<int, 3> hsyncErr;  // rows that came wrong, by layer; negative where the count could not be read
};

void SetExposure(const Shot& shot, const SceneSamples& samples) {
  const ExposureRequest& request = shot.request;
  int curExposure = shot.manual.curExposure;
  if (!shot.isManual) {
    if (shot.twoHalfIdx != 2) {
      *shot.finalExposure = LumoAutomaticExposure(request, LumoSpiReadExposure(), AverageAt(samples, samples.calcCnt));
    }
    curExposure = *shot.finalExposure;
  }

  const auto hdrExposure = LumoBracketExposures(request.captureMode, curExposure);
  for (int i = 0; i < kExposureSets; i++) {
    const int exposure = hdrExposure[static_cast<size_t>(i)];
    const ExposureSplit split = shot.isManual
                                    ? LumoSplitManual(shot.manual, exposure)
                                    : LumoSplitAutomatic(request.strobeMode, request.isoMode, curExposure, exposure);
    const ExposureSet set = LumoMakeExposureSet(request.captureMode, i, split);
    shot.shutterLines[i] = set.shutterLines;
    shot.totalLines[i] = set.totalLines;
    shot.gain[i] = set.gain;
    for (size_t regIdx = 0; regIdx < set.regData.size(); regIdx++) {
      LumoSpiWriteExpsReg(static_cast<BYTE>(i + 1), static_cast<BYTE>(regIdx), set.regData[regIdx]);
    }
  }

  fprintf(g_lumoDebug, "column:%d\n", shot.manual.columnSize);
  for (int i = 0; i < kExposureSets; i++) {
    fprintf(g_lumoDebug, "shutter%d:%d  total%d:%d  gain%d:%d\n", i, shot.shutterLines[i], i, shot.totalLines[i], i,
            shot.gain[i]);
  }

  *shot.vertexX = 0;
  *shot.vertexY = 0;
  if (shot.vertexReady == 1 && LumoReadAngle(shot.vertexX, shot.vertexY) == 0) {
    fprintf(g_lumoDebug, "vertexX:%d  vertexY:%d\n", *shot.vertexX, *shot.vertexY);
  }
}

// Until the layers have taken all exposures or time is over. No pause in here: the layers' FIFO must be kept fed with
// exposure steps.
BYTE Expose(const Shot& shot) {
  SceneSamples samples = {};
  BYTE hasSetRegs = 0;
  BYTE hasCapLoadStart = 0;
  const bool needsNoSample = shot.isManual || shot.twoHalfIdx == 2;
  const unsigned int startTime = LumoGetTime();
  while (hasCapLoadStart == 0 && LumoGetTime() - startTime < shot.limits.waitTime) {
    TakeSample(&samples);
    if (hasSetRegs == 0 && (HasSettled(samples) || samples.calcCnt > 31 || (needsNoSample && samples.calcCnt > 0))) {
      SetExposure(shot, samples);
      hasSetRegs = 1;
    }
    if (LumoSpiIsCapConfFinish() > 0) hasCapLoadStart = 1;
    if (hasCapLoadStart == 0 && LumoSpiIsFifoAlmostFull() == 0) LumoCaptureAEAGConf(shot.manual.columnSize);
  }
  return hasCapLoadStart;
}

// Layer 2 is read first.
std::array<int, 3> ReadRowErrors() {
  std::array<int, 3> hsyncErr = {};
  for (int layIdx = 2; layIdx >= 0; layIdx--) {
    const int low = LumoSpiReadHsyncErr(static_cast<BYTE>(layIdx), 0);
    const int high = LumoSpiReadHsyncErr(static_cast<BYTE>(layIdx), 1);
    hsyncErr[static_cast<size_t>(layIdx)] = high * 256 + low;
  }
  return hsyncErr;
}

// One attempt out of standby. Returns 0, with what was reached in `attempt`, or -1 if it could not even be set up: the
// array is in standby then.
int CaptureOnce(ControlSignals* ctrlSigs, const Shot& shot, Attempt* attempt) {
  *attempt = {};
  if (LumoCapturePrepare(ctrlSigs, kExposureOrg, 1, shot.request.captureMode, shot.manual.columnSize) < 0) return -1;

  attempt->hasCapLoadStart = Expose(shot);
  attempt->hsyncErr = ReadRowErrors();
  for (const int errors : attempt->hsyncErr) {
    if (errors > 0) attempt->hasCapLoadStart = 0;
  }
  if (attempt->hasCapLoadStart == 0) return 0;
  LumoSpiPulseFifoReset();
  if (LumoSpiWaitCapSaveFinish(static_cast<int>(shot.limits.waitTimeB)) == 0) attempt->hasCamSaveFinish = 1;
  return 0;
}

// Says what is missing, and brings the array's power down and up again.
void Recover(const Attempt& attempt) {
  if (attempt.hasCapLoadStart == 0) {
    const int finish0 = LumoSpiRead(0, kRegCapConfFinish);
    const int finish1 = LumoSpiRead(1, kRegCapConfFinish);
    const int finish2 = LumoSpiRead(2, kRegCapConfFinish);
    LumoLogAs("LumoCapture",
              "Retry hasCapLoadStart Finish0:%d  Finish1:%d  Finish2:%d Hsync0:%d  Hsync1:%d  Hsync2:%d \n", finish0,
              finish1, finish2, attempt.hsyncErr[0], attempt.hsyncErr[1], attempt.hsyncErr[2]);
  } else {
    std::array<int, 3> save = {};
    std::array<int, 3> empty = {};
    for (BYTE layIdx = 0; layIdx < 3; layIdx++) {
      save[layIdx] = LumoSpiReadSaveFinish(layIdx);
      empty[layIdx] = LumoSpiReadFifoEmpty(layIdx);
    }
    LumoLogAs("LumoCapture", "Retry hasCamSaveFinish Save0:%d  Save1:%d  Save2:%d Empty0:%d  Empty1:%d  Empty2:%d \n",
              save[0], save[1], save[2], empty[0], empty[1], empty[2]);
  }
  LumoFpgaReInit();
}

// The sensors back into reset, and the whole chain open: layer 0 sends, 1 and 2 pass on.
void ConnectLayer0() {
  LumoSpiSetCamResetnAll(0);  // twice in a row on purpose
  LumoSpiSetCamResetnAll(0);
  g_lumoLoadLayIdx = 0;
  LumoSpiSelectDataSrcOneLayer(2, 1);
  LumoSpiSetParalSendOneLayer(1, 1);
  LumoSpiSelectDataSrcOneLayer(1, 1);
  LumoSpiSetParalSendOneLayer(0, 1);
  LumoSpiSelectDataSrcOneLayer(0, 0);
}

// --- read-out ---

// Opens or cuts the chain for a step of one layer; a longer step changes nothing.
void StepChain(BYTE from, BYTE to) {
  if (from == 0 && to == 1) {
    LumoSpiSetParalSendOneLayer(0, 0);
    LumoSpiSelectDataSrcOneLayer(1, 0);
  } else if (from == 1 && to == 2) {
    LumoSpiSetParalSendOneLayer(1, 0);
    LumoSpiSelectDataSrcOneLayer(2, 0);
  } else if (from == 1 && to == 0) {
    LumoSpiSelectDataSrcOneLayer(1, 1);
    LumoSpiSetParalSendOneLayer(0, 1);
  } else if (from == 2 && to == 1) {
    LumoSpiSelectDataSrcOneLayer(2, 1);
    LumoSpiSetParalSendOneLayer(1, 1);
  }
}

}  // namespace

int LumoCapture(ControlSignals* ctrlSigs, int* totalColumns, int* shutterLines, int* totalLines, int* gain,
                int* vertexX, int* vertexY, int vertexReady, int* finalExposure, BYTE twoHalfIdx, BYTE captureMode,
                BYTE strobeMode, int8_t evCompVal, BYTE isoMode, int manualExpsUs, int manualIso) {
  Shot shot = {{captureMode, strobeMode, evCompVal, isoMode, manualExpsUs, manualIso},
               twoHalfIdx,
               LumoIsManualMode(captureMode),
               {0, kUnityGain, 1, kDefaultColumnSize, 0},
               LumoAutomaticLimits(captureMode),
               shutterLines,
               totalLines,
               gain,
               vertexX,
               vertexY,
               vertexReady,
               finalExposure};
  if (shot.isManual) {
    shot.manual = LumoPrepareManualExposure(shot.request);
    shot.limits = LumoManualLimits(shot.manual);
  }
  *totalColumns = shot.manual.columnSize * 2;

  Attempt attempt = {};
  for (int tryCnt = 0; tryCnt < kAttempts && attempt.hasCamSaveFinish == 0; tryCnt++) {
    if (CaptureOnce(ctrlSigs, shot, &attempt) < 0) return -1;
    if (attempt.hasCamSaveFinish == 0) Recover(attempt);
  }
  if (attempt.hasCamSaveFinish == 0) {
    const bool notTaken = attempt.hasCapLoadStart == 0;
    LumoLog("%s error\n", notTaken ? "LumoSpiIsCapConfFinish" : "LumoSpiWaitCapSaveFinish");
    usleep(100 * 1000);
    LumoFpgaStandby();
    return notTaken ? -2 : -3;
  }

  GetCameraTemperature(ctrlSigs);
  ConnectLayer0();
  return attempt.hsyncErr[0];  // 0, or negative if the count of layer 0 could not be read
}

int LumoCapturePrepare(ControlSignals* ctrlSigs, uint16_t exposureOrg, BYTE hdrEn, BYTE captureMode,
                       uint16_t columnSize) {
  if (LumoFpgaAwake() < 0) {
    LumoLog("LumoFpgaAwake error\n");
    LumoFpgaStandby();
    return -1;
  }
  LumoSpiPulseFifoReset();
  if ((ctrlSigs->usbMode & kUsbSerial) != 0) {
    LumoReadGpsCompass(&ctrlSigs->longitude, &ctrlSigs->latitude, &ctrlSigs->compassValue, &ctrlSigs->gpsState,
                       ctrlSigs->vertexReady);
  }
  if (LumoInitAllCameras() < 0) {
    LumoLog("LumoInitAllCameras error\n");
    LumoFpgaStandby();
    return -1;
  }

  const auto& vsyncMaxCnt = captureMode < 2 ? kVsyncMaxCntThree : kVsyncMaxCntSix;
  for (BYTE layIdx = 0; layIdx < 3; layIdx++) LumoSpiSetVsyncMaxCnt(layIdx, vsyncMaxCnt[layIdx]);

  exposureOrg = USMin(USMax(exposureOrg, 8), 0x8E0);
  LumoSpiSetExposureOrgAll(exposureOrg);
  LumoSpiSetCaptureHdrAll(hdrEn);
  LumoSpiSetColumnSize(static_cast<BYTE>(columnSize >> 8));

  LumoSpiCciWriteAll(0x380C, static_cast<BYTE>(columnSize >> 8));  // line length
  LumoSpiCciWriteAll(0x380D, static_cast<BYTE>(columnSize));
  LumoSpiCciWriteAll(0x3500, static_cast<BYTE>(exposureOrg >> 12));  // shutter, sixteenths of a row
  LumoSpiCciWriteAll(0x3501, static_cast<BYTE>(exposureOrg >> 4));
  LumoSpiCciWriteAll(0x3502, static_cast<BYTE>(exposureOrg << 4));
  LumoSpiCciWriteAll(0x380E, kFrameRows >> 8);
  LumoSpiCciWriteAll(0x380F, kFrameRows & 0xFF);
  LumoSpiCciWriteAll(0x3508, 0x00);  // unity gain
  LumoSpiCciWriteAll(0x3509, 0x80);

  for (const StartDelay& start : kStartDelays) {
    LumoSpiSubDelaySetupOneCamera(start.layIdx, start.camIdx, ScaleDelay(start.delay, columnSize));
  }
  LumoSpiSubDelayRunAll();
  LumoSpiCciWriteAll(0x0100, 1);  // streaming
  LumoSpiSubWaitVysncAll(0, 0);
  LumoSpiSubWaitVysncAll(0, 1);
  LumoSpiSubWaitVysncAll(0, 1);
  LumoSpiSubDelaySetupAll(ScaleDelay(0x50, columnSize));
  LumoSpiSubDelayRunAll();
  LumoSpiCapturePrepareAll();
  LumoSpiCaptureStartAll();
  for (int i = 0; i < kFirstSteps; i++) LumoCaptureAEAGConf(columnSize);
  return 0;
}

void LumoCaptureAEAGConf(uint16_t columnSize) {
  LumoSpiSubWaitVysncAll(0, 1);
  LumoSpiSubDelaySetupAll(ScaleDelay(0x17BB, columnSize));
  LumoSpiSubDelayRunAll();
  for (size_t regIdx = 0; regIdx < kStepRegisters.size(); regIdx++) {
    LumoSpiGetRegValueAll(static_cast<BYTE>(regIdx));
    LumoSpiCciWriteCalcAll(kStepRegisters[regIdx]);
  }
  LumoSpiGetRegValueAll(kEndMarkIdx);
}

void LumoLoadNew(BYTE layIdx, BYTE imgIdx) {
  while (LumoSpiReadLoadBusy() != 0) usleep(1000);  // a link that fails counts as busy
  StepChain(g_lumoLoadLayIdx, layIdx);
  LumoSpiCaptureLoadNew(layIdx, imgIdx);
  g_lumoLoadLayIdx = layIdx;
}

void LumoCaptureEnd() {
  usleep(100 * 1000);
  LumoFpgaStandby();
}

#include "common/fpga_ctrl/capture/capture_sequencer.h"

#include <unistd.h>

#include <array>
#include <cstdio>

#include "common/angle_reader/angle.h"
#include "common/fpga_ctrl/array/bounds.h"
#include "common/fpga_ctrl/array/bring_up.h"
#include "common/fpga_ctrl/array/camera_sensors.h"
#include "common/fpga_ctrl/array/fpga_commands.h"
#include "common/fpga_ctrl/array/gps_compass.h"
#include "common/fpga_ctrl/array/spi_link.h"
#include "common/fpga_ctrl/capture/exposure.h"
#include "common/fpga_ctrl/device/clock.h"
#include "common/log.h"

static constexpr int kAttempts = 3;
static constexpr uint16_t kExposureOrg = 0x20;
static constexpr int kFirstSteps = 12;

// Limits of the frame starts that each layer counts, by the number of exposures.
static constexpr std::array<BYTE, 3> kVsyncMaxCntThree = {0x77, 0x56, 0x55};
static constexpr std::array<BYTE, 3> kVsyncMaxCntSix = {0xAA, 0x89, 0x88};

// Delays of the sensors' starts at the default line length.
struct StartDelay {
  BYTE layIdx;
  BYTE camIdx;
  int delay;
};
static constexpr std::array<StartDelay, 4> kStartDelays = {{
    {0, kAllCameras, 0x100},
    {1, 0, 0x54E},
    {1, 7, 0x99C},
    {2, kAllCameras, 0x99C},
}};

// The sensor registers that an exposure step sets, by byte of the exposure set. The eighth byte is the end mark.
static constexpr std::array<uint16_t, 7> kStepRegisters = {0x3500, 0x3501, 0x3502, 0x380E, 0x380F, 0x3508, 0x3509};
static constexpr BYTE kEndMarkIdx = 7;

// The layer whose frame store is connected through the chain to the video input.
static BYTE g_lumoLoadLayIdx = 0;

// A delay given for the default line length, in the layers' clock.
static unsigned int ScaleDelay(int delay, uint16_t columnSize) {
  return static_cast<unsigned int>(columnSize * delay / kDefaultColumnSize);
}

// --- the measurement ---

// What the layers have measured so far in one attempt: the latest count, and the scene average by count.
struct SceneSamples {
  int calcCnt;
  std::array<int, 256> dataAvg;
};

static void TakeSample(SceneSamples* samples) {
  samples->calcCnt = LumoSpiReadCalcCnt();
  const int average = LumoSpiReadCamdataAvg();
  if (samples->calcCnt >= 0) samples->dataAvg[static_cast<size_t>(samples->calcCnt)] = average;
}

static int AverageAt(const SceneSamples& samples, int calcCnt) { return samples.dataAvg[static_cast<size_t>(calcCnt)]; }

// Two samples that lie two apart agree within a factor of 6/5, both ways.
static bool HasSettled(const SceneSamples& samples) {
  if (samples.calcCnt <= 3) return false;
  const int before = AverageAt(samples, samples.calcCnt - 2);
  const int now = AverageAt(samples, samples.calcCnt);
  return before * 5 < now * 6 && now * 5 < before * 6;
}

// --- the exposure sets ---

// What one call of LumoCapture works on and gives back.
struct CaptureOutputs {
  int* shutterLines;
  int* totalLines;
  int* gain;
  int* vertexX;
  int* vertexY;
  int vertexReady;
  int* finalExposure;
};

static void SetExposure(const ExposureRequest& request, const ManualExposure& manual, BYTE twoHalfIdx,
                        const SceneSamples& samples, const CaptureOutputs& out) {
  const bool isManual = LumoIsManualMode(request.captureMode);
  int curExposure = manual.curExposure;
  if (!isManual) {
    if (twoHalfIdx != 2) {
      *out.finalExposure = LumoAutomaticExposure(request, LumoSpiReadExposure(), AverageAt(samples, samples.calcCnt));
    }
    curExposure = *out.finalExposure;
  }

  const auto hdrExposure = LumoBracketExposures(request.captureMode, curExposure);
  for (int i = 0; i < kExposureSets; i++) {
    const int exposure = hdrExposure[static_cast<size_t>(i)];
    const ExposureSplit split = isManual
                                    ? LumoSplitManual(manual, exposure)
                                    : LumoSplitAutomatic(request.strobeMode, request.isoMode, curExposure, exposure);
    const ExposureSet set = LumoMakeExposureSet(request.captureMode, i, split);
    out.shutterLines[i] = set.shutterLines;
    out.totalLines[i] = set.totalLines;
    out.gain[i] = set.gain;
    for (size_t regIdx = 0; regIdx < set.regData.size(); regIdx++) {
      LumoSpiWriteExpsReg(static_cast<BYTE>(i + 1), static_cast<BYTE>(regIdx), set.regData[regIdx]);
    }
  }

  fprintf(g_lumoDebug, "column:%d\n", manual.columnSize);
  for (int i = 0; i < kExposureSets; i++) {
    fprintf(g_lumoDebug, "shutter%d:%d  total%d:%d  gain%d:%d\n", i, out.shutterLines[i], i, out.totalLines[i], i,
            out.gain[i]);
  }

  *out.vertexX = 0;
  *out.vertexY = 0;
  if (out.vertexReady == 1 && LumoReadAngle(out.vertexX, out.vertexY) == 0) {
    fprintf(g_lumoDebug, "vertexX:%d  vertexY:%d\n", *out.vertexX, *out.vertexY);
  }
}

// --- one attempt ---

// Rows that came wrong, by layer; negative where the count could not be read. Layer 2 is read first.
static std::array<int, 3> ReadRowErrors() {
  std::array<int, 3> hsyncErr = {};
  for (int layIdx = 2; layIdx >= 0; layIdx--) {
    const int low = LumoSpiReadHsyncErr(static_cast<BYTE>(layIdx), 0);
    const int high = LumoSpiReadHsyncErr(static_cast<BYTE>(layIdx), 1);
    hsyncErr[static_cast<size_t>(layIdx)] = high * 256 + low;
  }
  return hsyncErr;
}

int LumoCapture(ControlSignals* ctrlSigs, int* totalColumns, int* shutterLines, int* totalLines, int* gain,
                int* vertexX, int* vertexY, int vertexReady, int* finalExposure, BYTE twoHalfIdx, BYTE captureMode,
                BYTE strobeMode, int8_t evCompVal, BYTE isoMode, int manualExpsUs, int manualIso) {
  const ExposureRequest request = {captureMode, strobeMode, evCompVal, isoMode, manualExpsUs, manualIso};
  const CaptureOutputs out = {shutterLines, totalLines, gain, vertexX, vertexY, vertexReady, finalExposure};
  const bool isManual = LumoIsManualMode(captureMode);

  ManualExposure manual = {0, 16, 1, kDefaultColumnSize, 0};
  ShotLimits limits = LumoAutomaticLimits(captureMode);
  if (isManual) {
    manual = LumoPrepareManualExposure(request);
    limits = LumoManualLimits(manual);
  }
  const uint16_t columnSize = manual.columnSize;
  *totalColumns = columnSize * 2;

  BYTE hasCapLoadStart = 0;   // all exposures taken, and no row came wrong
  BYTE hasCamSaveFinish = 0;  // all frames saved
  std::array<int, 3> hsyncErr = {};
  for (int tryCnt = 0; tryCnt < kAttempts && hasCamSaveFinish == 0; tryCnt++) {
    BYTE hasSetRegs = 0;
    SceneSamples samples = {};
    hasCapLoadStart = 0;

    if (LumoCapturePrepare(ctrlSigs, kExposureOrg, 1, captureMode, columnSize) < 0) return -1;

    // No pause in here: the layers' FIFO must be kept fed with exposure steps.
    const unsigned int startTime = LumoGetTime();
    while (hasCapLoadStart == 0 && LumoGetTime() - startTime < limits.waitTime) {
      TakeSample(&samples);
      const bool needsNoSample = isManual || twoHalfIdx == 2;
      if (hasSetRegs == 0 && (HasSettled(samples) || samples.calcCnt > 31 || (needsNoSample && samples.calcCnt > 0))) {
        SetExposure(request, manual, twoHalfIdx, samples, out);
        hasSetRegs = 1;
      }
      if (LumoSpiIsCapConfFinish() > 0) hasCapLoadStart = 1;
      if (hasCapLoadStart == 0 && LumoSpiIsFifoAlmostFull() == 0) LumoCaptureAEAGConf(columnSize);
    }

    hsyncErr = ReadRowErrors();
    for (const int errors : hsyncErr) {
      if (errors > 0) hasCapLoadStart = 0;
    }
    if (hasCapLoadStart != 0) {
      LumoSpiPulseFifoReset();
      if (LumoSpiWaitCapSaveFinish(static_cast<int>(limits.waitTimeB)) == 0) hasCamSaveFinish = 1;
    }

    if (hasCapLoadStart == 0) {
      const int finish0 = LumoSpiRead(0, kRegCapConfFinish);
      const int finish1 = LumoSpiRead(1, kRegCapConfFinish);
      const int finish2 = LumoSpiRead(2, kRegCapConfFinish);
      LumoLog("Retry hasCapLoadStart Finish0:%d  Finish1:%d  Finish2:%d Hsync0:%d  Hsync1:%d  Hsync2:%d \n", finish0,
              finish1, finish2, hsyncErr[0], hsyncErr[1], hsyncErr[2]);
      LumoFpgaReInit();
    } else if (hasCamSaveFinish == 0) {
      std::array<int, 3> save = {};
      std::array<int, 3> empty = {};
      for (BYTE layIdx = 0; layIdx < 3; layIdx++) {
        save[layIdx] = LumoSpiReadSaveFinish(layIdx);
        empty[layIdx] = LumoSpiReadFifoEmpty(layIdx);
      }
      LumoLog("Retry hasCamSaveFinish Save0:%d  Save1:%d  Save2:%d Empty0:%d  Empty1:%d  Empty2:%d \n", save[0],
              save[1], save[2], empty[0], empty[1], empty[2]);
      LumoFpgaReInit();
    }
  }

  if (hasCapLoadStart == 0) {
    LumoLog("LumoSpiIsCapConfFinish error\n");
    usleep(100 * 1000);
    LumoFpgaStandby();
    return -2;
  }
  if (hasCamSaveFinish == 0) {
    LumoLog("LumoSpiWaitCapSaveFinish error\n");
    usleep(100 * 1000);
    LumoFpgaStandby();
    return -3;
  }

  GetCameraTemperature(ctrlSigs);
  LumoSpiSetCamResetnAll(0);  // twice in a row on purpose
  LumoSpiSetCamResetnAll(0);

  // The whole chain open: layer 0 sends, 1 and 2 pass on.
  g_lumoLoadLayIdx = 0;
  LumoSpiSelectDataSrcOneLayer(2, 1);
  LumoSpiSetParalSendOneLayer(1, 1);
  LumoSpiSelectDataSrcOneLayer(1, 1);
  LumoSpiSetParalSendOneLayer(0, 1);
  LumoSpiSelectDataSrcOneLayer(0, 0);
  return hsyncErr[0];  // 0, or negative if the count of layer 0 could not be read
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

// --- read-out ---

// Opens or cuts the chain for a step of one layer; a longer step changes nothing.
static void StepChain(BYTE from, BYTE to) {
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

#include "common/fpga_ctrl/device/capture_trigger.h"

#include <unistd.h>

#include "common/bounds.h"
#include "common/fpga_ctrl/array/gpio.h"
#include "common/fpga_ctrl/capture/capture_sequencer.h"
#include "common/fpga_ctrl/device/clock.h"
#include "common/fpga_ctrl/device/pulses.h"
#include "common/fpga_ctrl/device/stc_link.h"
#include "common/fpga_ctrl/device/storage.h"
#include "common/log.h"
#include "common/usbserial/display_line.h"

namespace {

constexpr unsigned int kFastCountdown = 2000;  // ms before the shot from which the pulses come faster
constexpr BYTE kLastDelayMode = 7;             // above it stands the two-half shot, whose wait nothing stops
constexpr useconds_t kAfterSeries = 2000 * 1000;
constexpr useconds_t kRawLoadTime = 80 * 1000;
constexpr BYTE kLastLayer = 2;
constexpr BYTE kLastSubImage = 53;

// The save stage first: the snap thread starts at needCapture, and owns both from then on.
void SetShotStatus(ControlSignals* ctrlSigs, BYTE status) {
  ctrlSigs->needSave = status;
  ctrlSigs->needCapture = status;
}

// Shows a line on the remote, if there is one.
void Show(ControlSignals* ctrlSigs, DisplayLine line, const DisplayLevels& levels) {
  if (ctrlSigs->serialFd != -1) LumoSendDisplayLine(ctrlSigs, line, levels, false);
}

void DiskFull(ControlSignals* ctrlSigs, const DisplayLevels& levels) {
  LumoPulseTrain(6, 0);
  LumoGpioSetAdEn(1);
  ctrlSigs->needExitTimeLapse = 0;
  ctrlSigs->timeLapse = 0;
  SetShotStatus(ctrlSigs, kShotDiskFull);
  Show(ctrlSigs, kLineDiskFull, levels);
}

// A series goes on: `timeLapse` stays.
void ShotFailed(ControlSignals* ctrlSigs, const DisplayLevels& levels) {
  LumoLogAs("LumoNeedCapture", "Cap error need_capture:%d  need_save:%d\n", ctrlSigs->needCapture.load(),
            ctrlSigs->needSave.load());
  LumoPulseTrain(8, 0);
  LumoGpioSetAdEn(1);
  SetShotStatus(ctrlSigs, kShotFailed);
  Show(ctrlSigs, kLineError, levels);
}

void StopSeries(ControlSignals* ctrlSigs) {
  LumoGpioSetAdEn(1);
  ctrlSigs->needExitTimeLapse = 0;
  ctrlSigs->timeLapse = 0;
  SetShotStatus(ctrlSigs, kShotIdle);
}

// Stops the series if the button or a request wants it. True if it has.
bool StopSeriesIfAsked(ControlSignals* ctrlSigs) {
  if (ctrlSigs->timeLapse == 0 || ctrlSigs->delayMode > kLastDelayMode) return false;
  if (LumoStcGetBtnOut(ctrlSigs) == kBtnPressed) {
    StopSeries(ctrlSigs);
    LumoWaitBtnOut(ctrlSigs, kBtnReleased, 0);  // so that the press is not taken for a new shot
    usleep(kAfterSeries);
    return true;
  }
  if (ctrlSigs->needExitTimeLapse == kRequested) {
    StopSeries(ctrlSigs);
    usleep(kAfterSeries);
    return true;
  }
  return false;
}

// Blinks and beeps until the time of the shot, which is looked at only between pulses. False if the series was
// stopped.
bool CountDown(ControlSignals* ctrlSigs, unsigned int captureTime) {
  while (LumoGetTime() < captureTime) {
    usleep(LumoGetTime() + kFastCountdown < captureTime ? 900 * 1000 : 100 * 1000);
    LumoGpioSetLedEn0(0);
    if (ctrlSigs->timeLapse == 0) LumoGpioSetBuzzerOff(0, ctrlSigs->muteMode);
    usleep(100 * 1000);
    LumoSetPulseLines(1, ctrlSigs->muteMode);
    if (StopSeriesIfAsked(ctrlSigs)) return false;
  }
  return true;
}

// Follows the saving to its end. During a raw pass the snap thread asks here for frame after frame; the mailbox is
// emptied by its side alone, so a frame is loaded again every 80 ms until it asks for the next.
void FollowSave(ControlSignals* ctrlSigs) {
  BYTE lastRawLoadInfo = kRawLoadEmpty;
  for (;;) {
    const BYTE needCapture = ctrlSigs->needCapture;
    // The snap thread may restart the shot, which takes needCapture from 0 back to running.
    const bool exposed = needCapture == kShotIdle || needCapture == kShotRunning;
    if (ctrlSigs->needSave != kShotRunning || !exposed) return;

    const BYTE rawLoadInfo = ctrlSigs->rawLoadInfo;
    if (rawLoadInfo == kRawLoadEmpty) {
      usleep(1000);
      continue;
    }
    const BYTE layIdx = BMin(rawLoadInfo >> 6, kLastLayer);
    const BYTE subIdx = BMin(rawLoadInfo & 0x3F, kLastSubImage);
    LumoLoadNew(layIdx, subIdx);
    usleep(kRawLoadTime);
    // The first frame of a raw pass: the shot file itself is complete.
    if (lastRawLoadInfo == kRawLoadEmpty) LumoUpdateFileList(ctrlSigs);
    lastRawLoadInfo = rawLoadInfo;
  }
}

}  // namespace

BYTE LumoWaitBtnOut(ControlSignals* ctrlSigs, BYTE waitBtnOut, unsigned int maxTime) {
  for (;;) {
    BYTE btnOut = LumoStcGetBtnOut(ctrlSigs);
    if (btnOut == waitBtnOut) {
      usleep(10 * 1000);
      btnOut = LumoStcGetBtnOut(ctrlSigs);
    }
    usleep(1000);
    if (btnOut == waitBtnOut) return btnOut;
    if (maxTime != 0 && LumoGetTime() >= maxTime) return btnOut;
  }
}

void LumoNeedCapture(ControlSignals* ctrlSigs, unsigned int captureTime) {
  LumoLog("NeedCapture\n");
  LumoGpioSetAdEn(0);
  SetShotStatus(ctrlSigs, kShotAccepted);

  // Worked out once and shown in every line of this shot; without a remote nobody asks.
  DisplayLevels levels = {};
  if (ctrlSigs->serialFd != -1) levels = LumoReadDisplayLevels(ctrlSigs);
  if (LumoStorageEnough() == 0) {
    DiskFull(ctrlSigs, levels);
    return;
  }
  Show(ctrlSigs, kLineCapture, levels);
  if (!CountDown(ctrlSigs, captureTime)) return;

  LumoLog("StartCapture\n");
  SetShotStatus(ctrlSigs, kShotRunning);

  // One look decides: a second one might see a restart, and take it for a failure.
  BYTE needCapture = ctrlSigs->needCapture;
  for (; needCapture == kShotRunning; needCapture = ctrlSigs->needCapture) usleep(1000);
  if (needCapture != kShotIdle) {
    ShotFailed(ctrlSigs, levels);
    return;
  }

  LumoPulseTrain(2, ctrlSigs->muteMode);
  Show(ctrlSigs, kLineSave, levels);
  FollowSave(ctrlSigs);
  if (ctrlSigs->needSave != kShotIdle) {
    ShotFailed(ctrlSigs, levels);
    return;
  }

  LumoPulseTrain(4, ctrlSigs->muteMode);
  LumoGpioSetAdEn(1);
  LumoUpdateStorageLED(ctrlSigs);
  LumoUpdateFileList(ctrlSigs);
  Show(ctrlSigs, kLineShot, levels);
}

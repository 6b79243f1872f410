#include "common/fpga_ctrl/device/control_loop.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

#include "common/angle_reader/angle.h"
#include "common/bounds.h"
#include "common/control_signals.h"
#include "common/fpga_ctrl/array/camera_sensors.h"
#include "common/fpga_ctrl/array/gps_compass.h"
#include "common/fpga_ctrl/device/capture_trigger.h"
#include "common/fpga_ctrl/device/clock.h"
#include "common/fpga_ctrl/device/pulses.h"
#include "common/fpga_ctrl/device/stc_link.h"
#include "common/fpga_ctrl/device/storage.h"
#include "common/log.h"
#include "common/settings/settings.h"
#include "common/usbserial/display_line.h"

namespace {

// Wait before the shot, in ms, by delayMode.
constexpr std::array<unsigned int, 8> delayTimeList = {0, 1000, 2000, 5000, 10000, 15000, 20000, 30000};
// The two-half shot has no entry: it waits this long before each half.
constexpr BYTE kTwoHalfDelayMode = 8;
constexpr unsigned int kTwoHalfWait = 2000;

// Idle time before switching off, in ms, by shutdownMode. Mode 0 never switches off: its entry is not used.
constexpr std::array<int, 6> shutdownTimeList = {-1, 300000, 600000, 900000, 1200000, 1800000};

// Time-lapse interval in ms, by timeLapse less 1; the last entry serves all above too.
constexpr std::array<unsigned int, 7> timeLapseListModel2 = {30000, 45000, 60000, 90000, 120000, 180000, 240000};
constexpr std::array<unsigned int, 7> timeLapseList = {15000, 20000, 30000, 45000, 60000, 90000, 120000};

constexpr char kLoop[] = "LumoHandleControl";  // in whose name its steps log

constexpr unsigned int kLongPress = 3000;       // ms
constexpr unsigned int kSecondPress = 500;      // ms from the first release
constexpr unsigned int kFurtherPress = 800;     // ms from each later release
constexpr unsigned int kTeardownLimit = 30000;  // ms
constexpr unsigned int kAngleSettling = 3000;   // ms
constexpr BYTE kLowBattery = 10;                // raw samples below this switch off; 0 means no battery data

bool WaitBtn(ControlSignals* ctrlSigs, BYTE level, unsigned int length) {
  return LumoWaitBtnOut(ctrlSigs, level, LumoGetTime() + length) == level;
}

// Counts presses after the first has been released. 1 to 4; a fifth is not looked for.
int CountPresses(ControlSignals* ctrlSigs) {
  int presses = 1;
  while (presses < 4 && WaitBtn(ctrlSigs, kBtnPressed, presses == 1 ? kSecondPress : kFurtherPress)) {
    presses++;
    LumoWaitBtnOut(ctrlSigs, kBtnReleased, 0);
  }
  return presses;
}

void ButtonShot(ControlSignals* ctrlSigs, int presses) {
  constexpr std::array<BYTE, 4> delayModes = {0, 3, 4, 6};  // by presses less 1
  const BYTE delayMode = delayModes[static_cast<size_t>(presses - 1)];
  if (ctrlSigs->btnSetting == 0) {
    ctrlSigs->evCompVal = 0;
    ctrlSigs->strobeMode = 0;
    ctrlSigs->captureMode = 0;
    ctrlSigs->saveRaw = 0;
    ctrlSigs->isoMode = presses == 1 ? 0 : 1;  // who wants a delay has a tripod
  }
  ctrlSigs->delayMode = delayMode;
  const unsigned int captureTime = LumoGetTime() + delayTimeList[delayMode];
  ctrlSigs->twoHalfIdx = 0;
  LumoNeedCapture(ctrlSigs, captureTime);
}

// Returns true if the device is to switch off: a long press.
bool HandleButtonEdge(ControlSignals* ctrlSigs, unsigned int curTime, BYTE lastBtnOut, BYTE* curBtnOut) {
  usleep(10 * 1000);
  *curBtnOut = LumoStcGetBtnOut(ctrlSigs);
  if (*curBtnOut == lastBtnOut) return false;  // a bounce

  ctrlSigs->actionTime = curTime;
  if (*curBtnOut != kBtnPressed) return false;
  if (!WaitBtn(ctrlSigs, kBtnReleased, kLongPress)) return true;
  if (ctrlSigs->btnSetting >= 2) return false;
  ButtonShot(ctrlSigs, CountPresses(ctrlSigs));
  return false;
}

void DecodeRemoteCapCmd(ControlSignals* ctrlSigs) {
  const unsigned int cmd = ctrlSigs->remoteCapCmd;
  ctrlSigs->strobeMode = cmd >> 28 & 3;
  ctrlSigs->delayMode = BMin(cmd >> 24 & 0xF, kTwoHalfDelayMode);
  ctrlSigs->captureMode = cmd >> 16 & 7;
  const int ev = LMin(LMax(static_cast<int>(cmd >> 8 & 0xFF), 0x70), 0x90);
  ctrlSigs->evCompVal = static_cast<int8_t>(ev - 0x80);
  ctrlSigs->isoMode = cmd & 3;
}

// timeLapse is 1 or more.
unsigned int TimeLapseInterval(int deviceId, BYTE timeLapse) {
  const std::array<unsigned int, 7>& list = deviceId == 2 ? timeLapseListModel2 : timeLapseList;
  return list[static_cast<size_t>(BMin(timeLapse, 7) - 1)];
}

// curTime stays that of the pass that began the series, so actionTime stands at its start when it ends: a series
// longer than the idle limit is followed by a switch-off.
void RunTimeLapse(ControlSignals* ctrlSigs, unsigned int curTime, unsigned int captureTime) {
  // timeLapse is read once a turn: others may clear it at any moment.
  for (BYTE timeLapse = ctrlSigs->timeLapse; timeLapse != 0; timeLapse = ctrlSigs->timeLapse) {
    // From the planned time and not from now, so that the series does not drift.
    captureTime += TimeLapseInterval(ctrlSigs->deviceId, timeLapse);
    const unsigned int soonest = LumoGetTime() + 1000;
    if (captureTime < soonest) captureTime = soonest;
    ctrlSigs->actionTime = curTime;
    LumoNeedCapture(ctrlSigs, captureTime);
  }
}

void SecondHalf(ControlSignals* ctrlSigs, unsigned int curTime) {
  if (ctrlSigs->needCapture != kShotIdle || ctrlSigs->needSave != kShotIdle) return;
  const unsigned int captureTime = LumoGetTime() + kTwoHalfWait;
  ctrlSigs->twoHalfIdx = 2;
  ctrlSigs->actionTime = curTime;
  LumoNeedCapture(ctrlSigs, captureTime);
}

void RemoteCapture(ControlSignals* ctrlSigs, unsigned int curTime) {
  LumoLogAs(kLoop, "RemoteCap\n");
  DecodeRemoteCapCmd(ctrlSigs);
  ctrlSigs->remoteCapCmd = 0;  // lets the requester go before the shot is taken
  LumoSaveSetting(ctrlSigs);

  const BYTE delayMode = ctrlSigs->delayMode;
  const bool twoHalf = delayMode >= kTwoHalfDelayMode;
  const unsigned int captureTime = LumoGetTime() + (twoHalf ? kTwoHalfWait : delayTimeList[delayMode]);
  ctrlSigs->twoHalfIdx = twoHalf ? 1 : 0;
  ctrlSigs->actionTime = curTime;
  LumoNeedCapture(ctrlSigs, captureTime);

  if (twoHalf) {
    SecondHalf(ctrlSigs, curTime);
  } else {
    RunTimeLapse(ctrlSigs, curTime, captureTime);
  }
}

// Asks the user, who answers with two presses on the button.
void RequestConnection(ControlSignals* ctrlSigs) {
  LumoLogAs(kLoop, "ReqConnect\n");
  LumoPulseTrain(10, 0);
  const bool granted = WaitBtn(ctrlSigs, kBtnPressed, 3000) && WaitBtn(ctrlSigs, kBtnReleased, 1200) &&
                       WaitBtn(ctrlSigs, kBtnPressed, 1200) && WaitBtn(ctrlSigs, kBtnReleased, 1200);
  ctrlSigs->reqConnect = granted ? 0 : 0x55;
}

// The commands' results are not looked at: a failed format shows as a disk that is not there.
void FormatDisk(ControlSignals* ctrlSigs) {
  [[maybe_unused]] int result = system("umount /mnt/udisk");
  usleep(100 * 1000);
  result = system("mkdosfs -F 32 /dev/sda1");
  usleep(200 * 1000);
  result = system("mount -t vfat /dev/sda1 /mnt/udisk");
  LumoSetPulseLines(0, 0);
  usleep(500 * 1000);
  mkdir(kShotFolder, 0777);
  LumoSetPulseLines(1, 0);
  ctrlSigs->needUpdate = kRequested;
  ctrlSigs->needFormat = 0;
}

void ReplyStatus(ControlSignals* ctrlSigs) {
  const DisplayLevels levels = LumoReadDisplayLevels(ctrlSigs);
  const bool hasPosition = LumoGetGpsState(ctrlSigs) >= 1;
  LumoSendDisplayLine(ctrlSigs, kLineReady, levels, hasPosition);
  ctrlSigs->needWirelessCamInfo = 0;
}

bool SwitchOffIsDue(const ControlSignals* ctrlSigs, unsigned int curTime, BYTE maxBatVoltageVal) {
  if (maxBatVoltageVal != 0 && maxBatVoltageVal < kLowBattery) return true;
  if (ctrlSigs->needShutdown == kRequested) return true;
  // A setting may hold any number: one that the list does not know has no idle time, so it never switches off.
  const BYTE shutdownMode = ctrlSigs->shutdownMode;
  if (shutdownMode == 0 || shutdownMode >= shutdownTimeList.size()) return false;
  return ctrlSigs->actionTime + static_cast<unsigned int>(shutdownTimeList[shutdownMode]) < curTime;
}

// Serves the first request that is pending. Returns true if the device is to switch off.
bool ServeRequest(ControlSignals* ctrlSigs, unsigned int curTime, BYTE maxBatVoltageVal) {
  if (ctrlSigs->remoteCapCmd != 0) {
    RemoteCapture(ctrlSigs, curTime);
  } else if (ctrlSigs->needReadTemperature != 0) {
    ReadCameraTemperature(ctrlSigs);
    ctrlSigs->needReadTemperature = 0;
  } else if (ctrlSigs->reqConnect == kRequested) {
    RequestConnection(ctrlSigs);
  } else if (ctrlSigs->needUpdate == kRequested) {
    LumoUpdateStorageLED(ctrlSigs);
    LumoUpdateFileList(ctrlSigs);
    ctrlSigs->needUpdate = 0;
  } else if (SwitchOffIsDue(ctrlSigs, curTime, maxBatVoltageVal)) {
    return true;
  } else if (ctrlSigs->needFormat == kRequested) {
    FormatDisk(ctrlSigs);
  } else if (ctrlSigs->needWirelessCamInfo == kRequested) {
    ReplyStatus(ctrlSigs);
  } else if (ctrlSigs->needCompassCalibrate == 1 || ctrlSigs->needCompassCalibrate == 2) {
    const BYTE modeStart = ctrlSigs->needCompassCalibrate == 1 ? 1 : 0;
    ctrlSigs->needCompassCalibrate = LumoCompassCalibrate(modeStart) == 0 ? 0 : 0xFF;
  }
  return false;
}

// Empties the motion sensor's FIFO until its filter has settled. Nobody else reads it meanwhile.
void SettleAngle(ControlSignals* ctrlSigs, unsigned int angleInitTime) {
  if (LumoGetTime() - angleInitTime < kAngleSettling) {
    int vertexX = 0;
    int vertexY = 0;
    LumoReadAngle(&vertexX, &vertexY);
    return;
  }
  ctrlSigs->vertexReady = 1;
  fprintf(g_lumoDebug, "vertexReady OK\n");
}

void Quit(ControlSignals* ctrlSigs) {
  LumoLogAs(kLoop, "Quit\n");
  ctrlSigs->needQuit = 1;
  usleep(200 * 1000);
  LumoSetPulseLines(0, 0);
  usleep(1000 * 1000);
  LumoSetPulseLines(1, 0);

  // A hung teardown delays the power-off and does not prevent it.
  const unsigned int begin = LumoGetTime();
  while (ctrlSigs->needQuit == 1 && LumoGetTime() - begin < kTeardownLimit) usleep(1000);
  lumoStcNeedShutdown(ctrlSigs);
}

}  // namespace

void* LumoHandleControl(void* arg) {
  ControlSignals* ctrlSigs = static_cast<ControlSignals*>(arg);

  // A button that is held already is a known state, not an edge.
  BYTE lastBtnOut = LumoStcGetBtnOut(ctrlSigs);
  BYTE curBtnOut = lastBtnOut;
  if (LumoInitAngle() < 0) ctrlSigs->vertexReady = -1;
  const unsigned int angleInitTime = LumoGetTime();
  LumoPulseTrain(4, 0);
  LumoUpdateFileList(ctrlSigs);
  ctrlSigs->actionTime = LumoGetTime();

  for (;;) {
    bool quit = false;
    const unsigned int curTime = LumoGetTime();
    const BYTE maxBatVoltageVal = LumoGetBatteryVoltageVal(ctrlSigs);
    curBtnOut = LumoStcGetBtnOut(ctrlSigs);
    if (curBtnOut != lastBtnOut) {
      quit = HandleButtonEdge(ctrlSigs, curTime, lastBtnOut, &curBtnOut);
    } else if (curBtnOut != kBtnPressed) {
      quit = ServeRequest(ctrlSigs, curTime, maxBatVoltageVal);
    }
    lastBtnOut = curBtnOut;
    if (quit) break;
    if (ctrlSigs->vertexReady == 0) SettleAngle(ctrlSigs, angleInitTime);
    usleep(1000);
  }
  Quit(ctrlSigs);
  return nullptr;
}

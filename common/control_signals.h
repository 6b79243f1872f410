// The one shared state record of the process. It is a local of main, which never returns; every thread holds a
// pointer to it. Threads meet only here, by single stores that the other side polls, mostly every millisecond.
// There are no locks: each request field has one side that raises it and one that moves it on to 0 or a result.
// Requests with parameters write those first and the mailbox (`remoteCapCmd`) last.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>

#include "common/types.h"

// A field that one thread writes while another may look: an atomic of the same width, never a lock.
template <class T>
using Shared = std::atomic<T>;

constexpr int kFileListHeadRoom = 16;  // bytes in front of the list's text, where its status line goes
constexpr int kErrFileNameSize = 32;   // bytes of a slot
constexpr int kErrFileSlots = 512;

struct TagControlSignals {
  Shared<BYTE> needQuit;              // 0 run; 1 everybody stops (control thread); 0 again: teardown done (main)
  Shared<BYTE> needCapture;           // exposure stage of the shot, see ShotStatus
  Shared<BYTE> needSave;              // save stage of the shot, see ShotStatus
  Shared<BYTE> needUpdate;            // 0xFF: refresh storage colour and file list
  Shared<BYTE> needShutdown;          // 0xFF: power off; nothing clears it
  Shared<BYTE> needFormat;            // 0xFF: format the disk
  Shared<BYTE> needExitTimeLapse;     // 0xFF: leave the running time-lapse
  Shared<BYTE> needWirelessCamInfo;   // 0xFF: the remote asked for status
  Shared<BYTE> needCompassCalibrate;  // 1 start, 2 end; the control loop answers 0 or 0xFF
  Shared<BYTE> needReadTemperature;   // 1: take a fresh sensor temperature reading
  Shared<BYTE> rawLoadInfo;           // 0xFF empty; else layIdx in bits 7-6, subIdx in bits 5-0
  Shared<BYTE> reqConnect;            // 0x55 not granted, 0xFF pending, 0 granted
  Shared<BYTE> captureMode;           // 0-7; bit 0 manual exposure; 0-1 three steps, 2-3 six, 4 and above six wide
  Shared<BYTE> strobeMode;            // 0-3: exposure grid none, 10,000 us, 8,333 us, 8,333 us
  Shared<BYTE> timeLapse;             // 0 single shots, 1-7 interval index
  Shared<int8_t> evCompVal;           // thirds of a stop, -16 to +16
  Shared<BYTE> isoMode;               // 0 hand-held shutter limits, else tripod
  Shared<BYTE> delayMode;             // 0-7 delay index, 8 two-half shot
  Shared<BYTE> saveRaw;               // 1: dump raw frames after the shot
  Shared<BYTE> gyroCorrect;           // 0 none, 1 current tilt becomes level, 2 clear the offsets
  Shared<BYTE> saveSingle;            // 0 full shot, n: only camera n-1
  Shared<BYTE> btnSetting;            // 0 button uses defaults, 1 keeps the settings, 2 takes no shots
  Shared<BYTE> shutdownMode;          // auto-off index 0-5, 0 never
  Shared<BYTE> muteMode;              // 1: the buzzer keeps silent on signals that obey it
  Shared<BYTE> thumbCamIdx;           // 0-24: camera of the thumbnail
  Shared<BYTE> wirelessId;            // 0-9: this camera's address on the remote
  Shared<BYTE> twoHalfIdx;            // 0 ordinary, 1 first half, 2 second half
  Shared<BYTE> usbMode;               // bit 0 Wi-Fi, bit 1 Ethernet, bit 2 serial adapter (and GPS)
  Shared<BYTE> stcSpiMode;            // 0 no co-processor, 1 co-processor answers
  Shared<BYTE> ledCtrl0B;             // storage colour, blue bit
  Shared<BYTE> ledCtrl0G;             // green bit
  Shared<BYTE> ledCtrl0R;             // red bit
  Shared<BYTE> batCharging;           // 1: charger active
  Shared<BYTE> gpsState;              // 1: position known
  std::array<Shared<BYTE>, 64> batVoltageVal;  // ring of raw battery samples
  Shared<int> batVoltageValIdx;                // samples ever taken; slot is the count modulo 64
  Shared<unsigned int> batVoltageTime;         // ms, LumoGetTime of the last sample
  Shared<int> plusVertexX;                     // tilt offset, 1e-08 radian
  Shared<int> plusVertexY;
  Shared<int> deviceId;               // model number
  Shared<unsigned int> serialNo;      // one stable number per device
  Shared<unsigned int> remoteCapCmd;  // packed capture request, 0 empty, see PackRemoteCapCmd
  Shared<unsigned int> actionTime;    // ms, LumoGetTime of the last user action
  Shared<int> manualExpsUs;           // us
  Shared<int> manualIso;              // 100-1600
  Shared<int> vertexReady;            // motion sensor: -1 failed, 0 settling, 1 ready
  int vertexX;                        // tilt of the last shot, 1e-08 radian; snap thread only
  int vertexY;
  Shared<int> longitude;
  Shared<int> latitude;
  Shared<int> compassValue;
  Shared<int> lastExposure;  // us, middle exposure of the last shot
  Shared<int> lastIso;       // ISO of the same exposure
  Shared<int> serialFd;      // -1: no remote
  Shared<int> sessionNum;    // sessions in sessionList
  std::array<Shared<int>, 64> sessionList;
  char fileList[65536];     // 16 bytes of head room, then base names, each with CR LF
  Shared<int> errFileNum;   // slots used in errFileList, at most 512
  char errFileList[16384];  // 512 slots of 32 bytes
  Shared<int> prefixLen;
  char prefix[12];                         // at most 11 characters
  char oriInfo[11];                        // "%02d%02d%02d %c %c": time of the last shot, tripod, position
  std::array<Shared<int8_t>, 25> camTemp;  // degrees Celsius per camera, 0x7F no reading yet
};
using ControlSignals = TagControlSignals;

// An atomic here must be a plain store of the same width, and the arrays keep their sizes: other parts index by them.
static_assert(sizeof(Shared<BYTE>) == 1 && Shared<BYTE>::is_always_lock_free);
static_assert(sizeof(Shared<int>) == 4 && Shared<int>::is_always_lock_free);
static_assert(sizeof(ControlSignals::batVoltageVal) == 64);
static_assert(sizeof(ControlSignals::sessionList) == 64 * 4);
static_assert(sizeof(ControlSignals::fileList) == 65536);
static_assert(sizeof(ControlSignals::errFileList) == kErrFileSlots * kErrFileNameSize);
static_assert(sizeof(ControlSignals::prefix) == 12);
static_assert(sizeof(ControlSignals::oriInfo) == 11);
static_assert(sizeof(ControlSignals::camTemp) == 25);
static_assert(offsetof(ControlSignals, batVoltageValIdx) == 100 && offsetof(ControlSignals, fileList) == 436);
static_assert(sizeof(ControlSignals) == 436 + 65536 + 4 + 16384 + 4 + 12 + 11 + 25);
static_assert(offsetof(ControlSignals, batVoltageVal) == 34, "the one-byte fields stand without gaps in front");

// Values of `needCapture` and `needSave` that both stages share. Codes below 0x10 name a failed step; the table of
// each stage stands with the function that writes them (capture_start.h, capture_end.h, snap_process.h).
enum ShotStatus : BYTE {
  kShotIdle = 0,         // idle, or the stage ended well
  kShotDiskFull = 0x10,  // refused: not enough room
  kShotFailed = 0x11,    // final state of any failure
  kShotAccepted = 0xFE,  // delay running
  kShotRunning = 0xFF,   // the snap thread owns the shot
};

// Bits of `usbMode`: which USB adapters are plugged in.
constexpr BYTE kUsbWifi = 1;
constexpr BYTE kUsbEthernet = 2;
constexpr BYTE kUsbSerial = 4;  // the remote's; the device then has GPS and compass too

// Request fields that are raised by 0xFF.
constexpr BYTE kRequested = 0xFF;
constexpr BYTE kRawLoadEmpty = 0xFF;

// Packs a capture request. `ev` is evCompVal plus 0x80 and never below 0x70, so a valid request is never 0.
constexpr unsigned int PackRemoteCapCmd(unsigned int strobe, unsigned int delay, unsigned int capture, unsigned int ev,
                                        unsigned int iso) {
  return strobe * 0x10000000u + delay * 0x1000000u + capture * 0x10000u + ev * 0x100u + iso;
}

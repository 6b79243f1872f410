#include "common/usbserial/remote.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/bounds.h"
#include "common/control_signals.h"
#include "common/fpga_ctrl/device/clock.h"
#include "common/log.h"
#include "common/usbserial/port.h"

static constexpr unsigned int kFrameSize = 16;
static constexpr unsigned int kRingSize = 1024;
static constexpr unsigned int kRingMask = 0x3FF;
static_assert(kRingMask == kRingSize - 1);

// Bytes that wait to become frames. The counters only grow; a slot is a counter masked.
struct Ring {
  char cyclicBuf[kRingSize];
  unsigned int wrIdx;
  unsigned int rdIdx;
};

struct FrameTime {
  int year, month, day, hour, minute, second;  // year in the century
};

static char ByteAt(const Ring& ring, unsigned int offset) { return ring.cyclicBuf[(ring.rdIdx + offset) & kRingMask]; }

static int TwoDigits(const Ring& ring, unsigned int offset) {
  const char timeBuf[3] = {ByteAt(ring, offset), ByteAt(ring, offset + 1), '\0'};
  return atoi(timeBuf);
}

static bool IsBusy(const ControlSignals* ctrlSigs) {
  const BYTE needSave = ctrlSigs->needSave;
  return ctrlSigs->timeLapse != 0 || ctrlSigs->remoteCapCmd != 0 || needSave == kShotAccepted ||
         needSave == kShotRunning;
}

// A shot with the stored settings. Parameters first, the mailbox last; nobody waits for the control thread here.
static void PostCapture(ControlSignals* ctrlSigs, unsigned int isoMode) {
  const unsigned int strobe = ctrlSigs->strobeMode & 3u;
  const unsigned int delay = BMin(ctrlSigs->delayMode, 8);
  const unsigned int capture = ctrlSigs->captureMode & 7u;
  const int ev = LMin(LMax(ctrlSigs->evCompVal + 0x80, 0x70), 0x90);
  ctrlSigs->needExitTimeLapse = 0;
  ctrlSigs->timeLapse = 0;
  ctrlSigs->saveRaw = 0;
  ctrlSigs->gyroCorrect = 0;
  ctrlSigs->saveSingle = 0;
  ctrlSigs->remoteCapCmd = PackRemoteCapCmd(strobe, delay, capture, static_cast<unsigned int>(ev), isoMode);
}

// The 16 bytes at the ring's reading position. A frame for another camera, or with an unknown command, has no effect;
// any other sets the clock and counts as the user's activity, also if the camera is too busy for the command.
static void HandleFrame(ControlSignals* ctrlSigs, const Ring& ring) {
  const char command = ByteAt(ring, 2);
  if (ByteAt(ring, 1) != static_cast<char>('0' + ctrlSigs->wirelessId)) return;
  if (command != 'I' && command != 'H' && command != 'T') return;

  const FrameTime time = {TwoDigits(ring, 3), TwoDigits(ring, 5),  TwoDigits(ring, 7),
                          TwoDigits(ring, 9), TwoDigits(ring, 11), TwoDigits(ring, 13)};
  LumoSetSysTime(time.year + 2000, time.month, time.day, time.hour, time.minute, time.second);
  ctrlSigs->actionTime = LumoGetTime();
  if (IsBusy(ctrlSigs)) return;

  if (command == 'I') {
    ctrlSigs->needWirelessCamInfo = kRequested;
    fprintf(g_lumoDebug, "Serial Recv: GetInfo %02d-%02d-%02d %02d-%02d-%02d\n", time.year, time.month, time.day,
            time.hour, time.minute, time.second);
    return;
  }
  PostCapture(ctrlSigs, command == 'T' ? 1 : 0);
  fprintf(g_lumoDebug, "Serial Recv: %sCapture %02d-%02d-%02d %02d-%02d-%02d\n", command == 'H' ? "Hand" : "Tripod",
          time.year, time.month, time.day, time.hour, time.minute, time.second);
}

// A frame is used up whole, whoever it is for; on any other byte than "X" the search goes on with the next.
static void TakeFrames(ControlSignals* ctrlSigs, Ring* ring) {
  while (ring->wrIdx - ring->rdIdx >= kFrameSize) {
    if (ByteAt(*ring, 0) != 'X') {
      ring->rdIdx++;
      continue;
    }
    HandleFrame(ctrlSigs, *ring);
    ring->rdIdx += kFrameSize;
  }
}

void* LumoSerialMain(void* arg) {
  ControlSignals* ctrlSigs = static_cast<ControlSignals*>(arg);
  const int fd = HI_Serial_Open("/dev/ttyUSB0");
  ctrlSigs->serialFd = fd;
  HI_Serial_Init(fd, 9600, 0, 8, 1, 'N');
  fprintf(g_lumoDebug, "Serial Init: 9600, 0, 8, 1, N\n");

  Ring ring = {};
  char recvbuf[kRingSize] = {};
  while (ctrlSigs->needQuit == 0) {
    // At most 15 bytes wait from before. What one read brings on top of them is taken byte by byte into the ring and
    // looked at whenever a frame is full, so that a full read cannot overwrite what is still waiting.
    const int received = HI_Serial_Recv(fd, recvbuf, sizeof(recvbuf));
    if (received < 1) {
      LumoLog("Serial haven't data receive \n");
      usleep(1000);  // a pulled adapter is always ready to be read, and has nothing
      continue;
    }
    for (int i = 0; i < received; i++) {
      ring.cyclicBuf[ring.wrIdx++ & kRingMask] = recvbuf[i];
      TakeFrames(ctrlSigs, &ring);
    }
    memset(recvbuf, 0, sizeof(recvbuf));
  }
  HI_Serial_Close(fd);
  return nullptr;
}

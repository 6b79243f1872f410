// What comes in over the wireless remote's serial port, in pieces of any length. What the camera makes of it is held
// against a second reading of the same bytes in one piece.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "common/log.h"
#include "common/usbserial/port.h"
#include "common/usbserial/remote.h"
#include "fuzz/memory_doors.h"

using namespace fuzz;

namespace {

std::string toCamera;
size_t taken = 0;
unsigned pieces = 0;  // decides how long each is
int posted = 0;

// Frames of 16 bytes begin with an X; those for this camera, with a command that it knows, set its clock.
int FramesFor(char camera, const std::string& bytes) {
  int frames = 0;
  for (size_t at = 0; at + 16 <= bytes.size();) {
    if (bytes[at] != 'X') {
      at++;
      continue;
    }
    frames += bytes[at + 1] == camera && std::string("IHT").find(bytes[at + 2]) != std::string::npos;
    at += 16;
  }
  return frames;
}

}  // namespace

int HI_Serial_Open(const char*) { return 7; }
void HI_Serial_Close(int fd) { Require(fd == 7, "the port that was opened is closed"); }
int HI_Serial_Init(int, int, int, int, int, int) { return 0; }

int HI_Serial_Recv(int, char* data, int size) {
  Require(size >= 1 && size <= 1024, "room for a read");
  posted += signals->remoteCapCmd != 0;
  ControlThread();
  if (taken == toCamera.size()) {
    signals->needQuit = 1;
    return -1;
  }
  pieces = pieces * 1103515245 + 12345;
  const size_t length = (pieces >> 16) % 8 == 0 ? static_cast<size_t>(size) : (pieces >> 16) % 40 + 1;
  const size_t got = toCamera.copy(data, std::min(length, static_cast<size_t>(size)), taken);
  taken += got;
  return static_cast<int>(got);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static ControlSignals record;
  signals = std::construct_at(&record);
  g_lumoDebug = stderr;  // only a name here: the log goes nowhere
  record.manualExpsUs = 10000;
  record.manualIso = 100;
  record.wirelessId = static_cast<BYTE>(size % 10);
  // What a setting file may hold.
  record.strobeMode = record.delayMode = record.captureMode = static_cast<BYTE>(size * 7);
  record.evCompVal = static_cast<int8_t>(size * 31);
  toCamera.assign(reinterpret_cast<const char*>(data), size);
  taken = 0;
  pieces = static_cast<unsigned>(size);
  clockSets = posted = 0;
  LumoSerialMain(&record);
  const int frames = FramesFor(static_cast<char>('0' + record.wirelessId), toCamera);
  Require(clockSets == frames, "each frame for this camera sets the clock, and nothing else does");
  Require(posted <= frames, "no shot without a frame");
  return 0;
}

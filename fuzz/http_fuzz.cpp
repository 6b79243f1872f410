// What a client may send: the input is that, byte for byte, on each of the two ports in turn, for a camera that is
// ready and one that may be busy, and once more from a client that goes away in the middle of the answer.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "common/httpd/router.h"
#include "common/log.h"
#include "fuzz/answer.h"
#include "fuzz/memory_doors.h"
#include "fuzz/small_shots.h"

using namespace fuzz;

namespace {

constexpr char kList[] = "20261124_203456_00_S_N\r\n20261124_203512_01_S_N\r\n";

// The camera as it is in front of every request, in one of a few moods.
void SetUp(unsigned mood) {
  static ControlSignals record;
  signals = std::construct_at(&record);
  record.serialFd = -1;
  record.deviceId = 2;
  record.manualExpsUs = 10000;
  record.manualIso = 100;
  record.usbMode = (mood & 1) != 0 ? kUsbEthernet | kUsbSerial : kUsbWifi;
  record.timeLapse = (mood & 2) != 0 ? 3 : 0;
  record.needSave = (mood & 4) != 0 ? kShotRunning : kShotIdle;
  record.batVoltageValIdx = (mood & 8) != 0 ? 64 : 0;
  for (auto& sample : record.batVoltageVal) sample = 50;
  for (auto& temperature : record.camTemp) temperature = 0x7F;
  for (size_t i = 0; i < sizeof kList; i++) record.fileList[16 + i] = kList[i];
  disk = {};
  for (const auto& [name, content] : SmallShots()) disk.files["/mnt/udisk/DCIM/" + name] = content;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const auto mood = static_cast<unsigned>(size);  // nothing in a request says it, so its length does
  SetUp(0);                                       // ready for a shot
  Serve(input, kControlMode);
  SetUp(mood);
  Serve(input, kControlMode);
  Serve(input, kBulkMode);
  Serve(input, mood & 1, static_cast<int>(mood % 9));
  return 0;
}

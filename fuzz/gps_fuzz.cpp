// What the module with GPS and compass answers: the input is that, two bytes for each register that is read, of which
// the second decides whether the reading fails.
#include <cstddef>
#include <cstdint>
#include <memory>

#include "common/angle_reader/angle.h"
#include "common/fpga_ctrl/array/bring_up.h"
#include "common/fpga_ctrl/array/fpga_commands.h"
#include "common/fpga_ctrl/array/gps_compass.h"
#include "common/log.h"
#include "fuzz/memory_doors.h"

using namespace fuzz;

namespace {

const uint8_t* answers = nullptr;
size_t left = 0;

uint8_t Next() { return left == 0 ? 0 : (left--, *answers++); }
int NextInt() {
  unsigned value = 0;
  for (int i = 0; i < 4; i++) value = value << 8 | Next();
  return static_cast<int>(value);
}

}  // namespace

int LumoSpiCciRead(BYTE, BYTE, uint16_t, int) {
  const uint8_t value = Next(), fails = Next();
  return fails < 250 ? value : -1 - value % 3;
}
int LumoSpiCciWriteOneCamera(BYTE, BYTE, uint16_t, BYTE) { return 0; }
void LumoSpiPulseFifoReset() {}
int LumoFpgaAwake() { return Next() < 250 ? 0 : -1; }
void LumoFpgaStandby() {}
int LumoReadAngle(int* vertexX, int* vertexY) {
  *vertexX = NextInt();
  *vertexY = NextInt();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static ControlSignals record;
  signals = std::construct_at(&record);
  g_lumoDebug = stderr;  // only a name here: the log goes nowhere
  answers = data;
  left = size;
  record.usbMode = kUsbSerial;
  record.vertexReady = static_cast<BYTE>(size % 2);
  const int state = LumoGetGpsState(&record);
  Require(state == 0 || state == 1 || state == -2, "a state of the GPS");
  const int heading = record.compassValue;
  Require(heading >= -18000 && heading <= 18000, "a heading within a turn");
  Require(state == -2 || (state == 1) == (record.latitude != 0 || record.longitude != 0), "no position, no fix");
  const int calibrated = LumoCompassCalibrate(static_cast<BYTE>(size % 2));
  Require(calibrated >= -2 && calibrated <= 0, "an answer of the calibration");
  return 0;
}

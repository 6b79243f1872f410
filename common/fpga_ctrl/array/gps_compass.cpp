#include "common/fpga_ctrl/array/gps_compass.h"

#include <array>
#include <cmath>

#include "common/angle_reader/angle.h"
#include "common/fpga_ctrl/array/bring_up.h"
#include "common/fpga_ctrl/array/fpga_commands.h"
#include "common/log.h"

namespace {

constexpr int kReadWait = 500;  // ms, for one byte

constexpr std::array<uint16_t, 4> kLatitude = {0xFF00, 0xFF01, 0xFF02, 0xFF03};
// The second byte is the first one again, on purpose: the device has always recorded it so.
constexpr std::array<uint16_t, 4> kLongitude = {0xFF04, 0xFF04, 0xFF06, 0xFF07};
constexpr uint16_t kCompassX = 0xFF08;  // each axis: low byte, high byte
constexpr uint16_t kCompassY = 0xFF0A;
constexpr uint16_t kCompassZ = 0xFF0C;
constexpr uint16_t kCalibrationStart = 0xFF0E;
constexpr uint16_t kCalibrationEnd = 0xFF0F;

constexpr double kFullField = 7000.0;  // compass units
constexpr double kVertexUnit = 1e-08;  // radian

BYTE ReadByte(uint16_t address) { return static_cast<BYTE>(LumoSpiCciRead(0, 0, address, kReadWait)); }

// Degrees and minutes (degrees x 10,000,000 + minutes x 100,000) to degrees x 10,000,000. No position is so large that
// the sum leaves 32 bits; garbage wraps.
int ReadPosition(const std::array<uint16_t, 4>& registers) {
  unsigned int raw = 0;
  for (size_t i = 0; i < registers.size(); i++) raw |= static_cast<unsigned int>(ReadByte(registers[i])) << 8 * i;
  const int value = static_cast<int>(raw);
  const int degrees = value / 10000000 * 10000000;
  const int fraction = value % 10000000 * 5 / 3;
  return static_cast<int>(static_cast<unsigned int>(degrees) + static_cast<unsigned int>(fraction));
}

int ReadAxis(uint16_t address) {
  const BYTE low = ReadByte(address);
  const BYTE high = ReadByte(static_cast<uint16_t>(address + 1));
  return static_cast<int16_t>(high << 8 | low);
}

// The field, turned back into the horizontal by the tilt; its direction there.
int Heading(int compassValX, int compassValY, int compassValZ, int vertexX, int vertexY) {
  const double angleX = vertexX * kVertexUnit;
  const double angleY = vertexY * kVertexUnit;
  const double srcP3DX = compassValX / kFullField;
  const double srcP3DY = compassValY / kFullField;
  const double srcP3DZ = compassValZ / kFullField;
  const double dstP3DY = srcP3DY * cos(angleY) - srcP3DZ * sin(angleY);
  const double tmpZ = srcP3DY * sin(angleY) + srcP3DZ * cos(angleY);
  const double dstP3DX = srcP3DX * cos(angleX) + tmpZ * sin(angleX);
  const double directionAngle = atan2(dstP3DY, dstP3DX);
  return static_cast<int>(directionAngle / 3.1415926535897 * 180.0 * 100.0);
}

}  // namespace

int LumoReadGpsCompass(Shared<int>* longitude, Shared<int>* latitude, Shared<int>* compassValue, Shared<BYTE>* gpsState,
                       int vertexReady) {
  const int foundLatitude = ReadPosition(kLatitude);
  const int foundLongitude = ReadPosition(kLongitude);
  *latitude = foundLatitude;
  *longitude = foundLongitude;
  *gpsState = foundLatitude == 0 && foundLongitude == 0 ? 0 : 1;

  const int compassValX = ReadAxis(kCompassX);
  const int compassValY = ReadAxis(kCompassY);
  const int compassValZ = ReadAxis(kCompassZ);
  int vertexX = 0;
  int vertexY = 0;
  if (vertexReady == 1) LumoReadAngle(&vertexX, &vertexY);
  const int heading = Heading(compassValX, compassValY, compassValZ, vertexX, vertexY);
  *compassValue = heading;
  LumoLog(
      "Read GPS: longitude:%d, latitude:%d, compassValX:%d, compassValY:%d, compassValZ:%d, "
      "compassValue:%d\n",
      foundLongitude, foundLatitude, compassValX, compassValY, compassValZ, heading);
  return 0;
}

namespace {

// The array out of standby, its command FIFOs empty. False if it did not wake, which is told in the
// name of `function`; it is back in standby then.
bool WakeModule(const char* function) {
  if (LumoFpgaAwake() < 0) {
    LumoLogAs(function, "LumoFpgaAwake error\n");
    LumoFpgaStandby();
    return false;
  }
  LumoSpiPulseFifoReset();
  return true;
}

}  // namespace

int LumoGetGpsState(ControlSignals* ctrlSigs) {
  if ((ctrlSigs->usbMode & kUsbSerial) == 0) return -1;
  if (!WakeModule(__func__)) return -2;
  const int result = LumoReadGpsCompass(&ctrlSigs->longitude, &ctrlSigs->latitude, &ctrlSigs->compassValue,
                                        &ctrlSigs->gpsState, ctrlSigs->vertexReady);
  LumoFpgaStandby();
  return result < 0 ? -3 : ctrlSigs->gpsState.load();
}

int LumoCompassCalibrate(BYTE modeStart) {
  if (!WakeModule(__func__)) return -1;
  const int answer = LumoSpiCciRead(0, 0, kLatitude[0], kReadWait);
  LumoSpiCciWriteOneCamera(0, 0, modeStart != 0 ? kCalibrationStart : kCalibrationEnd, 0xFF);
  LumoFpgaStandby();
  return answer == 0 ? 0 : -2;
}

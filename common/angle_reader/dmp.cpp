#include "common/angle_reader/dmp.h"

#include <array>
#include <cstddef>

#include "common/angle_reader/gestures.h"
#include "common/angle_reader/motion_sensor.h"

dmp_s dmp = {};

static constexpr uint16_t kStartAddress = 0x0400;
static constexpr uint16_t kDmpSampleRate = 200;  // Hz

// Places in the program.
static constexpr uint16_t kFifoRateDiv = 0x216;
static constexpr uint16_t kGyroAxes = 0x426;
static constexpr uint16_t kAccelAxes = 0x42A;
static constexpr uint16_t kAccelSigns = 0x431;
static constexpr uint16_t kGyroSigns = 0x440;
static constexpr uint16_t kGyroCal = 0x4B8;
static constexpr uint16_t kAndroidOrient = 0x73D;
static constexpr uint16_t kTap = 0x8B0;
static constexpr uint16_t kLpQuat = 0xA98;
static constexpr uint16_t kQuat6 = 0xA9E;
static constexpr uint16_t kGyroSource = 0xAA2;
static constexpr uint16_t kSendRaw = 0xAA7;
static constexpr uint16_t kSendGesture = 0xAB6;
static constexpr uint16_t kFifoRateEnd = 0xAC1;
static constexpr uint16_t kGyroScale = 0x068;

static constexpr int32_t kGyroUnit = 46850825;  // the gyroscope's at 200 Hz

static constexpr uint16_t kQuaternions = kDmpQuat3 | kDmpQuat6;
static constexpr uint16_t kGestures = kDmpTap | kDmpOrientation;
static constexpr uint16_t kGyros = kDmpRawGyro | kDmpCalGyro;

template <size_t N>
static int WriteAt(uint16_t address, const std::array<uint8_t, N>& bytes) {
  return mpu_write_mem(address, N, bytes.data());
}

// --- mounting ---

uint16_t inv_row_2_scale(const int8_t* row) {
  if (row[0] > 0) return 0;
  if (row[0] < 0) return 4;
  if (row[1] > 0) return 1;
  if (row[1] < 0) return 5;
  if (row[2] > 0) return 2;
  if (row[2] < 0) return 6;
  return 7;
}

uint16_t inv_orientation_matrix_to_scalar(const int8_t* matrix) {
  return static_cast<uint16_t>(inv_row_2_scale(matrix) | inv_row_2_scale(matrix + 3) << 3 |
                               inv_row_2_scale(matrix + 6) << 6);
}

using Axes = std::array<uint8_t, 3>;

// Which axis stands at each place. A code of 3 names none: it is a row of zeros, and reads the table's last entry.
static Axes AxesOf(const Axes& table, uint16_t orient) {
  Axes axes = {};
  for (size_t i = 0; i < axes.size(); i++) {
    const size_t code = orient >> 3 * i & 3;
    axes[i] = table[code < table.size() ? code : table.size() - 1];
  }
  return axes;
}

static Axes SignsOf(Axes signs, uint16_t orient) {
  for (size_t i = 0; i < signs.size(); i++) {
    if ((orient >> 3 * i & 4) != 0) signs[i] |= 1;
  }
  return signs;
}

int dmp_set_orientation(uint16_t orient) {
  if (WriteAt(kGyroAxes, AxesOf({0x4C, 0xCD, 0x6C}, orient)) < 0) return -1;
  if (WriteAt(kAccelAxes, AxesOf({0x0C, 0xC9, 0x2C}, orient)) < 0) return -1;
  if (WriteAt(kGyroSigns, SignsOf({0x36, 0x56, 0x76}, orient)) < 0) return -1;
  if (WriteAt(kAccelSigns, SignsOf({0x26, 0x46, 0x66}, orient)) < 0) return -1;
  dmp.orient = orient;
  return 0;
}

// --- features ---

int dmp_load_motion_driver_firmware() {
  return mpu_load_firmware(kDmpCodeSize, dmp_memory, kStartAddress, kDmpSampleRate);
}

int dmp_enable_gyro_cal(uint8_t enable) {
  constexpr std::array<uint8_t, 9> on = {0xB8, 0xAA, 0xB3, 0x8D, 0xB4, 0x98, 0x0D, 0x35, 0x5D};
  constexpr std::array<uint8_t, 9> off = {0xB8, 0xAA, 0xAA, 0xAA, 0xB0, 0x88, 0xC3, 0xC5, 0xC7};
  return WriteAt(kGyroCal, enable != 0 ? on : off);
}

int dmp_enable_lp_quat(uint8_t enable) {
  constexpr std::array<uint8_t, 4> on = {0xC0, 0xC2, 0xC4, 0xC6};
  constexpr std::array<uint8_t, 4> off = {0x8B, 0x8B, 0x8B, 0x8B};
  if (WriteAt(kLpQuat, enable != 0 ? on : off) < 0) return -1;
  return mpu_reset_fifo();
}

int dmp_enable_6x_lp_quat(uint8_t enable) {
  constexpr std::array<uint8_t, 4> on = {0x20, 0x28, 0x30, 0x38};
  constexpr std::array<uint8_t, 4> off = {0xA3, 0xA3, 0xA3, 0xA3};
  if (WriteAt(kQuat6, enable != 0 ? on : off) < 0) return -1;
  return mpu_reset_fifo();
}

// What goes into a packet besides the quaternion.
static int SelectOutputs(uint16_t mask) {
  constexpr uint8_t none = 0xA3;
  std::array<uint8_t, 10> raw = {none, 0xC0, 0xC8, 0xC2, 0xC4, 0xCC, 0xC6, none, none, none};
  if ((mask & kDmpRawAccel) == 0) raw[1] = raw[2] = raw[3] = none;
  if ((mask & kGyros) == 0) raw[4] = raw[5] = raw[6] = none;
  if (WriteAt(kSendRaw, raw) < 0) return -1;
  const uint8_t gesture = (mask & kGestures) != 0 ? 0x20 : 0xD8;
  return WriteAt<1>(kSendGesture, {gesture});
}

static int SelectGyro(uint16_t mask) {
  constexpr std::array<uint8_t, 4> calibrated = {0xB2, 0x8B, 0xB6, 0x9B};
  constexpr std::array<uint8_t, 4> raw = {0xB0, 0x80, 0xB4, 0x90};
  if (dmp_enable_gyro_cal((mask & kDmpGyroCal) != 0) < 0) return -1;
  if ((mask & kGyros) == 0) return 0;
  return WriteAt(kGyroSource, (mask & kDmpCalGyro) != 0 ? calibrated : raw);
}

// What counts as a tap, and what as a shake of the camera.
static int SetTaps() {
  if (dmp_set_tap_thresh(7, 250) < 0 || dmp_set_tap_axes(7) < 0 || dmp_set_tap_count(1) < 0) return -1;
  if (dmp_set_tap_time(100) < 0 || dmp_set_tap_time_multi(500) < 0) return -1;
  if (dmp_set_shake_reject_thresh(kGyroUnit, 200) < 0) return -1;
  return dmp_set_shake_reject_time(40) < 0 || dmp_set_shake_reject_timeout(10) < 0 ? -1 : 0;
}

static int SelectGestures(uint16_t mask) {
  const bool tap = (mask & kDmpTap) != 0;
  if (WriteAt<1>(kTap, {static_cast<uint8_t>(tap ? 0xF8 : 0xD8)}) < 0) return -1;
  if (tap && SetTaps() < 0) return -1;
  const uint8_t orientation = (mask & kDmpOrientation) != 0 ? 0xD9 : 0xD8;
  return WriteAt<1>(kAndroidOrient, {orientation});
}

static uint8_t PacketLength(uint16_t mask) {
  int length = 0;
  if ((mask & kDmpRawAccel) != 0) length += 6;
  if ((mask & kGyros) != 0) length += 6;
  if ((mask & kQuaternions) != 0) length += 16;
  if ((mask & kGestures) != 0) length += 4;
  return static_cast<uint8_t>(length);
}

int dmp_enable_feature(uint16_t mask) {
  constexpr std::array<uint8_t, 4> gyroScale = {0x02, 0xCA, 0xE3, 0x09};
  static_assert(kGyroUnit == 0x02CAE309);
  if (WriteAt(kGyroScale, gyroScale) < 0) return -1;
  if (SelectOutputs(mask) < 0) return -1;
  if (SelectGyro(mask) < 0) return -1;
  if (SelectGestures(mask) < 0) return -1;
  if (dmp_enable_lp_quat((mask & kDmpQuat3) != 0) < 0) return -1;
  if (dmp_enable_6x_lp_quat((mask & kDmpQuat6) != 0) < 0) return -1;
  dmp.feature_mask = mask | kDmpPedometer;
  if (mpu_reset_fifo() < 0) return -1;
  dmp.packet_length = PacketLength(mask);
  return 0;
}

int dmp_set_fifo_rate(uint16_t rate) {
  if (rate == 0 || rate > kDmpSampleRate) return -1;
  const int div = kDmpSampleRate / rate - 1;
  if (WriteAt<2>(kFifoRateDiv, {static_cast<uint8_t>(div >> 8), static_cast<uint8_t>(div)}) < 0) return -1;
  constexpr std::array<uint8_t, 12> end = {0xFE, 0xF2, 0xAB, 0xC4, 0xAA, 0xF1, 0xDF, 0xDF, 0xBB, 0xAF, 0xDF, 0xDF};
  if (WriteAt(kFifoRateEnd, end) < 0) return -1;
  dmp.fifo_rate = rate;
  return 0;
}

// --- packets ---

static int32_t Signed32(const uint8_t* bytes) {
  return static_cast<int32_t>(static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
                              static_cast<uint32_t>(bytes[2]) << 8 | bytes[3]);
}

static short Signed16(const uint8_t* bytes) { return static_cast<int16_t>(bytes[0] << 8 | bytes[1]); }

// A quaternion's squared length, in units in which one is 0x10000000. Anything far from one is no quaternion: the
// reader has lost its place in the FIFO.
static bool IsQuaternion(const long* quat) {
  uint32_t sum = 0;
  for (int i = 0; i < 4; i++) {
    const int32_t part = static_cast<int32_t>(quat[i]) >> 16;
    sum += static_cast<uint32_t>(part * part);
  }
  return sum >= 0x0F000000 && sum <= 0x11000000;
}

int dmp_read_fifo(short* gyro, short* accel, long* quat, short* sensors, unsigned char* more) {
  *sensors = 0;
  uint8_t packet[32] = {};
  if (dmp.packet_length > sizeof(packet)) return -1;
  if (mpu_read_fifo_stream(dmp.packet_length, packet, more) < 0) return -1;

  const uint8_t* at = packet;
  if ((dmp.feature_mask & kQuaternions) != 0) {
    for (int i = 0; i < 4; i++, at += 4) quat[i] = Signed32(at);
    if (!IsQuaternion(quat)) {
      mpu_reset_fifo();
      return -1;
    }
    *sensors |= kPacketQuat;
  }
  if ((dmp.feature_mask & kDmpRawAccel) != 0) {
    for (int i = 0; i < 3; i++, at += 2) accel[i] = Signed16(at);
    *sensors |= kPacketAccel;
  }
  if ((dmp.feature_mask & kGyros) != 0) {
    for (int i = 0; i < 3; i++, at += 2) gyro[i] = Signed16(at);
    *sensors |= kPacketGyro;
  }
  if ((dmp.feature_mask & kGestures) != 0) decode_gesture(at);
  return 0;
}

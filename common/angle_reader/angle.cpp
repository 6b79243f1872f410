#include "common/angle_reader/angle.h"

#include <cmath>

#include "common/angle_reader/dmp.h"
#include "common/angle_reader/motion_sensor.h"
#include "common/angle_reader/self_test.h"
#include "common/log.h"

static constexpr int kTries = 10;
static constexpr unsigned int kTryPause = 5;  // ms

static constexpr uint8_t kSensors = kXyzGyro | kXyzAccel;
static constexpr uint16_t kRate = 100;  // Hz
static constexpr uint16_t kFeatures = kDmpTap | kDmpOrientation | kDmpQuat6 | kDmpGyroCal | kDmpRawAccel | kDmpCalGyro;
static_assert(kSensors == 0x78 && kFeatures == 0x173);

// How the chip sits in the camera: its x and y are the camera's, reversed.
static constexpr int8_t gyro_orientation[9] = {-1, 0, 0, 0, -1, 0, 0, 0, 1};

int LumoInitAngle() {
  if (mpu_init() < 0) {
    LumoLog("mpu_init error\n");
    return -1;
  }
  if (mpu_set_sensors(kSensors) < 0) {
    LumoLog("mpu_set_sensor come across error\n");
    return -2;
  }
  if (mpu_configure_fifo(kSensors) < 0) {
    LumoLog("mpu_configure_fifo come across error\n");
    return -3;
  }
  if (mpu_set_sample_rate(kRate) < 0) {
    LumoLog("mpu_set_sample_rate error\n");
    return -4;
  }
  if (dmp_load_motion_driver_firmware() < 0) {
    LumoLog("dmp_load_motion_driver_firmware come across error\n");
    return -5;
  }
  if (dmp_set_orientation(inv_orientation_matrix_to_scalar(gyro_orientation)) < 0) {
    LumoLog("dmp_set_orientation come across error\n");
    return -6;
  }
  if (dmp_enable_feature(kFeatures) < 0) {
    LumoLog("dmp_enable_feature come across error\n");
    return -7;
  }
  if (dmp_set_fifo_rate(kRate) < 0) {
    LumoLog("dmp_set_fifo_rate come across error\n");
    return -8;
  }
  run_self_test();
  if (mpu_set_dmp_state(1) < 0) {
    LumoLog("mpu_set_dmp_state come across error\n");
    return -9;
  }
  fprintf(g_lumoDebug, "LumoInitAngle OK\n");
  return 0;
}

static int Truncated(double value) { return static_cast<int>(value); }

// An arc sine of what rounding, or a quaternion a little longer than one, has taken past one is a quarter turn.
static double QuarterTurn(double sine) { return asin(fmin(fmax(sine, -1.0), 1.0)); }

static void AnglesOf(const long* quat, int* vertexX, int* vertexY) {
  constexpr double one = 1073741824.0;
  const double q0 = static_cast<double>(quat[0]) / one;
  const double q1 = static_cast<double>(quat[1]) / one;
  const double q2 = static_cast<double>(quat[2]) / one;
  const double q3 = static_cast<double>(quat[3]) / one;
  const double pitch = QuarterTurn(-2 * q1 * q3 + 2 * q0 * q2);
  const double roll = atan2(2 * q2 * q3 + 2 * q0 * q1, -2 * q1 * q1 - 2 * q2 * q2 + 1);
  const double yaw = atan2(2 * (q1 * q2 + q0 * q3), q0 * q0 + q1 * q1 - q2 * q2 - q3 * q3);
  // The yaw's share is a few billionths: it may tip the truncation, no more.
  *vertexX = Truncated(pitch * 100000000.0 + yaw * 1e-09);
  *vertexY = Truncated(roll * 100000000.0);
}

int LumoReadAngle(int* vertexX, int* vertexY) {
  for (int i = 0; i < kTries; i++) {
    short gyro[3] = {};
    short accel[3] = {};
    long quat[4] = {};
    short sensors = 0;
    unsigned char more = 0;
    if (dmp_read_fifo(gyro, accel, quat, &sensors, &more) >= 0) {
      if ((sensors & kPacketQuat) != 0) {
        AnglesOf(quat, vertexX, vertexY);
        return 0;
      }
      LumoLog("INV_WXYZ_QUAT error\n");
    }
    delay_ms(kTryPause);
  }
  return -1;
}

#include "common/angle_reader/self_test.h"

#include <cmath>

#include "common/angle_reader/soft_i2c.h"

static constexpr int kTries = 2;
static constexpr BYTE kPacket = 12;          // accelerometer x y z, gyroscope x y z, 16 bits each
static constexpr BYTE kSelfTestBits = 0xE0;  // of gyro_cfg and accel_cfg: all three axes move
static constexpr BYTE kTrimRegister = 0x0D;  // four registers: x, y, z, and the accelerometer's low bits

static int WriteOne(BYTE regAddr, BYTE value) { return LumoI2cWrite(regAddr, 1, &value); }

static int Word(const BYTE* bytes) { return static_cast<int16_t>(bytes[0] << 8 | bytes[1]); }

// Sets the test's ranges and lets the FIFO fill for its measuring time.
static int Measure(bool moving) {
  const BYTE move = moving ? kSelfTestBits : 0;
  if (WriteOne(st.reg->fifo_en, 0) < 0) return -1;
  if (WriteOne(st.reg->lpf, st.test->reg_lpf) < 0) return -1;
  if (WriteOne(st.reg->rate_div, st.test->reg_rate_div) < 0) return -1;
  if (WriteOne(st.reg->gyro_cfg, st.test->reg_gyro_fsr | move) < 0) return -1;
  if (WriteOne(st.reg->accel_cfg, st.test->reg_accel_fsr | move) < 0) return -1;
  delay_ms(st.test->wait_ms);  // until the masses have settled
  if (WriteOne(st.reg->user_ctrl, 0x04) < 0) return -1;
  if (WriteOne(st.reg->user_ctrl, 0x40) < 0) return -1;
  if (WriteOne(st.reg->fifo_en, kXyzGyro | kXyzAccel) < 0) return -1;
  delay_ms(st.test->wait_ms);
  return WriteOne(st.reg->fifo_en, 0);
}

// Averages over the test's measuring time, in degrees per second and g.
static int get_st_biases(float* gyro, float* accel, bool moving) {
  if (Measure(moving) < 0) return -1;
  BYTE count[2] = {};
  if (LumoI2cRead(st.reg->fifo_count_h, sizeof(count), count) < 0) return -1;
  const int packets = (count[0] << 8 | count[1]) / kPacket;
  if (packets < st.test->packet_thresh) return -1;

  int sums[6] = {};
  for (int i = 0; i < packets; i++) {
    BYTE packet[kPacket] = {};
    if (LumoI2cRead(st.reg->fifo_r_w, kPacket, packet) < 0) return -1;
    for (int k = 0; k < 6; k++) sums[k] += Word(packet + 2 * k);
  }
  for (int axis = 0; axis < 3; axis++) {
    const float accelMean = static_cast<float>(sums[axis]) / static_cast<float>(packets);
    const float gyroMean = static_cast<float>(sums[3 + axis]) / static_cast<float>(packets);
    accel[axis] = accelMean / static_cast<float>(st.test->accel_sens);
    gyro[axis] = gyroMean / static_cast<float>(st.test->gyro_sens);
  }
  return 0;
}

// The factory's answer of each accelerometer axis in g, 0 where it left none.
static void get_accel_prod_shift(const BYTE* trim, float* shift) {
  for (int axis = 0; axis < 3; axis++) {
    const int code = (trim[axis] >> 3 & 0x1C) | (trim[3] >> (4 - 2 * axis) & 3);
    shift[axis] = code == 0 ? 0 : 0.34F * powf(0.92F / 0.34F, static_cast<float>(code - 1) / 30.0F);
  }
}

static bool WithinTrim(float answer, float factory, float variation, float least, float most) {
  if (factory > 0) return fabsf(answer / factory - 1) <= variation;
  return answer >= least && answer <= most;
}

static bool accel_self_test(const BYTE* trim, const float* still, const float* moved) {
  float shift[3] = {};
  get_accel_prod_shift(trim, shift);
  for (int axis = 0; axis < 3; axis++) {
    const float answer = fabsf(moved[axis] - still[axis]);
    if (!WithinTrim(answer, shift[axis], st.test->max_accel_var, st.test->min_g, st.test->max_g)) return false;
  }
  return true;
}

static bool gyro_self_test(const BYTE* trim, const float* still, const float* moved) {
  for (int axis = 0; axis < 3; axis++) {
    const int code = trim[axis] & 0x1F;
    const float factory = code == 0 ? 0 : 25 * powf(1.046F, static_cast<float>(code - 1));
    const float answer = fabsf(moved[axis] - still[axis]);
    if (!WithinTrim(answer, factory, st.test->max_gyro_var, st.test->min_dps, st.test->max_dps)) return false;
  }
  return true;
}

static int MeasureTwice(float* gyro, float* accel, bool moving) {
  for (int i = 0; i < kTries; i++) {
    if (get_st_biases(gyro, accel, moving) == 0) return 0;
  }
  return -1;
}

// Everything that the test has changed, by the setters, which find nothing known and so write.
static void Restore(const chip_cfg_s& before) {
  constexpr uint16_t dps[4] = {250, 500, 1000, 2000};
  constexpr BYTE g[4] = {2, 4, 8, 16};
  constexpr uint16_t hz[7] = {188, 188, 98, 42, 20, 10, 5};
  chip_cfg_s& cfg = st.chip_cfg;
  cfg.gyro_fsr = cfg.accel_fsr = cfg.lpf = cfg.sensors = cfg.fifo_enable = 255;
  cfg.sample_rate = 65535;
  mpu_set_gyro_fsr(dps[before.gyro_fsr >> 3 & 3]);
  mpu_set_accel_fsr(g[before.accel_fsr >> 3 & 3]);
  mpu_set_sample_rate(before.sample_rate);
  mpu_set_lpf(hz[before.lpf < 7 ? before.lpf : 6]);
  mpu_set_sensors(before.sensors);
  mpu_configure_fifo(before.fifo_enable);
}

int mpu_run_self_test(float* gyroBias, float* accelBias) {
  const chip_cfg_s before = st.chip_cfg;
  float gyroMoved[3] = {};
  float accelMoved[3] = {};
  BYTE trim[4] = {};
  int result = 0;
  if (MeasureTwice(gyroBias, accelBias, false) == 0 && MeasureTwice(gyroMoved, accelMoved, true) == 0 &&
      LumoI2cRead(kTrimRegister, sizeof(trim), trim) == 0) {
    if (gyro_self_test(trim, gyroBias, gyroMoved)) result |= 1;
    if (accel_self_test(trim, accelBias, accelMoved)) result |= 2;
  }
  Restore(before);
  return result;
}

void run_self_test() {
  float gyroBias[3] = {};
  float accelBias[3] = {};
  // 7, with a compass too, would hand the biases to the DMP. There is none, so the most is 3 and they are dropped.
  mpu_run_self_test(gyroBias, accelBias);
}

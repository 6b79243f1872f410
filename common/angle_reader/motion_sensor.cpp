#include "common/angle_reader/motion_sensor.h"

#include <unistd.h>

#include <cstring>

#include "common/angle_reader/soft_i2c.h"
#include "common/log.h"

static constexpr hw_s hw = {
    .addr = 0x68, .max_fifo = 1024, .num_reg = 118, .temp_sens = 340, .temp_offset = -521, .bank_size = 256};

static constexpr gyro_reg_s reg = {.who_am_i = 0x75,
                                   .rate_div = 0x19,
                                   .lpf = 0x1A,
                                   .prod_id = 0x0C,
                                   .user_ctrl = 0x6A,
                                   .fifo_en = 0x23,
                                   .gyro_cfg = 0x1B,
                                   .accel_cfg = 0x1C,
                                   .motion_thr = 0x1F,
                                   .motion_dur = 0x20,
                                   .fifo_count_h = 0x72,
                                   .fifo_r_w = 0x74,
                                   .raw_gyro = 0x43,
                                   .raw_accel = 0x3B,
                                   .temp = 0x41,
                                   .int_enable = 0x38,
                                   .dmp_int_status = 0x39,
                                   .int_status = 0x3A,
                                   .pwr_mgmt_1 = 0x6B,
                                   .pwr_mgmt_2 = 0x6C,
                                   .int_pin_cfg = 0x37,
                                   .mem_r_w = 0x6F,
                                   .accel_offs = 0x06,
                                   .i2c_mst = 0x24,
                                   .bank_sel = 0x6D,
                                   .mem_start_addr = 0x6E,
                                   .prgm_start_h = 0x70};

static constexpr test_s test = {.gyro_sens = 131,
                                .accel_sens = 2048,
                                .reg_rate_div = 0,
                                .reg_lpf = 1,
                                .reg_gyro_fsr = 0,
                                .reg_accel_fsr = 0x18,
                                .wait_ms = 50,
                                .packet_thresh = 5,
                                .min_dps = 10.0F,
                                .max_dps = 105.0F,
                                .max_gyro_var = 0.14F,
                                .min_g = 0.3F,
                                .max_g = 0.95F,
                                .max_accel_var = 0.14F};

gyro_state_s st = {.reg = &reg, .hw = &hw, .test = &test, .chip_cfg = {}};

// pwr_mgmt_1
static constexpr uint8_t kDeviceReset = 0x80;
static constexpr uint8_t kSleep = 0x40;
static constexpr uint8_t kClockInternal = 0;
static constexpr uint8_t kClockGyro = 1;
// pwr_mgmt_2: standby of each gyroscope axis, and of the accelerometer's three
static constexpr uint8_t kStandbyXGyro = 0x04;
static constexpr uint8_t kStandbyYGyro = 0x02;
static constexpr uint8_t kStandbyZGyro = 0x01;
static constexpr uint8_t kStandbyXyzAccel = 0x38;
// user_ctrl
static constexpr uint8_t kDmpEnable = 0x80;
static constexpr uint8_t kFifoEnable = 0x40;
static constexpr uint8_t kMasterEnable = 0x20;
static constexpr uint8_t kDmpReset = 0x08;
static constexpr uint8_t kFifoReset = 0x04;
// int_enable and int_status
static constexpr uint8_t kIntOverflow = 0x10;
static constexpr uint8_t kIntDmp = 0x02;
static constexpr uint8_t kIntDataReady = 0x01;
// int_pin_cfg
static constexpr uint8_t kPinActiveLow = 0x80;
static constexpr uint8_t kPinLatched = 0x20;
static constexpr uint8_t kPinReadClears = 0x10;
static constexpr uint8_t kPinBypass = 0x02;

static constexpr uint8_t kUnknown = 255;
static constexpr uint16_t kUnknownWide = 65535;

void delay_ms(unsigned int ms) { usleep(ms * 1000); }

static int Write(uint8_t regAddr, uint8_t value) { return LumoI2cWrite(regAddr, 1, &value) < 0 ? -1 : 0; }

static int Read(uint8_t regAddr, uint8_t length, uint8_t* data) {
  return LumoI2cRead(regAddr, length, data) < 0 ? -1 : 0;
}

// A register that a mirror field stands for: the field follows only what the chip has taken.
static int WriteMirrored(uint8_t regAddr, uint8_t value, uint8_t* mirror, uint8_t mirrored) {
  if (Write(regAddr, value) < 0) return -1;
  *mirror = mirrored;
  return 0;
}

// The interrupt that tells of new data: the DMP's, or the chip's own.
static int SetInterrupt(bool enable) {
  chip_cfg_s& cfg = st.chip_cfg;
  const uint8_t value = !enable ? 0 : cfg.dmp_on != 0 ? kIntDmp : kIntDataReady;
  return WriteMirrored(st.reg->int_enable, value, &cfg.int_enable, value);
}

static uint8_t MasterBit() { return (st.chip_cfg.sensors & kCompass) != 0 ? kMasterEnable : 0; }

static uint8_t PinConfig(uint8_t bypass_mode, uint8_t latched_int) {
  uint8_t value = 0;
  if (st.chip_cfg.active_low_int == 1) value |= kPinActiveLow;
  if (latched_int == 1) value |= kPinLatched | kPinReadClears;
  if (bypass_mode == 1) value |= kPinBypass;
  return value;
}

// --- start ---

// Which part it is, by the revision that is spread over the accelerometer's trim, or by its product number.
static int FindSensitivity() {
  uint8_t offsets[6] = {};
  if (Read(st.reg->accel_offs, sizeof(offsets), offsets) < 0) return -1;
  const int revision = (offsets[5] & 1) << 2 | (offsets[3] & 1) << 1 | (offsets[1] & 1);
  if (revision != 0) {
    if (revision > 2) {
      LumoLog("Unsupported software product rev.\n");
      return -1;
    }
    st.chip_cfg.accel_half = revision == 1 ? 1 : 0;
    return 0;
  }

  uint8_t product = 0;
  if (Read(st.reg->prod_id, 1, &product) < 0) return -1;
  product &= 0x0F;
  if (product == 0) {
    LumoLog("Product ID read as 0 indicates device is either incompatible or an MPU3050.\n");
    return -1;
  }
  if (product == 4) LumoLog("Half sensitivity part found.\n");
  st.chip_cfg.accel_half = product == 4 ? 1 : 0;
  return 0;
}

// Nothing is known of the chip: every setter writes.
static void ForgetMirror() {
  chip_cfg_s& cfg = st.chip_cfg;
  cfg.gyro_fsr = kUnknown;
  cfg.accel_fsr = kUnknown;
  cfg.sensors = kUnknown;
  cfg.lpf = kUnknown;
  cfg.sample_rate = kUnknownWide;
  cfg.fifo_enable = kUnknown;
  cfg.bypass_mode = kUnknown;
  cfg.int_enable = kUnknown;
  cfg.lp_accel_mode = kUnknown;
  cfg.int_motion_only = kUnknown;
  cfg.active_low_int = kUnknown;
  cfg.latched_int = kUnknown;
}

int mpu_init() {
  if (Write(st.reg->pwr_mgmt_1, kDeviceReset) < 0) return -1;
  delay_ms(100);
  if (Write(st.reg->pwr_mgmt_1, 0) < 0) return -1;
  if (FindSensitivity() < 0) return -1;

  ForgetMirror();
  chip_cfg_s& cfg = st.chip_cfg;
  cfg.clk_src = kClockGyro;
  memset(&cfg.cache, 0, sizeof(cfg.cache));
  cfg.dmp_on = 0;
  cfg.dmp_loaded = 0;
  cfg.dmp_sample_rate = 0;

  if (mpu_set_gyro_fsr(2000) < 0 || mpu_set_accel_fsr(2) < 0 || mpu_set_lpf(42) < 0) return -1;
  if (mpu_set_sample_rate(50) < 0 || mpu_configure_fifo(0) < 0 || mpu_set_bypass(0) < 0) return -1;
  return mpu_set_sensors(0);
}

// --- settings ---

static int SetMirrored(uint8_t regAddr, uint8_t value, uint8_t* mirror) {
  return *mirror == value ? 0 : WriteMirrored(regAddr, value, mirror, value);
}

int mpu_set_gyro_fsr(uint16_t fsr) {
  uint8_t value = 0;
  switch (fsr) {
    case 250: value = 0; break;
    case 500: value = 0x08; break;
    case 1000: value = 0x10; break;
    case 2000: value = 0x18; break;
    default: return -1;
  }
  return SetMirrored(st.reg->gyro_cfg, value, &st.chip_cfg.gyro_fsr);
}

int mpu_set_accel_fsr(uint8_t fsr) {
  uint8_t value = 0;
  switch (fsr) {
    case 2: value = 0; break;
    case 4: value = 0x08; break;
    case 8: value = 0x10; break;
    case 16: value = 0x18; break;
    default: return -1;
  }
  return SetMirrored(st.reg->accel_cfg, value, &st.chip_cfg.accel_fsr);
}

int mpu_set_lpf(uint16_t lpf) {
  const uint8_t value = lpf >= 188 ? 1 : lpf >= 98 ? 2 : lpf >= 42 ? 3 : lpf >= 20 ? 4 : lpf >= 10 ? 5 : 6;
  return SetMirrored(st.reg->lpf, value, &st.chip_cfg.lpf);
}

int mpu_set_sample_rate(uint16_t rate) {
  if (st.chip_cfg.dmp_on != 0) return -1;
  if (rate < 4) rate = 4;
  if (rate > 1000) rate = 1000;
  const int div = 1000 / rate - 1;
  if (Write(st.reg->rate_div, static_cast<uint8_t>(div)) < 0) return -1;
  st.chip_cfg.sample_rate = static_cast<uint16_t>(1000 / (div + 1));
  return mpu_set_lpf(st.chip_cfg.sample_rate / 2);
}

int mpu_set_sensors(uint8_t sensors) {
  uint8_t clock = kClockInternal;
  if ((sensors & kXyzGyro) != 0) {
    clock = kClockGyro;  // the steadier one, as long as a gyroscope runs
  } else if (sensors == 0) {
    clock = kSleep;
  }
  if (Write(st.reg->pwr_mgmt_1, clock) < 0) return -1;
  st.chip_cfg.clk_src = clock & static_cast<uint8_t>(~kSleep);

  uint8_t standby = 0;
  if ((sensors & kXGyro) == 0) standby |= kStandbyXGyro;
  if ((sensors & kYGyro) == 0) standby |= kStandbyYGyro;
  if ((sensors & kZGyro) == 0) standby |= kStandbyZGyro;
  if ((sensors & kXyzAccel) == 0) standby |= kStandbyXyzAccel;
  if (Write(st.reg->pwr_mgmt_2, standby) < 0) return -1;

  if (mpu_set_int_latched(0) < 0) return -1;
  st.chip_cfg.sensors = sensors;
  st.chip_cfg.lp_accel_mode = 0;
  delay_ms(50);
  return 0;
}

int mpu_set_bypass(uint8_t bypass_on) {
  chip_cfg_s& cfg = st.chip_cfg;
  if (cfg.bypass_mode == bypass_on) return 0;

  uint8_t control = 0;
  if (Read(st.reg->user_ctrl, 1, &control) < 0) return -1;
  control &= static_cast<uint8_t>(~kMasterEnable);  // nothing hangs on the chip's second bus
  if (Write(st.reg->user_ctrl, control) < 0) return -1;
  delay_ms(3);  // the chip ends the transfer that it is in
  return WriteMirrored(st.reg->int_pin_cfg, PinConfig(bypass_on, cfg.latched_int), &cfg.bypass_mode, bypass_on);
}

int mpu_set_int_latched(uint8_t enable) {
  chip_cfg_s& cfg = st.chip_cfg;
  if (cfg.latched_int == enable) return 0;
  return WriteMirrored(st.reg->int_pin_cfg, PinConfig(cfg.bypass_mode, enable), &cfg.latched_int, enable);
}

// --- FIFO ---

static int ResetDmpFifo() {
  if (Write(st.reg->user_ctrl, kDmpReset | kFifoReset) < 0) return -1;
  delay_ms(50);
  if (Write(st.reg->user_ctrl, kDmpEnable | kFifoEnable | MasterBit()) < 0) return -1;
  if (Write(st.reg->int_enable, st.chip_cfg.int_enable) < 0) return -1;
  return Write(st.reg->fifo_en, 0);  // the DMP alone fills it
}

static int ResetSensorFifo(uint8_t fifo_enable) {
  if (Write(st.reg->user_ctrl, kFifoReset) < 0) return -1;
  if (Write(st.reg->user_ctrl, kFifoEnable | MasterBit()) < 0) return -1;
  delay_ms(50);
  if (Write(st.reg->int_enable, st.chip_cfg.int_enable) < 0) return -1;
  return WriteMirrored(st.reg->fifo_en, fifo_enable, &st.chip_cfg.fifo_enable, fifo_enable);
}

static int ResetFifo(uint8_t fifo_enable) {
  if (Write(st.reg->int_enable, 0) < 0) return -1;
  if (Write(st.reg->fifo_en, 0) < 0) return -1;
  if (Write(st.reg->user_ctrl, 0) < 0) return -1;
  return st.chip_cfg.dmp_on != 0 ? ResetDmpFifo() : ResetSensorFifo(fifo_enable);
}

int mpu_reset_fifo() { return ResetFifo(st.chip_cfg.fifo_enable); }

int mpu_configure_fifo(uint8_t sensors) {
  chip_cfg_s& cfg = st.chip_cfg;
  if (cfg.dmp_on != 0) return 0;
  const uint8_t fifo_enable = sensors & cfg.sensors;
  if (SetInterrupt(fifo_enable != 0) < 0) return -1;
  if (fifo_enable == 0) return WriteMirrored(st.reg->fifo_en, 0, &cfg.fifo_enable, 0);
  return ResetFifo(fifo_enable);
}

int mpu_read_fifo_stream(uint16_t length, uint8_t* data, uint8_t* more) {
  if (st.chip_cfg.dmp_on == 0 || st.chip_cfg.sensors == 0) return -1;
  if (length == 0 || length > 255) return -1;

  uint8_t bytes[2] = {};
  if (Read(st.reg->fifo_count_h, sizeof(bytes), bytes) < 0) return -1;
  const int count = bytes[0] << 8 | bytes[1];
  if (count < length) {
    *more = 0;
    return -1;
  }
  if (count > st.hw->max_fifo / 2) {
    uint8_t status = 0;
    if (Read(st.reg->int_status, 1, &status) < 0) return -1;
    if ((status & kIntOverflow) != 0) {
      mpu_reset_fifo();
      return -2;
    }
  }
  if (Read(st.reg->fifo_r_w, static_cast<uint8_t>(length), data) < 0) return -1;
  *more = static_cast<uint8_t>(count / length - 1);
  return 0;
}

// --- DMP ---

static int SelectMemory(uint16_t mem_addr, uint16_t length) {
  if (st.chip_cfg.sensors == 0) return -1;
  if ((mem_addr & 0xFF) + length > st.hw->bank_size) return -1;
  if (length > 255) return -1;  // more than one transfer carries
  const uint8_t address[2] = {static_cast<uint8_t>(mem_addr >> 8), static_cast<uint8_t>(mem_addr)};
  return LumoI2cWrite(st.reg->bank_sel, sizeof(address), address) < 0 ? -1 : 0;
}

int mpu_write_mem(uint16_t mem_addr, uint16_t length, const uint8_t* data) {
  if (SelectMemory(mem_addr, length) < 0) return -1;
  return LumoI2cWrite(st.reg->mem_r_w, static_cast<uint8_t>(length), data) < 0 ? -1 : 0;
}

int mpu_read_mem(uint16_t mem_addr, uint16_t length, uint8_t* data) {
  if (SelectMemory(mem_addr, length) < 0) return -1;
  return Read(st.reg->mem_r_w, static_cast<uint8_t>(length), data);
}

int mpu_load_firmware(uint16_t length, const uint8_t* firmware, uint16_t start_addr, uint16_t sample_rate) {
  constexpr int kChunk = 16;
  if (st.chip_cfg.dmp_loaded != 0) return -1;
  for (int at = 0; at < length; at += kChunk) {
    const uint16_t address = static_cast<uint16_t>(at);
    const uint16_t size = static_cast<uint16_t>(length - at < kChunk ? length - at : kChunk);
    uint8_t written[kChunk] = {};
    if (mpu_write_mem(address, size, firmware + at) < 0) return -1;
    if (mpu_read_mem(address, size, written) < 0) return -1;
    if (memcmp(firmware + at, written, size) != 0) return -2;
  }
  const uint8_t start[2] = {static_cast<uint8_t>(start_addr >> 8), static_cast<uint8_t>(start_addr)};
  if (LumoI2cWrite(st.reg->prgm_start_h, sizeof(start), start) < 0) return -1;
  st.chip_cfg.dmp_loaded = 1;
  st.chip_cfg.dmp_sample_rate = sample_rate;
  return 0;
}

int mpu_set_dmp_state(uint8_t enable) {
  chip_cfg_s& cfg = st.chip_cfg;
  if (cfg.dmp_on == enable) return 0;
  if (enable != 0 && cfg.dmp_loaded == 0) return -1;
  if (SetInterrupt(false) < 0) return -1;
  if (enable == 0) {
    cfg.dmp_on = 0;
    return mpu_reset_fifo();
  }
  if (mpu_set_bypass(0) < 0) return -1;
  if (mpu_set_sample_rate(cfg.dmp_sample_rate) < 0) return -1;
  if (Write(st.reg->fifo_en, 0) < 0) return -1;
  cfg.dmp_on = 1;
  if (SetInterrupt(true) < 0) return -1;
  return mpu_reset_fifo();
}

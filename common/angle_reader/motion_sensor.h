// The motion sensor, an MPU-6050 on the software I2C bus: registers, FIFO and the memory of its motion processor (DMP).
// The order is mpu_init, sensors, FIFO, rate, then the DMP's image and set-up (dmp.h), and mpu_set_dmp_state last.
//
// All functions return 0, or a negative number: -1 for a transfer that failed or a call that is refused. One user at a
// time: the control thread while it starts and settles, later whoever takes an angle. Register and field facts are
// those of the part's datasheet and register map.
#pragma once

#include <cstdint>

// The chip.
struct hw_s {
  uint8_t addr;
  uint16_t max_fifo;    // bytes
  uint8_t num_reg;      // registers
  uint16_t temp_sens;   // units a degree Celsius
  int16_t temp_offset;  // units at 35 degrees
  uint16_t bank_size;   // bytes of DMP memory that one bank holds
};

// Where its registers stand.
struct gyro_reg_s {
  uint8_t who_am_i;
  uint8_t rate_div;
  uint8_t lpf;
  uint8_t prod_id;
  uint8_t user_ctrl;
  uint8_t fifo_en;
  uint8_t gyro_cfg;
  uint8_t accel_cfg;
  uint8_t motion_thr;
  uint8_t motion_dur;
  uint8_t fifo_count_h;
  uint8_t fifo_r_w;
  uint8_t raw_gyro;
  uint8_t raw_accel;
  uint8_t temp;
  uint8_t int_enable;
  uint8_t dmp_int_status;
  uint8_t int_status;
  uint8_t pwr_mgmt_1;
  uint8_t pwr_mgmt_2;
  uint8_t int_pin_cfg;
  uint8_t mem_r_w;
  uint8_t accel_offs;
  uint8_t i2c_mst;
  uint8_t bank_sel;
  uint8_t mem_start_addr;
  uint8_t prgm_start_h;
};

// Settings and limits of the self test.
struct test_s {
  uint16_t gyro_sens;   // units a degree per second in the test's range
  uint16_t accel_sens;  // units a g
  uint8_t reg_rate_div;
  uint8_t reg_lpf;
  uint8_t reg_gyro_fsr;
  uint8_t reg_accel_fsr;
  uint16_t wait_ms;       // length of one measurement
  uint8_t packet_thresh;  // fewer packets make no measurement
  float min_dps, max_dps, max_gyro_var;
  float min_g, max_g, max_accel_var;
};

// What low-power motion detection would put aside; the application never uses that mode.
struct motion_int_cache_s {
  uint16_t gyro_fsr;
  uint8_t accel_fsr;
  uint16_t lpf;
  uint16_t sample_rate;
  uint8_t sensors_on;
  uint8_t fifo_sensors;
  uint8_t dmp_on;
};

// What was last written to the chip, so that a setter can spare the bus. 255 (65535): not known.
struct chip_cfg_s {
  uint8_t gyro_fsr;   // register value
  uint8_t accel_fsr;  // register value
  uint8_t sensors;    // kXGyro ...
  uint8_t lpf;        // register value
  uint8_t clk_src;
  uint16_t sample_rate;  // Hz
  uint8_t fifo_enable;
  uint8_t int_enable;
  uint8_t bypass_mode;
  uint8_t accel_half;  // 1: a part of half the accelerometer's sensitivity
  uint8_t lp_accel_mode;
  uint8_t int_motion_only;
  motion_int_cache_s cache;
  uint8_t active_low_int;
  uint8_t latched_int;
  uint8_t dmp_on;
  uint8_t dmp_loaded;
  uint16_t dmp_sample_rate;  // Hz
};

struct gyro_state_s {
  const gyro_reg_s* reg;
  const hw_s* hw;
  const test_s* test;
  chip_cfg_s chip_cfg;
};

extern gyro_state_s st;

// Bits of a sensor mask, as in the chip's FIFO register.
constexpr uint8_t kXGyro = 0x40;
constexpr uint8_t kYGyro = 0x20;
constexpr uint8_t kZGyro = 0x10;
constexpr uint8_t kXyzGyro = kXGyro | kYGyro | kZGyro;
constexpr uint8_t kXyzAccel = 0x08;
constexpr uint8_t kCompass = 0x01;

// Resets the chip, asks what it is and brings it to a known state, asleep.
int mpu_init();

int mpu_set_gyro_fsr(uint16_t fsr);  // 250, 500, 1000, 2000 degrees per second; others are refused
int mpu_set_accel_fsr(uint8_t fsr);  // 2, 4, 8, 16 g; others are refused
int mpu_set_lpf(uint16_t lpf);       // Hz; the filter's next lower step
// Hz, 4 to 1000, others are drawn in; sets the filter to half of it too. Refused while the DMP runs: its program
// counts on its own rate.
int mpu_set_sample_rate(uint16_t rate);
int mpu_set_sensors(uint8_t sensors);     // mask; 0 puts the chip to sleep. Waits 50 ms
int mpu_configure_fifo(uint8_t sensors);  // what the chip itself puts into its FIFO; without effect while the DMP runs
int mpu_set_bypass(uint8_t bypass_on);    // whether the chip's second bus is connected to ours
int mpu_set_int_latched(uint8_t enable);
int mpu_reset_fifo();  // waits 50 ms

// DMP memory. Refused while no sensor is on, and for a stretch that leaves its bank.
int mpu_write_mem(uint16_t mem_addr, uint16_t length, const uint8_t* data);
int mpu_read_mem(uint16_t mem_addr, uint16_t length, uint8_t* data);
// Loads a program in chunks of 16 bytes, reads each back (-2: it is not the same), and sets where it starts. Refused
// if one is loaded.
int mpu_load_firmware(uint16_t length, const uint8_t* firmware, uint16_t start_addr, uint16_t sample_rate);
// 1 starts the loaded program at its rate, with its packets in the FIFO; 0 stops it.
int mpu_set_dmp_state(uint8_t enable);

// Takes the oldest `length` bytes (1 to 255) of the DMP's packets and says how many such packets wait behind them.
// -1 if there are not enough yet, -2 if the FIFO had overflowed and was emptied.
int mpu_read_fifo_stream(uint16_t length, uint8_t* data, uint8_t* more);

void delay_ms(unsigned int ms);

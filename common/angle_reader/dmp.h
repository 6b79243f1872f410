// The motion processor's program (DMP): it fuses gyroscope and accelerometer into a quaternion at 200 Hz and puts
// packets into the chip's FIFO. The program is an image of fixed bytes; its switches are places in it that are
// written over after the load. Layers above and users as in motion_sensor.h.
//
// Packet with this application's features, 32 bytes, big-endian: quaternion w x y z (32 bits each, 30 of them
// fraction), accelerometer x y z (16 bits), gyroscope x y z (16 bits), 4 gesture bytes.
#pragma once

#include <cstdint>

extern "C" const uint8_t dmp_memory[];  // the program's image, see venc/blobs.S
constexpr uint16_t kDmpCodeSize = 3062;

// Features, bits of a mask.
constexpr uint16_t kDmpTap = 0x001;
constexpr uint16_t kDmpOrientation = 0x002;
constexpr uint16_t kDmpQuat3 = 0x004;
constexpr uint16_t kDmpPedometer = 0x008;  // always counted as on
constexpr uint16_t kDmpQuat6 = 0x010;
constexpr uint16_t kDmpGyroCal = 0x020;
constexpr uint16_t kDmpRawAccel = 0x040;
constexpr uint16_t kDmpRawGyro = 0x080;
constexpr uint16_t kDmpCalGyro = 0x100;

// What a packet held, as dmp_read_fifo tells it.
constexpr short kPacketQuat = 0x100;
constexpr short kPacketAccel = 0x08;
constexpr short kPacketGyro = 0x70;

struct dmp_s {
  void (*tap_cb)(uint8_t direction, uint8_t count);  // both unset: nobody asks for gestures
  void (*android_orient_cb)(uint8_t orientation);
  uint16_t orient;
  uint16_t feature_mask;
  uint16_t fifo_rate;  // Hz
  uint8_t packet_length;
};

extern dmp_s dmp;

// One row of a mounting matrix (-1, 0, 1) as a code: 0, 1, 2 for x, y, z, 4 more if reversed, 7 for a row of zeros.
uint16_t inv_row_2_scale(const int8_t* row);
// Three rows of three, codes at bits 0, 3 and 6.
uint16_t inv_orientation_matrix_to_scalar(const int8_t* matrix);

int dmp_load_motion_driver_firmware();
int dmp_set_orientation(uint16_t orient);
int dmp_enable_feature(uint16_t mask);
int dmp_enable_gyro_cal(uint8_t enable);
int dmp_enable_lp_quat(uint8_t enable);     // gyroscope alone
int dmp_enable_6x_lp_quat(uint8_t enable);  // gyroscope and accelerometer
int dmp_set_fifo_rate(uint16_t rate);       // packets a second, 1 to 200; others are refused

// Takes the oldest packet. `sensors` tells what it held. Returns 0, or -1: none there, the FIFO had overflowed, or its
// quaternion was not of length one, in which case the FIFO has been emptied.
//   gyro, accel  three units each
//   quat         four, 1 << 30 is one
//   more         packets that wait behind it
int dmp_read_fifo(short* gyro, short* accel, long* quat, short* sensors, unsigned char* more);

// Taps on the camera and the shakes that are none: how the motion program tells them apart, and what it says of them.
// Layers above and users as in motion_sensor.h. All return 0, or -1 for a transfer that failed.
//
// Each setter writes to the places in the program that the table in gestures.cpp gives for it, and to none that is not
// there. Nobody asks for taps here, so the program's own values do as well.
#pragma once

#include <cstdint>

int dmp_set_tap_thresh(uint8_t axis, uint16_t thresh);         // bits 2, 1, 0: x, y, z; mg a millisecond
int dmp_set_tap_axes(uint8_t axis);                            // the axes that count
int dmp_set_tap_count(uint8_t min_taps);                       // fewer are none
int dmp_set_tap_time(uint16_t time);                           // shortest from tap to tap, ms
int dmp_set_tap_time_multi(uint16_t time);                     // longest within one series, ms
int dmp_set_shake_reject_thresh(int32_t sf, uint16_t thresh);  // the program's unit, degrees per second
int dmp_set_shake_reject_time(uint16_t time);                  // turning for longer is shaking, ms
int dmp_set_shake_reject_timeout(uint16_t time);               // rest that ends it, ms

// The four bytes at a packet's end. Whoever had set `tap_cb` or `android_orient_cb` would be told what they say.
void decode_gesture(const uint8_t* gesture);

#include "common/angle_reader/gestures.h"

#include <array>

#include "common/angle_reader/motion_sensor.h"

enum GestureSetting {
  kTapThreshX,
  kTapThreshY,
  kTapThreshZ,
  kTapAxes,
  kTapCount,
  kTapTime,
  kTapTimeMulti,
  kShakeRejectUnit,
  kShakeRejectThresh,
  kShakeRejectTime,
  kShakeRejectTimeout
};

struct GesturePlace {
  GestureSetting setting;
  uint16_t address;
  uint8_t size;  // bytes, 1 to 4, high first
};

// Where the program keeps what is set here. None of its places is known to us, so nothing is written: one row a place
// is all that a setter needs.
static constexpr std::array<GesturePlace, 0> kGesturePlaces = {};

static int Set(GestureSetting setting, uint32_t value) {
  for (const GesturePlace& place : kGesturePlaces) {
    if (place.setting != setting) continue;
    const std::array<uint8_t, 4> bytes = {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
                                          static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
    if (mpu_write_mem(place.address, place.size, bytes.data() + (bytes.size() - place.size)) < 0) return -1;
  }
  return 0;
}

int dmp_set_tap_thresh(uint8_t axis, uint16_t thresh) {
  if ((axis & 4) != 0 && Set(kTapThreshX, thresh) < 0) return -1;
  if ((axis & 2) != 0 && Set(kTapThreshY, thresh) < 0) return -1;
  return (axis & 1) != 0 ? Set(kTapThreshZ, thresh) : 0;
}

int dmp_set_tap_axes(uint8_t axis) { return Set(kTapAxes, axis); }
int dmp_set_tap_count(uint8_t min_taps) { return Set(kTapCount, min_taps); }
int dmp_set_tap_time(uint16_t time) { return Set(kTapTime, time); }
int dmp_set_tap_time_multi(uint16_t time) { return Set(kTapTimeMulti, time); }

int dmp_set_shake_reject_thresh(int32_t sf, uint16_t thresh) {
  if (Set(kShakeRejectUnit, static_cast<uint32_t>(sf)) < 0) return -1;
  return Set(kShakeRejectThresh, thresh);
}

int dmp_set_shake_reject_time(uint16_t time) { return Set(kShakeRejectTime, time); }
int dmp_set_shake_reject_timeout(uint16_t time) { return Set(kShakeRejectTimeout, time); }

void decode_gesture(const uint8_t* /*gesture*/) {}

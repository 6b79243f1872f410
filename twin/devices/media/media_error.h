// Error codes of the media units: 0xA0 in the top byte, the unit in the next, level 4, and the reason.
#pragma once

#include "sdk/hi_type.h"

namespace twin {

enum class MediaUnit : uint32_t { Pools = 1, System = 2, Vpss = 6, Encoder = 7, Input = 16, Isp = 28, Tuning = 33 };

enum class Refusal : uint32_t {
  BadDevice = 1,
  BadChannel = 2,
  BadParameter = 3,
  Exists = 4,
  DoesNotExist = 5,
  NullPointer = 6,
  NotConfigured = 7,
  NotSupported = 8,
  NotPermitted = 9,  // not in this state
  NoMemory = 12,
  BufferEmpty = 14,
  SystemNotReady = 16,
  Busy = 18,
};

constexpr HI_S32 MediaError(MediaUnit unit, Refusal reason) {
  return static_cast<HI_S32>(0xA0000000u | static_cast<uint32_t>(unit) << 16 | 4u << 13 |
                             static_cast<uint32_t>(reason));
}

}  // namespace twin

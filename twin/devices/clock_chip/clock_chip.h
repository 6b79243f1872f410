// The board's battery-backed clock.
//
// Bus face: /dev/hi_rtc. World face: the day it is. Fault face: see below.
// Modelled: read, write, running while the board is off. Not modelled: alarms, drift, the low-battery flag, a weekday
// that disagrees with the date (what is written there is ignored).
#pragma once

#include <cstdint>
#include <filesystem>

#include "twin/device_file.h"
#include "twin/faults/faults.h"

namespace twin {

// The record that the driver passes: 28 bytes.
struct CivilTime {
  int32_t year = 2000;  // full
  int32_t month = 1;    // 1-12
  int32_t day = 1;      // 1-31
  int32_t hour = 0;
  int32_t minute = 0;
  int32_t second = 0;
  int32_t weekday = 0;  // 0 is Sunday

  bool operator==(const CivilTime&) const = default;
};
static_assert(sizeof(CivilTime) == 28);

class ClockChip final : public DeviceFile {
 public:
  static constexpr unsigned long kRead = 0x801C7009;
  static constexpr unsigned long kWrite = 0x401C700A;

  // Starts at 2026-06-15 10:30:00.
  ClockChip(Kernel& kernel, Faults& faults);
  ~ClockChip() override;
  // Goes on from the time that `file` holds (seconds since 1970, nanoseconds), if there is one, and leaves its own
  // there at the end, for the next board: nothing passes in between. A file that holds no time is passed over.
  void KeepIn(std::filesystem::path file);

  // --- bus ---
  int Open(int flags) override;
  // kRead and kWrite, with a CivilTime. -EINVAL for a date that does not exist, -ENOTTY for another request.
  int Ioctl(unsigned long request, void* record) override;

  // --- world ---
  void SetDate(const CivilTime& date);  // throws std::invalid_argument for a date that does not exist
  CivilTime Date() const;

  // --- faults ---
  // "rtc.open": Fail. "rtc.read", "rtc.write": Fail; Value v: the record becomes that of v seconds since 1970.
  // "rtc.write" also Silence: the call succeeds and the clock keeps its time.

 private:
  Kernel& kernel_;
  std::filesystem::path file_;
  int64_t baseSeconds_ = 0;  // the date at board time base_, in seconds since 1970
  Time base_{0};
  FaultPoint open_, read_, write_;
};

}  // namespace twin

#include "common/fpga_ctrl/device/clock.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <ctime>

#include "common/log.h"

namespace {

constexpr char kRtcDevice[] = "/dev/hi_rtc";

struct RtcTime {
  int32_t year;   // full, such as 2026
  int32_t month;  // 1-12
  int32_t day;
  int32_t hour;
  int32_t minute;
  int32_t second;
  int32_t weekday;
};
static_assert(sizeof(RtcTime) == 28);

constexpr unsigned long kRtcRead = 0x801C7009;
constexpr unsigned long kRtcWrite = 0x401C700A;

void SetSystemClock(const RtcTime& time) {
  struct tm broken = {};
  broken.tm_year = time.year - 1900;
  broken.tm_mon = time.month - 1;
  broken.tm_mday = time.day;
  broken.tm_hour = time.hour;
  broken.tm_min = time.minute;
  broken.tm_sec = time.second;
  struct timeval now = {};
  now.tv_sec = mktime(&broken);
  settimeofday(&now, nullptr);
}

}  // namespace

unsigned int LumoGetTime() {
  struct timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<unsigned int>(now.tv_sec) * 1000u + static_cast<unsigned int>(now.tv_nsec / 1000000);
}

void LumoGetRtcTime() {
  const int fd = open(kRtcDevice, O_RDWR);
  if (fd < 0) {
    LumoLog("open \"/dev/hi_rtc\" error\n");
    return;
  }
  RtcTime time = {};
  if (ioctl(fd, kRtcRead, &time) < 0) {
    LumoLog("HI_RTC_SET_TIME error\n");  // the words of the writing side; the descriptor stays open
    return;
  }
  close(fd);
  SetSystemClock(time);
}

void LumoSetSysTime(int year, int month, int day, int hour, int minute, int second) {
  RtcTime time = {year, month, day, hour, minute, second, 0};
  SetSystemClock(time);

  const int fd = open(kRtcDevice, O_RDWR);
  if (fd < 0) {
    LumoLog("open \"/dev/hi_rtc\" error\n");
    return;
  }
  if (ioctl(fd, kRtcWrite, &time) < 0) {
    LumoLog("HI_RTC_SET_TIME error\n");
    return;
  }
  close(fd);
}

#include "twin/devices/clock_chip/clock_chip.h"

#include <cstring>
#include <fstream>
#include <optional>
#include <stdexcept>

namespace twin {

namespace {

constexpr int64_t kStart = 1781519400;   // 2026-06-15 10:30:00
constexpr int64_t kLast = 253402300799;  // 9999-12-31 23:59:59

std::optional<int64_t> SecondsOf(const CivilTime& date) {
  using namespace std::chrono;
  if (date.month < 1 || date.month > 12 || date.day < 1 || date.day > 31 || date.year < 1970 || date.year > 9999) {
    return std::nullopt;
  }
  if (date.hour < 0 || date.hour > 23 || date.minute < 0 || date.minute > 59 || date.second < 0 || date.second > 59) {
    return std::nullopt;
  }
  const year_month_day day{year{date.year}, month{static_cast<unsigned>(date.month)},
                           std::chrono::day{static_cast<unsigned>(date.day)}};
  if (!day.ok()) return std::nullopt;
  return int64_t{sys_days{day}.time_since_epoch().count()} * 86400 + date.hour * 3600 + date.minute * 60 + date.second;
}

CivilTime CivilOf(int64_t secondsSince1970) {
  using namespace std::chrono;
  const sys_seconds moment{std::chrono::seconds{secondsSince1970}};
  const sys_days today = floor<days>(moment);
  const year_month_day day{today};
  const hh_mm_ss time{moment - today};
  return {.year = static_cast<int>(day.year()),
          .month = static_cast<int32_t>(static_cast<unsigned>(day.month())),
          .day = static_cast<int32_t>(static_cast<unsigned>(day.day())),
          .hour = static_cast<int32_t>(time.hours().count()),
          .minute = static_cast<int32_t>(time.minutes().count()),
          .second = static_cast<int32_t>(time.seconds().count()),
          .weekday = static_cast<int32_t>(weekday{today}.c_encoding())};
}

}  // namespace

ClockChip::ClockChip(Kernel& kernel, Faults& faults)
    : kernel_(kernel),
      baseSeconds_(kStart),
      base_(kernel.Now()),
      open_(faults, "rtc.open", "opening the clock: fail"),
      read_(faults, "rtc.read", "reading the clock: fail, value=SECONDS since 1970"),
      write_(faults, "rtc.write", "setting the clock: fail, value=SECONDS since 1970, silence") {}

ClockChip::~ClockChip() {
  if (file_.empty()) return;
  const Duration passed = kernel_.Now() - base_;
  std::ofstream(file_) << baseSeconds_ + passed / 1s << ' ' << (passed % 1s).count() << '\n';
}

void ClockChip::KeepIn(std::filesystem::path file) {
  file_ = std::move(file);
  int64_t seconds = 0, nanoseconds = 0;
  if (!(std::ifstream(file_) >> seconds >> nanoseconds)) return;
  if (seconds < 0 || seconds > kLast || nanoseconds < 0 || nanoseconds >= std::nano::den) return;
  baseSeconds_ = seconds;
  base_ = kernel_.Now() - Duration{nanoseconds};
}

int ClockChip::Open(int /*flags*/) { return -open_.AskFailure(); }

int ClockChip::Ioctl(unsigned long request, void* record) {
  if (request != kRead && request != kWrite) return -ENOTTY;
  if (!record) return -EFAULT;
  const auto effect = (request == kRead ? read_ : write_).Ask();
  if (effect && effect->kind == Effect::Kind::Fail) return -static_cast<int>(effect->value);
  CivilTime date;
  if (request == kRead) {
    date = effect && effect->kind == Effect::Kind::Value ? CivilOf(effect->value) : Date();
    memcpy(record, &date, sizeof date);
    return 0;
  }
  memcpy(&date, record, sizeof date);
  const auto seconds = SecondsOf(date);
  if (!seconds) return -EINVAL;
  if (effect && effect->kind == Effect::Kind::Silence) return 0;
  baseSeconds_ = effect && effect->kind == Effect::Kind::Value ? effect->value : *seconds;
  base_ = kernel_.Now();
  return 0;
}

void ClockChip::SetDate(const CivilTime& date) {
  const auto seconds = SecondsOf(date);
  if (!seconds) throw std::invalid_argument("there is no such date");
  baseSeconds_ = *seconds;
  base_ = kernel_.Now();
}

CivilTime ClockChip::Date() const {
  return CivilOf(baseSeconds_ + std::chrono::floor<std::chrono::seconds>(kernel_.Now() - base_).count());
}

}  // namespace twin

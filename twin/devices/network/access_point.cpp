#include "twin/devices/network/access_point.h"

#include <fstream>

namespace twin {

namespace {

constexpr const char* kInterface = "wlan0";
constexpr size_t kLongestName = 32;

bool HasName(std::string_view configuration) {
  constexpr std::string_view key = "ssid=";
  while (!configuration.empty()) {
    const std::string_view line = configuration.substr(0, configuration.find('\n'));
    if (line.starts_with(key)) return line.size() > key.size() && line.size() <= key.size() + kLongestName;
    configuration.remove_prefix(std::min(configuration.size(), line.size() + 1));
  }
  return false;
}

}  // namespace

AccessPoint::AccessPoint(Faults& faults, NetworkInterfaces& interfaces, std::filesystem::path controlDirectory)
    : interfaces_(interfaces),
      controlDirectory_(std::move(controlDirectory)),
      start_(faults, "wifi.access-point", "starting the access point: fail") {}

bool AccessPoint::Start(std::string_view configuration) {
  if (start_.AskFailure() != 0) return false;
  if (!HasName(configuration) || !interfaces_.Exists(kInterface)) return false;
  std::filesystem::create_directories(controlDirectory_);
  std::ofstream(controlDirectory_ / kInterface).flush();
  interfaces_.SetUp(kInterface, true);
  return true;
}

void AccessPoint::Stop() {
  std::error_code none;
  std::filesystem::remove(controlDirectory_ / kInterface, none);
}

}  // namespace twin

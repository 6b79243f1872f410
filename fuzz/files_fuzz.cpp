// The small files that a person writes or lays on the disk: the first byte says which one the rest is. Whatever it
// holds, the camera's own files stay whole, and settings that are saved come back as they are.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "common/calibration.h"
#include "common/log.h"
#include "common/settings/settings.h"
#include "fuzz/memory_doors.h"
#include "venc/update_files.h"

using namespace fuzz;

namespace {

constexpr char kAccessPoint[] = "interface=wlan0\nssid=lumora\nchannel=6\n";
constexpr size_t kVignetSize = 77000;
constexpr size_t kRowSize = sizeof(CameraVignetInfo);

std::string Disk(const char* name) { return std::string("/mnt/udisk/") + name; }
bool Has(const std::string& path) { return disk.files.contains(path); }
const std::string& Text(const std::string& path) { return *disk.files.at(path); }
void Put(const std::string& path, const std::string& text) {
  disk.files[path] = std::make_shared<const std::string>(text);
}

void Fresh() {
  static ControlSignals record;
  signals = std::construct_at(&record);
  disk = {};
  disk.flashToo = true;
}

// A file that was taken has exactly one of two new names.
void RequireOneName(const char* name, const char* done, const char* failed) {
  Require(!Has(Disk(name)), "an update file is looked at once");
  Require(Has(Disk(done)) != Has(Disk(failed)), "an update file has one outcome");
}

void TrySettings(const std::string& text) {
  Put("/mnt/udisk/DCIM/setting.ini", text);
  Require(LumoLoadSetting(signals) == 0, "settings that are there are loaded");
  Require(strnlen(signals->prefix, sizeof signals->prefix) < sizeof signals->prefix, "the prefix has its terminator");
  LumoSaveSetting(signals);
  const std::string saved = Text("/mnt/udisk/DCIM/setting.ini");
  auto again = std::make_unique<ControlSignals>();
  LumoLoadSetting(again.get());
  LumoSaveSetting(again.get());
  Require(Text("/mnt/udisk/DCIM/setting.ini") == saved, "what is saved is what is loaded");
}

void TryWhiteBalance(const std::string& text) {
  static const std::string table = [] {
    std::string bytes(kVignetSize, '\0');
    for (size_t i = 0; i < bytes.size(); i++) bytes[i] = static_cast<char>(i % 251);
    return bytes;
  }();
  Put("CameraVignet_800", table);
  Put(Disk("wb.ini"), text);
  LumoLoadWBFile();
  RequireOneName("wb.ini", "wb_updated.ini", "wb_error.ini");
  const std::string& after = Text("CameraVignet_800");
  Require(after.size() == kVignetSize, "the calibration keeps its size");
  Require(after.compare(kRowSize, std::string::npos, table, kRowSize) == 0, "rows but the first stay as they are");
  if (Has(Disk("wb_error.ini"))) {
    Require(after == table, "a refused white balance changes nothing");
    return;
  }
  CameraVignetInfo row;
  memcpy(&row, after.data(), sizeof row);
  for (const double gain : {row.vignettingCurveB[kWhiteBalanceSlot], row.vignettingCurveG[kWhiteBalanceSlot],
                            row.vignettingCurveR[kWhiteBalanceSlot]})
    Require(gain >= 0.8 && gain <= 1.25, "a gain within its limits");
}

void TryWifiName(const std::string& text) {
  Put("hostapd.conf", kAccessPoint);
  Put(Disk("wifi.txt"), text);
  LumoSetWifiName();
  RequireOneName("wifi.txt", "wifi_updated.txt", "wifi_ssid_error.txt");
  const std::string expected =
      Has(Disk("wifi_updated.txt")) ? "interface=wlan0\nssid=" + text + "\nchannel=6\n" : kAccessPoint;
  Require(Text("hostapd.conf") == expected, "the access point has the new name, or the old one");
}

void TryNumbers(const std::string& text) {
  Put(Disk("thumbnail.txt"), text);
  Put(Disk("wireless_id.txt"), text);
  LumoSetThumbCamIdx(signals);
  LumoSetWirelessId(signals);
  RequireOneName("thumbnail.txt", "thumbnail_updated.txt", "thumbnail_error.txt");
  RequireOneName("wireless_id.txt", "wireless_id_updated.txt", "wireless_id_error.txt");
  Require(signals->thumbCamIdx <= 24 && signals->wirelessId <= 9, "numbers within their limits");
}

void TryFlashFiles(const std::string& text) {
  Put("vertex.ini", text);
  Put("info.ini", text);
  Put("CameraConf_800", text);
  LumoLoadVertex(signals);
  LumoLoadInfo(signals);
  Require(static_cast<int>(CalcSerailNo()) >= 0, "the serial number is shown as a number");
}

// The access point's file itself comes from the disk too.
void TryAccessPoint(const std::string& text) {
  Put("hostapd.conf", text);
  Put(Disk("wifi.txt"), "name");
  LumoSetWifiName();
  const std::string before = text.substr(0, text.find('\0'));
  Require(Text("hostapd.conf") == text || Text("hostapd.conf").starts_with(before.substr(0, before.find("\nssid="))),
          "what stands in front of the name stays");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  constexpr void (*kTries[])(const std::string&) = {TrySettings, TryWhiteBalance, TryWifiName,
                                                    TryNumbers,  TryFlashFiles,   TryAccessPoint};
  g_lumoDebug = stderr;  // only a name here: the log goes nowhere
  Fresh();
  kTries[data[0] % std::size(kTries)](std::string(reinterpret_cast<const char*>(data + 1), size - 1));
  Require(disk.open == 0, "no file stays open");
  return 0;
}

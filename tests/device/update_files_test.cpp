// Update files: what lies on the disk before a start, and what lies where after it.
#include "venc/update_files.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/file_bytes.h"
#include "tests/support/on_board.h"

using twin::Board;

namespace {

namespace fs = std::filesystem;

struct UpdateFiles : testing::Test {
  Board board{{}};
  std::unique_ptr<ControlSignals> ctrlSigs = std::make_unique<ControlSignals>();
  const fs::path disk = board.disk.Directory();
  const fs::path local = board.paths.Local();

  void SetUp() override { fs::create_directories(disk / "DCIM"); }

  // All in the order of a start.
  void Start() {
    OnBoard(board, [&] {
      LumoCopyLogoFile();
      LumoCopyInfoFile();
      LumoCopyConfFile();
      LumoLoadWBFile();
      LumoSetWifiName();
      LumoSetThumbCamIdx(ctrlSigs.get());
      LumoSetWirelessId(ctrlSigs.get());
    });
  }
  // Names in the root of the disk.
  std::set<std::string> Root() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(disk)) {
      if (entry.is_regular_file()) names.insert(entry.path().filename().string());
    }
    return names;
  }
  // The name that a file of this text ends under.
  std::string Outcome(const std::string& name, const std::string& text) {
    for (const std::string& old : Root()) fs::remove(disk / old);
    PutText(disk / name, text);
    Start();
    const std::set<std::string> names = Root();
    return names.size() == 1 ? *names.begin() : std::to_string(names.size()) + " files";
  }
};

using Names = std::set<std::string>;

std::string Bytes(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; i++) bytes[i] = static_cast<char>(i * 7 + i / 256);
  return bytes;
}

double GainIn(const std::string& calibration, size_t curveOffset) {
  double gain = 0;
  memcpy(&gain, calibration.data() + curveOffset + 63 * sizeof(double), sizeof(gain));
  return gain;
}

}  // namespace

TEST_F(UpdateFiles, CopiesWithinTheirLimitsOnceAndRenamesThem) {
  struct Limits {
    const char* name;
    const char* done;
    std::vector<size_t> taken, left;
  };
  const std::vector<Limits> known = {
      {"logo.jpg", "logo_updated.jpg", {1025, 2097151}, {0, 1024, 2097152}},
      {"info.ini", "info_updated.ini", {0, 1, 1023}, {1024, 1025}},
      {"hostapd.conf", "hostapd_updated.conf", {1025, 2097151}, {1024, 2097152}},
      {"dhcpd.conf", "dhcpd_updated.conf", {65, 1023}, {64, 1024}},
  };
  for (const Limits& row : known) {
    for (const size_t size : row.taken) {
      PutText(local / row.name, "old");
      EXPECT_EQ(Outcome(row.name, Bytes(size)), row.done) << size;
      EXPECT_EQ(FileText(local / row.name), Bytes(size)) << row.name << " of " << size;
    }
    for (const size_t size : row.left) {
      PutText(local / row.name, "old");
      EXPECT_EQ(Outcome(row.name, Bytes(size)), row.name) << size;
      EXPECT_EQ(FileText(local / row.name), "old") << row.name << " of " << size;
    }
  }
}

TEST_F(UpdateFiles, WhiteBalanceGoesIntoTheLastElementOfEachCurve) {
  const std::string before = FileText(local / "CameraVignet_800");
  ASSERT_EQ(before.size(), 77000u);
  EXPECT_EQ(Outcome("wb.ini", "blue=0.8\ngreen=1.25\nred=1"), "wb_updated.ini");
  std::string after = FileText(local / "CameraVignet_800");
  ASSERT_EQ(after.size(), 77000u);
  EXPECT_EQ(GainIn(after, 8), 0.8);
  EXPECT_EQ(GainIn(after, 1032), 1.25);
  EXPECT_EQ(GainIn(after, 2056), 1.0);
  // Nothing else has moved.
  for (const size_t curve : {8, 1032, 2056}) after.replace(curve + 504, 8, before, curve + 504, 8);
  EXPECT_EQ(after, before);
  EXPECT_EQ(board.LogCount(": LoadWBStr:\nblue=0.8\ngreen=1.25\nred=1\n"), 1u);
}

TEST_F(UpdateFiles, WhiteBalanceRefused) {
  const std::string before = FileText(local / "CameraVignet_800");
  for (const char* text : {"blue=0.79\ngreen=1\nred=1\n", "blue=1\ngreen=1.26\nred=1\n", "blue=1\ngreen=1\n",
                           "blue=1\ngreen=1\nred=nan\n", ""}) {
    EXPECT_EQ(Outcome("wb.ini", text), "wb_error.ini") << text;
  }
  EXPECT_EQ(FileText(local / "CameraVignet_800"), before);

  PutText(local / "CameraVignet_800", before.substr(0, 3079));
  EXPECT_EQ(Outcome("wb.ini", "blue=1\ngreen=1\nred=1\n"), "wb_error.ini");
  EXPECT_EQ(FileText(local / "CameraVignet_800"), before.substr(0, 3079));
  fs::remove(local / "CameraVignet_800");
  EXPECT_EQ(Outcome("wb.ini", "blue=1\ngreen=1\nred=1\n"), "wb_error.ini");
  EXPECT_FALSE(fs::exists(local / "CameraVignet_800"));
}

TEST_F(UpdateFiles, WifiNameReplacesTheSsidLine) {
  const std::string name32 = "abcdefghijklmnopqrstuvwxyz-_.019";
  EXPECT_EQ(Outcome("wifi.txt", name32), "wifi_updated.txt");
  for (const std::string& name : {std::string(), name32 + "x", std::string("Lumora\n"), std::string("Lumo ra"),
                                  std::string("Lum\xC3\xB6ra"), std::string("a\0b", 3)}) {
    EXPECT_EQ(Outcome("wifi.txt", name), "wifi_ssid_error.txt") << name;
  }
  const std::vector<std::pair<std::string, std::string>> known = {
      {"interface=wlan0\nssid=old\nchannel=6\n", "interface=wlan0\nssid=New\nchannel=6\n"},
      {"a\nssid=first\nssid=second\n", "a\nssid=New\nssid=second\n"},
      {"ssid=old\nchannel=6\n", "ssid=old\nchannel=6\n"},  // the first line is out of reach
      {"a\nssid=old", "a\nssid=old"},                      // and so is one without a line feed
      {"a\nno_ssid=old\n", "a\nno_ssid=old\n"},
  };
  for (const auto& [before, after] : known) {
    PutText(local / "hostapd.conf", before);
    EXPECT_EQ(Outcome("wifi.txt", "New"), "wifi_updated.txt");
    EXPECT_EQ(FileText(local / "hostapd.conf"), after);
  }
  fs::remove(local / "hostapd.conf");
  EXPECT_EQ(Outcome("wifi.txt", "New"), "wifi_updated.txt");
  EXPECT_FALSE(fs::exists(local / "hostapd.conf"));

  // A new file and a new name on the same disk combine.
  const std::string padding(1100, '#');
  PutText(disk / "hostapd.conf", padding + "\nssid=theirs\n");
  fs::rename(disk / "wifi_updated.txt", disk / "wifi.txt");
  Start();
  EXPECT_EQ(FileText(local / "hostapd.conf"), padding + "\nssid=New\n");
}

TEST_F(UpdateFiles, NumbersAreTakenAndSaved) {
  const auto stored = [&](const std::string& key) {
    return FileText(disk / "DCIM" / "setting.ini").find("\n" + key + "\n") != std::string::npos;
  };
  EXPECT_EQ(Outcome("thumbnail.txt", "24 is the zenith\n"), "thumbnail_updated.txt");
  EXPECT_EQ(ctrlSigs->thumbCamIdx, 24);
  EXPECT_TRUE(stored("thumbcamidx=24"));
  EXPECT_EQ(Outcome("wireless_id.txt", "9\n"), "wireless_id_updated.txt");
  EXPECT_EQ(ctrlSigs->wirelessId, 9);
  EXPECT_TRUE(stored("wirelessid=9"));

  fs::remove(disk / "DCIM" / "setting.ini");
  for (const char* text : {"25", "-1", "4294967297", ""}) {
    EXPECT_EQ(Outcome("thumbnail.txt", text), "thumbnail_error.txt") << text;
  }
  for (const char* text : {"10", "-1", ""}) {
    EXPECT_EQ(Outcome("wireless_id.txt", text), "wireless_id_error.txt") << text;
  }
  EXPECT_EQ(ctrlSigs->thumbCamIdx, 24);
  EXPECT_EQ(ctrlSigs->wirelessId, 9);
  EXPECT_FALSE(fs::exists(disk / "DCIM" / "setting.ini"));

  EXPECT_EQ(Outcome("thumbnail.txt", "north"), "thumbnail_updated.txt");
  EXPECT_EQ(ctrlSigs->thumbCamIdx, 0);
}

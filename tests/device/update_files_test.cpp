// Update files: what lies on the disk before a start, and what lies where after it.
#include "venc/update_files.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
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

  // The name that a file of this text ends under: all are looked for in the order of a start.
  std::string Outcome(const std::string& name, const std::string& text) {
    fs::remove_all(disk);
    fs::create_directories(disk / "DCIM");
    PutText(disk / name, text);
    OnBoard(board, [&] {
      LumoCopyLogoFile();
      LumoCopyInfoFile();
      LumoCopyConfFile();
      LumoLoadWBFile();
      LumoSetWifiName();
      LumoSetThumbCamIdx(ctrlSigs.get());
      LumoSetWirelessId(ctrlSigs.get());
    });
    std::string names;
    for (const auto& entry : fs::directory_iterator(disk)) {
      if (entry.is_regular_file()) names += (names.empty() ? "" : " ") + entry.path().filename().string();
    }
    return names;
  }
  std::string Local(const std::string& name) const { return FileText(local / name); }
};

std::string Bytes(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; i++) bytes[i] = static_cast<char>(i * 7 + i / 256);
  return bytes;
}

}  // namespace

TEST_F(UpdateFiles, CopiesWithinTheirLimitsOnceAndRenamesThem) {
  struct Limits {
    const char* name;
    const char* done;
    std::vector<size_t> taken, left;
  };
  const Limits known[] = {
      {"logo.jpg", "logo_updated.jpg", {1025, 2097151}, {0, 1024, 2097152}},
      {"info.ini", "info_updated.ini", {0, 1, 1023}, {1024, 1025}},
      {"hostapd.conf", "hostapd_updated.conf", {1025, 2097151}, {1024, 2097152}},
      {"dhcpd.conf", "dhcpd_updated.conf", {65, 1023}, {64, 1024}},
  };
  for (const Limits& row : known) {
    for (const bool taken : {true, false}) {
      for (const size_t size : taken ? row.taken : row.left) {
        PutText(local / row.name, "old");
        EXPECT_EQ(Outcome(row.name, Bytes(size)), taken ? row.done : row.name) << size;
        EXPECT_EQ(Local(row.name), taken ? Bytes(size) : "old") << row.name << " of " << size;
      }
    }
  }
  // What fails on the way is not seen: the copy stays as far as it came.
  board.faults.Add("disk.read fail nth=2");
  EXPECT_EQ(Outcome("logo.jpg", Bytes(9000)), "logo_updated.jpg");
  EXPECT_EQ(Local("logo.jpg"), Bytes(1024));
  fs::remove(local / "logo.jpg");
  fs::create_directories(local / "logo.jpg");
  EXPECT_EQ(Outcome("logo.jpg", Bytes(9000)), "logo_updated.jpg") << "without a place for the copy";
}

TEST_F(UpdateFiles, WhiteBalanceGoesIntoTheLastElementOfEachCurve) {
  std::string calibration = Local("CameraVignet_800");
  EXPECT_EQ(Outcome("wb.ini", "blue=0.8\ngreen=1.25\nred=1"), "wb_updated.ini");
  for (const auto& [curve, gain] : {std::pair{8, 0.8}, {1032, 1.25}, {2056, 1.0}}) {
    memcpy(calibration.data() + curve + 63 * sizeof(double), &gain, sizeof(gain));
  }
  EXPECT_EQ(Local("CameraVignet_800"), calibration) << "and nothing else has moved";
  for (const char* text : {"blue=0.79\ngreen=1\nred=1\n", "blue=1\ngreen=1.26\nred=1\n", "blue=1\ngreen=1\n",
                           "blue=1\ngreen=1\nred=nan\n", ""}) {
    EXPECT_EQ(Outcome("wb.ini", text), "wb_error.ini") << text;
  }
  EXPECT_EQ(Local("CameraVignet_800"), calibration);
  PutText(local / "CameraVignet_800", calibration.substr(0, 3079));
  EXPECT_EQ(Outcome("wb.ini", "blue=1\ngreen=1\nred=1\n"), "wb_error.ini") << "a short row";
  EXPECT_EQ(Local("CameraVignet_800"), calibration.substr(0, 3079));
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
    EXPECT_EQ(Local("hostapd.conf"), after);
  }
  fs::remove(local / "hostapd.conf");
  EXPECT_EQ(Outcome("wifi.txt", "New"), "wifi_updated.txt");
  EXPECT_FALSE(fs::exists(local / "hostapd.conf"));
}

TEST_F(UpdateFiles, NumbersAreTakenAndSaved) {
  struct Row {
    const char *name, *text, *outcome;
    int thumbCamIdx, wirelessId;  // afterwards; saved only if taken
  };
  const Row rows[] = {
      {"thumbnail", "24 is the zenith\n", "updated", 24, 0},
      {"wireless_id", "9\n", "updated", 24, 9},
      {"thumbnail", "25", "error", 24, 9},
      {"thumbnail", "-1", "error", 24, 9},
      {"thumbnail", "4294967297", "error", 24, 9},
      {"thumbnail", "", "error", 24, 9},
      {"wireless_id", "10", "error", 24, 9},
      {"wireless_id", "-1", "error", 24, 9},
      {"wireless_id", "", "error", 24, 9},
      {"thumbnail", "north", "updated", 0, 9},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(Outcome(row.name + std::string(".txt"), row.text), row.name + std::string("_") + row.outcome + ".txt")
        << row.text;
    EXPECT_EQ(ctrlSigs->thumbCamIdx, row.thumbCamIdx);
    EXPECT_EQ(ctrlSigs->wirelessId, row.wirelessId);
    const bool saved = FileText(disk / "DCIM" / "setting.ini")
                           .ends_with("\nthumbcamidx=" + std::to_string(row.thumbCamIdx) +
                                      "\nwirelessid=" + std::to_string(row.wirelessId) + "\nprefix=\n");
    EXPECT_EQ(saved, row.outcome == std::string("updated")) << row.text;
  }
}

// From power to readiness and back: what a start takes from the disk, what stops it, and how it ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

#include "tests/support/file_bytes.h"
#include "tests/support/pulses.h"
#include "tools/lumora-shot/shot_file.h"
#include "twin/board.h"

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using twin::Board;

namespace {

namespace fs = std::filesystem;

struct Start : testing::Test {
  Board board{{}};
  const fs::path disk = board.disk.Directory();
  const fs::path local = board.paths.Local();
  const fs::path setting = disk / "DCIM" / "setting.ini";

  shot::Record Shoot() {
    board.panel.ForgetPulses();
    board.button.Press(100ms);
    EXPECT_TRUE(board.RunUntilShotEnds()) << board.Log();
    board.Run(100ms);  // colour and list; a press that began now would not be seen
    return shot::ReadShot(board.disk.Shots().back().string()).record;
  }
  void SwitchOff() {
    board.button.Press(4s);
    EXPECT_TRUE(board.RunUntil([&] { return !board.Powered(); }, 1min)) << board.Log();
  }
  // Position of a text in the log; the test fails if it is not there.
  size_t At(const std::string& text) {
    const size_t at = board.Log().find(text);
    EXPECT_NE(at, std::string::npos) << text << " is missing in\n" << board.Log();
    return at;
  }
};

}  // namespace

TEST_F(Start, WithoutSettingsTheStartValuesStand) {
  PutText(disk / "wireless_id.txt", "0");  // makes the start write down what it has
  fs::create_directories(disk / "DCIM");
  ASSERT_TRUE(board.Boot());
  EXPECT_EQ(FileText(setting),
            "capturemode=0\nstrobemode=0\nisomode=0\nevcompval=0\nmanualexpsus=0\nmanualiso=0\ndelaymode=0\nsaveraw=0\n"
            "btnsetting=0\nshutdownmode=0\nthumbcamidx=12\nwirelessid=0\nprefix=\n");
}

TEST_F(Start, EmptyDiskIsMadeReady) {
  ASSERT_TRUE(board.Boot());
  EXPECT_FALSE(board.Exited());
  EXPECT_TRUE(fs::is_directory(disk / "DCIM"));
  EXPECT_THAT(board.Log(), StartsWith("main:"));
  EXPECT_EQ(board.Log().find(": Full Start\n"), board.Log().find(": "));
  EXPECT_EQ(board.panel.Colour(), "blue");
  const shot::Record record = Shoot();
  EXPECT_EQ(record.deviceId, 2);
  EXPECT_EQ(record.hdrMode, 2);
  EXPECT_THAT(board.Complaints(), IsEmpty());
}

TEST_F(Start, AllUpdateFilesAreTakenBeforeWhatTheyChangeIsUsed) {
  PutText(disk / "logo.jpg", std::string(2000, 'L'));
  PutText(disk / "info.ini", "deviceid=3\n");
  std::string hostapd(1100, '#');
  hostapd += "\nssid=theirs\n";
  PutText(disk / "hostapd.conf", hostapd);
  PutText(disk / "dhcpd.conf", std::string(100, '#'));
  PutText(disk / "wb.ini", "blue=1.1\ngreen=1\nred=0.9\n");
  PutText(disk / "wifi.txt", "Attic-Camera.2");
  PutText(disk / "thumbnail.txt", "7\n");
  PutText(disk / "wireless_id.txt", "5\n");
  PutText(setting, "thumbcamidx=20\nwirelessid=1\nprefix=attic_\ncapturemode=2\n");
  ASSERT_TRUE(board.Boot());

  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(disk)) names.insert(entry.path().filename().string());
  EXPECT_EQ(names, (std::set<std::string>{"DCIM", "dhcpd_updated.conf", "hostapd_updated.conf", "info_updated.ini",
                                          "logo_updated.jpg", "thumbnail_updated.txt", "wb_updated.ini",
                                          "wifi_updated.txt", "wireless_id_updated.txt"}));
  EXPECT_THAT(FileText(local / "hostapd.conf"), HasSubstr("\nssid=Attic-Camera.2\n"));
  // The two numbers come behind the settings and keep the rest of them.
  EXPECT_EQ(FileText(setting),
            "capturemode=2\nstrobemode=0\nisomode=0\nevcompval=0\nmanualexpsus=0\nmanualiso=0\ndelaymode=0\nsaveraw=0\n"
            "btnsetting=0\nshutdownmode=0\nthumbcamidx=7\nwirelessid=5\nprefix=attic_\n");
  EXPECT_LT(At(": LoadWBStr:\n"), At(": LoadSettingStr:\n"));
  EXPECT_LT(At(": LoadSettingStr:\n"), At(": SaveSettingStr:\n"));
  EXPECT_LT(At(": SaveSettingStr:\n"), At(": LoadInfoStr:\n"));
  EXPECT_LT(At(": LoadInfoStr:\n"), At("LumoStcSpiReadWrite:"));

  const shot::Record record = Shoot();
  EXPECT_EQ(record.deviceId, 3);
  EXPECT_THAT(board.disk.OnlyShot().filename().string(), StartsWith("attic_"));
  EXPECT_THAT(FileText(board.disk.OnlyShot()), HasSubstr(std::string(2000, 'L')));
  EXPECT_THAT(board.Complaints(), IsEmpty());
}

TEST_F(Start, SettingsRuleTheButtonIfTheySaySo) {
  PutText(setting, "btnsetting=1\ncapturemode=2\nisomode=1\nstrobemode=1\ndelaymode=6\nsaveraw=1\n");
  ASSERT_TRUE(board.Boot());
  const shot::Record record = Shoot();
  EXPECT_EQ(record.hdrMode, 4);
  EXPECT_EQ(record.isoMode, 1);
  EXPECT_EQ(record.antiFlickerMode, 1);
  EXPECT_EQ(record.timerMode, 0) << "the delay is the button's";
  EXPECT_EQ(record.ExposureCount(), 6);
}

TEST_F(Start, MuteLastsUntilTheNextSave) {
  PutText(setting, "mutemode=1\n");
  ASSERT_TRUE(board.Boot());
  EXPECT_THAT(board.panel.BuzzerPulses(), SizeIs(2)) << "readiness is told in any case";
  Shoot();
  EXPECT_THAT(board.panel.BuzzerPulses(), IsEmpty());
  EXPECT_THAT(board.panel.LedPulses(), SizeIs(3));
  SwitchOff();

  PutText(disk / "thumbnail.txt", "3");
  ASSERT_TRUE(board.Boot());
  Shoot();
  EXPECT_THAT(board.panel.BuzzerPulses(), IsEmpty()) << "the save came behind the loading";
  SwitchOff();
  ASSERT_TRUE(board.Boot());
  Shoot();
  EXPECT_THAT(board.panel.BuzzerPulses(), SizeIs(3));
}

TEST_F(Start, IdleDeviceSwitchesItselfOff) {
  PutText(setting, "shutdownmode=1\n");
  ASSERT_TRUE(board.Boot());
  EXPECT_FALSE(board.RunUntil([&] { return board.LogCount(": Quit\n") > 0; }, 299s));
  EXPECT_TRUE(board.RunUntil([&] { return board.LogCount(": Quit\n") > 0; }, 2s));
  EXPECT_TRUE(board.RunUntil([&] { return !board.Powered(); }, 10s));
}

TEST_F(Start, EmptyBatterySwitchesOff) {
  ASSERT_TRUE(board.Boot());
  board.Run(3s);  // while the motion sensor settles the button is polled more slowly, and the ring fills so
  board.coProcessor.SetBattery(9);
  // The ring holds the higher samples for another minute.
  EXPECT_FALSE(board.RunUntil([&] { return !board.Powered(); }, 60s));
  EXPECT_TRUE(board.RunUntil([&] { return !board.Powered(); }, 10s));
}

TEST_F(Start, FailsWithoutCalibration) {
  fs::remove(local / "CameraConf_800");
  EXPECT_TRUE(board.Boot());
  EXPECT_TRUE(board.Exited());
  EXPECT_EQ(static_cast<int8_t>(board.ExitStatus()), -1);
  EXPECT_LT(At(": Read CameraConf_800 error\n"), At(": LumoDeviceOpen error\n"));
}

TEST_F(Start, LogGoesToTheDiskIfTheDiskAsksForIt) {
  PutText(disk / "debug", "of the last time");
  ASSERT_TRUE(board.Boot());
  EXPECT_EQ(board.LogCount("Full Start"), 0u);
  SwitchOff();
  EXPECT_THAT(FileText(disk / "debug"), StartsWith("main:"));
  EXPECT_THAT(FileText(disk / "debug"), HasSubstr(": Quit\n"));

  // A read-only disk has no say.
  board.disk.SetReadOnly(true);
  board.PowerOn();
  board.Run(10s);
  EXPECT_EQ(board.LogCount("Full Start"), 1u);
}

TEST_F(Start, SignalsEndTheProcessAtOnce) {
  for (const int number : {2, 15}) {
    ASSERT_TRUE(board.Boot());
    board.SendSignal(13);
    board.Run(100ms);
    EXPECT_FALSE(board.Exited());
    board.SendSignal(number);
    board.Run(5s);
    EXPECT_TRUE(board.Exited());
    EXPECT_EQ(static_cast<int8_t>(board.ExitStatus()), -1);
    board.PowerOff();
  }
  EXPECT_EQ(board.LogCount("\033[0;31mprogram termination abnormally!\033[0;39m\n"), 2u);
  EXPECT_EQ(board.LogCount(": Quit\n"), 0u);
}

TEST_F(Start, TeardownLeavesTheDiskUnmountedBeforeThePowerGoes) {
  ASSERT_TRUE(board.Boot());
  board.button.Press(4s);
  ASSERT_TRUE(board.RunUntil([&] { return !board.disk.Mounted(); }, 30s));
  EXPECT_TRUE(board.Powered());
  EXPECT_TRUE(board.RunUntil([&] { return !board.Powered(); }, 5s));
  EXPECT_THAT(board.Complaints(), IsEmpty());
}

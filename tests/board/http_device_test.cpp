// What a client sets and asks of the device besides shots, and what of it is there after the next start.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "tests/support/file_bytes.h"
#include "tests/support/http_board.h"
#include "tools/lumora-shot/shot_file.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
namespace fs = std::filesystem;

struct HttpDevice : HttpBoard {
  void Restart() {
    Ok("/shutdown");
    ASSERT_TRUE(SwitchedOff());
    BootAgain();
  }
  bool ButtonTakesAShot() {
    const size_t before = board.disk.Shots().size();
    board.button.Press(100ms);
    board.Run(1min);
    return board.disk.Shots().size() == before + 1;
  }
};

TEST_F(HttpDevice, ConfigRulesButtonBuzzerAndIdleTime) {
  Ok("/config?btnsetting=2&mutemode=1");
  EXPECT_FALSE(ButtonTakesAShot());
  Restart();
  EXPECT_FALSE(ButtonTakesAShot()) << "it is remembered";
  Ok("/config?mutemode=1");
  board.panel.ForgetPulses();
  EXPECT_TRUE(ButtonTakesAShot());
  EXPECT_THAT(board.panel.BuzzerPulses(), IsEmpty());
  Ok("/config?shutdownmode=1");
  board.panel.ForgetPulses();
  EXPECT_TRUE(ButtonTakesAShot());
  EXPECT_THAT(board.panel.BuzzerPulses(), SizeIs(3)) << "what is left out is 0";

  // Polling does not keep the camera awake; asking for its state does.
  Ok("/config?shutdownmode=1");
  for (int i = 0; i < 10; i++) {
    board.Run(1min);
    EXPECT_EQ(Get("/get_information").Status(), 200);
  }
  for (int i = 0; i < 4; i++) {
    board.Run(1min);
    EXPECT_EQ(Get("/get_list").Status(), 200);
  }
  EXPECT_TRUE(SwitchedOff(75s));
}

TEST_F(HttpDevice, PrefixWithItsTailInFileNamesAndAfterTheNextStart) {
  Ok("/set_prefix?prefix=abcdef");
  Ok("/set_prefix?prefix=xy");
  EXPECT_TRUE(ButtonTakesAShot());
  ASSERT_THAT(Poll().names, SizeIs(1));
  EXPECT_THAT(Poll().names[0], StartsWith("xycdef2026-"));
  Restart();
  EXPECT_TRUE(ButtonTakesAShot());
  EXPECT_EQ(std::ranges::count_if(Poll().names, [](const auto& name) { return name.starts_with("xycdef2026-"); }), 2);
}

TEST_F(HttpDevice, TimeOfThePhoneSurvivesTheNextStart) {
  EXPECT_EQ(Get("/set_time?time=2030-12-31_23:59").raw, TextAnswer("400 BAD REQUEST", "Invalid time string"));
  EXPECT_EQ(board.clockChip.Date().year, 2026);
  Ok("/set_time?time=2030-12-31_23:58:00");
  board.Run(3min);
  Restart();
  EXPECT_TRUE(ButtonTakesAShot());
  const shot::Record record = shot::ReadShot(board.disk.OnlyShot().string()).record;
  EXPECT_EQ(record.shootDateYear, 2031);
  EXPECT_EQ(record.shootDateMon, 1);
  EXPECT_EQ(record.shootDateDay, 1);
  EXPECT_THAT(Poll().names.at(0), StartsWith("2031-01-01_00."));
}

TEST_F(HttpDevice, BatteryChargerAndTemperatures) {
  board.Run(2s);
  EXPECT_EQ(Get("/get_battery_level").body, "75");  // sample 50: 60 + 20 x 726 / 996
  EXPECT_EQ(Poll().numbers, (std::vector<int>{0, 0, 75}));
  board.coProcessor.SetCharging(true);
  board.coProcessor.SetBattery(63);
  board.Run(2s);
  EXPECT_EQ(Get("/get_battery_level").body, "1100");
  EXPECT_EQ(Poll().numbers, (std::vector<int>{0, 0, 1100}));

  EXPECT_EQ(Get("/get_last_temperature").body, "-10000");
  for (int camera = 0; camera < 25; camera++) board.array.SetTemperature(camera, 20 + camera);
  const twin::Time before = board.Now();
  EXPECT_EQ(Get("/get_current_temperature").body, "32");
  EXPECT_LT(board.Now() - before, 500ms);
  for (const int index : {1, 13, 25}) {
    EXPECT_EQ(Get("/get_last_temperature?index=" + std::to_string(index)).body, std::to_string(19 + index));
  }
  board.array.SetTemperature(4, 55);
  EXPECT_EQ(Get("/get_last_temperature?index=5").body, "24");
  EXPECT_EQ(Get("/get_current_temperature?index=5").body, "55");
  // During a shot nobody reads.
  Ok("/do_capture?delay=4");
  EXPECT_EQ(Get("/get_current_temperature").body, "-10000");
  Follow();
  EXPECT_EQ(Get("/get_last_temperature?index=5").body, "55");
}

TEST_F(HttpDevice, InformationTellsOfTheDisk) {
  const std::string before = Get("/get_information").body;
  EXPECT_THAT(before, HasSubstr("disk_free=" + std::to_string(board.disk.FreeKBs()) + "\r\n"));
  EXPECT_THAT(before, HasSubstr("firmware_version=20251113\r\ndevice_id=2\r\nserial_no="));
  EXPECT_EQ(Get("/get_information").body, before);
  Restart();
  EXPECT_EQ(Get("/get_information").body.substr(before.find("serial_no")), before.substr(before.find("serial_no")));
}

TEST_F(HttpDevice, FormattedDiskIsEmptyAndTakesShots) {
  Ok("/do_capture");
  Follow();
  std::ofstream{board.disk.Directory() / "notes.txt"} << "of somebody";
  ASSERT_THAT(Poll().names, SizeIs(1));
  Ok("/format_udisk");
  EXPECT_TRUE(board.RunUntil([this] { return !fs::exists(board.disk.Directory() / "notes.txt"); }, 1min));
  board.Run(5s);
  EXPECT_THAT(Poll().names, IsEmpty());
  EXPECT_TRUE(fs::is_empty(board.disk.Directory() / "DCIM"));
  Ok("/do_capture");
  EXPECT_EQ(Follow(), "255,255 0,255 0,0");
  EXPECT_THAT(Poll().names, SizeIs(1));
}

TEST_F(HttpDevice, ShutdownIsAnsweredAndLeavesTheDiskInOrder) {
  Ok("/do_capture");
  Follow();
  const auto shots = board.disk.Shots();
  Ok("/shutdown");
  EXPECT_TRUE(board.Powered());
  EXPECT_TRUE(board.RunUntil([this] { return !board.disk.Mounted(); }, 30s));
  EXPECT_TRUE(board.Powered());
  EXPECT_TRUE(SwitchedOff());
  EXPECT_EQ(board.network.Connect(kControl), nullptr);
  BootAgain();
  EXPECT_THAT(Poll().names, SizeIs(1));
  EXPECT_EQ(board.disk.Shots(), shots);
}

TEST_F(HttpDevice, AnUploadedApplicationIsInstalledAtTheNextStart) {
  const std::string image = "Lumora of tomorrow\n" + std::string(50'000, '7');
  EXPECT_EQ(Exchange(board, kBulk, PostText("/update_firmware?crcvalue=1", image)).Status(), 400);
  const std::string installed = FileText(board.paths.Local() / "lumora");
  Restart();
  EXPECT_EQ(FileText(board.paths.Local() / "lumora"), installed);

  uint32_t crc = 0xFFFFFFFF;
  for (const char c : image) {
    crc ^= static_cast<uint8_t>(c);
    for (int bit = 0; bit < 8; bit++) crc = crc % 2 == 1 ? crc / 2 ^ 0xEDB88320u : crc / 2;
  }
  EXPECT_EQ(Exchange(board, kBulk, PostText("/update_firmware?crcvalue=" + std::to_string(~crc), image)).raw,
            OkAnswer());
  EXPECT_EQ(FileText(board.paths.Local() / "lumora"), installed);
  Restart();
  EXPECT_EQ(FileText(board.paths.Local() / "lumora"), image);
  EXPECT_FALSE(fs::exists(board.disk.Directory() / "firmware"));
}

// The remote's adapter does not matter to the ports; a Wi-Fi adapter does.
TEST(HttpAdapters, NoAdapterNoListener) {
  twin::Board board{{}};
  ASSERT_TRUE(board.Boot());
  board.Run(5s);
  EXPECT_EQ(board.LogCount("Has Net?:No\n"), 1u);
  EXPECT_EQ(board.LogCount("httpd running"), 0u);
  EXPECT_EQ(board.network.Connect(kControl), nullptr);
}

TEST(HttpAdapters, WifiServesAsEthernetDoes) {
  twin::Board board{twin::BoardOptions{.usb = {twin::UsbAdapter::Wifi}}};
  ASSERT_TRUE(board.Boot());
  board.Run(5s);
  EXPECT_EQ(Get(board, "/get_list").Status(), 200);
  board.interfaces.SetUp("wlan0", false);
  EXPECT_EQ(board.network.Connect(kControl), nullptr);
}

}  // namespace

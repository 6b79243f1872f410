// What a client sets and asks of the device besides shots, and what of it is there after the next start.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/file_bytes.h"
#include "tests/support/http_board.h"
#include "tools/lumora-shot/shot_file.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

struct HttpDevice : HttpBoard {
  void Restart() {
    Ok("/shutdown");
    ASSERT_TRUE(SwitchedOff());
    BootAgain();
  }
  bool ButtonTakesAShot() {
    const size_t before = board.disk.Shots().size();
    board.panel.ForgetPulses();
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
  EXPECT_TRUE(ButtonTakesAShot());
  EXPECT_THAT(board.panel.BuzzerPulses(), IsEmpty());
  Ok("/config?shutdownmode=1");
  EXPECT_TRUE(ButtonTakesAShot());
  EXPECT_THAT(board.panel.BuzzerPulses(), SizeIs(3)) << "what is left out is 0";
  // Polling does not keep the camera awake; asking for its state does.
  for (const auto& [target, minutes] : {std::pair{"/get_information", 10}, {"/get_list", 4}}) {
    for (int i = 0; i < minutes; i++) {
      board.Run(1min);
      EXPECT_EQ(Get(target).Status(), 200);
    }
  }
  EXPECT_TRUE(SwitchedOff(75s));
}

TEST_F(HttpDevice, PrefixAndTimeSurviveTheNextStart) {
  Ok("/set_prefix?prefix=abcdef");
  Ok("/set_prefix?prefix=xy");
  Ok("/set_time?time=2030-12-31_23:58:00");
  board.Run(3min);
  Restart();
  EXPECT_TRUE(ButtonTakesAShot());
  EXPECT_THAT(Poll().names, ElementsAre(StartsWith("xycdef2031-01-01_00.")));
  const shot::Record record = shot::ReadShot(board.disk.OnlyShot().string()).record;
  EXPECT_EQ((std::vector{record.shootDateYear, record.shootDateMon, record.shootDateDay}), (std::vector{2031, 1, 1}));
}

TEST_F(HttpDevice, BatteryChargerAndTemperatures) {
  board.Run(2s);
  EXPECT_EQ(Poll().numbers, (std::vector{0, 0, 75}));  // sample 50: 60 + 20 x 726 / 996
  board.coProcessor.SetCharging(true);
  board.coProcessor.SetBattery(63);
  board.Run(2s);
  EXPECT_EQ(Get("/get_battery_level").body, "1100");
  EXPECT_EQ(Get("/get_last_temperature").body, "-10000");
  for (int camera = 0; camera < 25; camera++) board.array.SetTemperature(camera, 20 + camera);
  EXPECT_EQ(Get("/get_current_temperature").body, "32");
  for (const int index : {1, 13, 25}) {
    EXPECT_EQ(Get("/get_last_temperature?index=" + std::to_string(index)).body, std::to_string(19 + index));
  }
  // During a shot nobody reads; it is done afterwards.
  Ok("/do_capture?delay=4");
  board.array.SetTemperature(4, 55);
  EXPECT_EQ(Get("/get_current_temperature").body, "-10000");
  Follow();
  EXPECT_EQ(Get("/get_last_temperature?index=5").body, "55");
}

TEST_F(HttpDevice, SerialNumberIsThatOfTheCalibration) {
  const auto serial = [this] { return std::stoi(Get("/get_information").body.substr(92)); };
  const int before = serial();
  EXPECT_GT(before, 0);
  Restart();
  EXPECT_EQ(serial(), before);
  std::fstream(board.paths.Local() / "CameraConf_800", std::ios::binary | std::ios::in | std::ios::out).put('\x5A');
  Restart();
  EXPECT_NE(serial(), before);
}

TEST_F(HttpDevice, FormattedDiskIsEmptyTakesShotsAndIsInOrderAfterwards) {
  PutText(board.disk.Directory() / "notes.txt", "of somebody");
  Ok("/do_capture");
  Follow();
  Ok("/format_udisk");
  board.Run(5s);
  EXPECT_THAT(Poll().names, IsEmpty());
  EXPECT_EQ(FileText(board.disk.Directory() / "notes.txt"), "(no file)");
  Ok("/do_capture");
  EXPECT_EQ(Follow(), "255,255 0,255 0,0");
  const auto shots = board.disk.Shots();
  EXPECT_THAT(shots, SizeIs(1));
  Ok("/shutdown");
  EXPECT_TRUE(board.RunUntil([this] { return !board.disk.Mounted(); }, 30s));
  EXPECT_TRUE(board.Powered());
  EXPECT_TRUE(SwitchedOff());
  EXPECT_EQ(board.network.Connect(kControl), nullptr);
  BootAgain();
  EXPECT_EQ(board.disk.Shots(), shots);
}

TEST_F(HttpDevice, AnUploadedApplicationIsInstalledAtTheNextStart) {
  const std::string image = "Lumora of tomorrow\n" + std::string(50'000, '7'), crc = std::to_string(Crc32(image));
  const std::string before = FileText(board.paths.Local() / "lumora");
  for (const auto& [value, status, installed] : {std::tuple{std::string("1"), 400, before}, {crc, 200, image}}) {
    EXPECT_EQ(Exchange(board, kBulk, PostText("/update_firmware?crcvalue=" + value, image)).Status(), status);
    EXPECT_TRUE(FileText(board.paths.Local() / "lumora") == before);
    Restart();
    EXPECT_TRUE(FileText(board.paths.Local() / "lumora") == installed);
  }
  EXPECT_EQ(FileText(board.disk.Directory() / "firmware"), "(no file)");
}

TEST(HttpAdapters, AnyNetworkOrNoListener) {
  for (const auto& [adapters, network] : {std::pair{std::vector<twin::UsbAdapter>{}, ""},
                                          {{twin::UsbAdapter::Wifi}, "wlan0"},
                                          {{twin::UsbAdapter::Wifi, twin::UsbAdapter::Ethernet}, "eth0"}}) {
    twin::Board board{twin::BoardOptions{.usb = adapters}};
    ASSERT_TRUE(board.Boot());
    board.Run(5s);
    EXPECT_EQ(board.LogCount("Has Net?:No\n"), adapters.empty() ? 1u : 0u);
    EXPECT_EQ(Get(board, "/get_list").Status(), adapters.empty() ? 0 : 200);
    if (!adapters.empty()) board.interfaces.SetUp(network, false);
    EXPECT_EQ(board.network.Connect(kControl), nullptr) << network;
  }
}

}  // namespace

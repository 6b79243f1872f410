// The application's hand on the USB adapters: what it finds, and what it makes of them.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/file_bytes.h"
#include "tests/support/on_board.h"
#include "venc/system_integration.h"

namespace {

namespace fs = std::filesystem;
using twin::UsbAdapter;
using namespace std::chrono_literals;

struct Adapters : testing::Test {
  twin::Board board{twin::BoardOptions{}};
  fs::path local = board.paths.Local();
  fs::path accessPoint = board.paths.Root() / "var/run/hostapd/wlan0";

  ~Adapters() override { EXPECT_EQ(board.Complaints(), std::vector<std::string>{}); }
  int Found() {
    int bits = -1;
    OnBoard(board, [&bits] { bits = GetUsbMode(); });
    return bits;
  }
};

TEST_F(Adapters, AreFoundByTheirIds) {
  EXPECT_EQ(Found(), 0);
  board.usb.Plug(UsbAdapter::Serial);
  EXPECT_EQ(Found(), 4);
  board.usb.Plug(UsbAdapter::Wifi);
  EXPECT_EQ(Found(), 5);
  board.usb.Plug(UsbAdapter::Ethernet);
  EXPECT_EQ(Found(), 7);
  board.usb.Unplug(UsbAdapter::Wifi);
  EXPECT_EQ(Found(), 6);
  board.faults.Add("usb.list silence");
  EXPECT_EQ(Found(), 0);
  board.faults.Add("shell.popen fail=ENOMEM");
  EXPECT_EQ(Found(), 0);
  EXPECT_EQ(board.faults.Fired(), 2u);
}

TEST_F(Adapters, CountOnLinesOfMoreThanTwentyBytes) {
  board.usb.PlugOther("0bda:8152 7890 34 6");
  EXPECT_EQ(Found(), 0) << "20 with its line feed";
  board.usb.PlugOther("10c4:ea60 7890 34 67");
  EXPECT_EQ(Found(), 4) << "21";
  board.usb.PlugOther("Bus 001: 0bda:8152 with 0bda:b720 in one");
  EXPECT_EQ(Found(), 5) << "one bit a line, in the order of the bits";
}

TEST_F(Adapters, EthernetNeedsGoodModulesAndItsAdapterAndGoesAgain) {
  OnBoard(board, [] {
    LumoInitKOFiles();
    LumoEthOpen();
  });
  EXPECT_FALSE(board.interfaces.Exists("eth0")) << "not plugged";
  board.usb.Plug(UsbAdapter::Ethernet);
  for (const char* broken : {"mii.ko", "r8152.ko"}) {
    fs::rename(local / broken, local / "kept");
    PutText(local / broken, "not a module");
    OnBoard(board, LumoEthOpen);
    EXPECT_FALSE(board.interfaces.Exists("eth0")) << broken;
    fs::rename(local / "kept", local / broken);
  }
  bool upWhileOpen = false;
  OnBoard(board, [&] {
    LumoEthOpen();
    upWhileOpen = board.interfaces.Up("eth0");
    LumoEthClose();
  });
  EXPECT_TRUE(upWhileOpen) << board.Log();
  EXPECT_FALSE(board.interfaces.Exists("eth0"));
  EXPECT_FALSE(board.drivers.Loaded("r8152") || board.drivers.Loaded("mii"));
}

TEST_F(Adapters, TheSerialPortComesAndGoes) {
  board.usb.Plug(UsbAdapter::Serial);
  std::vector<int> results;
  OnBoard(board, [&] {
    const auto open = [&] { results.push_back(std::min(board.descriptors.Open("/dev/ttyUSB0", O_RDWR), 0)); };
    LumoInitKOFiles();
    open();
    LumoUsbSerialOpen();
    open();
    LumoUsbSerialClose();
    open();
  });
  EXPECT_EQ(results, (std::vector{-ENOENT, 0, -ENOENT}));
}

TEST_F(Adapters, TheAccessPointStandsOnlyWithAdapterAndName) {
  const auto opened = [&] {
    OnBoard(board, LumoWifiOpen);
    return fs::exists(accessPoint);
  };
  EXPECT_FALSE(opened()) << "no adapter";
  board.usb.Plug(UsbAdapter::Wifi);
  twin::Duration took{0};
  OnBoard(board, [&] {
    const twin::Time start = board.Now();
    LumoWifiOpen();
    took = board.Now() - start;
  });
  EXPECT_TRUE(fs::exists(accessPoint)) << board.Log();
  EXPECT_TRUE(board.interfaces.Up("wlan0"));
  EXPECT_NEAR(std::chrono::duration<double>(took).count(), 4.0, 0.5);
  OnBoard(board, [] {
    LumoWifiOpen();
    LumoWifiClose();
  });
  EXPECT_FALSE(fs::exists(accessPoint) || board.interfaces.Up("wlan0"));

  board.faults.Add("wifi.access-point fail");
  EXPECT_FALSE(opened());
  EXPECT_FALSE(board.interfaces.Up("wlan0"));
  std::ofstream(local / "hostapd.conf") << "interface=wlan0\n#ssid=no\nssid=\n";
  EXPECT_FALSE(opened());
  std::ofstream(local / "hostapd.conf") << "interface=wlan0\nssid=" << std::string(32, 'x') << '\n';
  EXPECT_TRUE(opened());
}

}  // namespace

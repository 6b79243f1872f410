// The application's hand on the USB adapters: what it finds, and what it makes of them.
#include <gtest/gtest.h>

#include "tests/support/file_bytes.h"
#include "tests/support/on_board.h"
#include "venc/kernel_modules.h"
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

TEST_F(Adapters, AreFoundByTheirIdsOnLinesOfMoreThanTwentyBytes) {
  EXPECT_EQ(Found(), 0);
  for (const auto& [adapter, bits] :
       {std::pair{UsbAdapter::Serial, 4}, {UsbAdapter::Wifi, 5}, {UsbAdapter::Ethernet, 7}}) {
    board.usb.Plug(adapter);
    EXPECT_EQ(Found(), bits);
  }
  for (const UsbAdapter adapter : {UsbAdapter::Serial, UsbAdapter::Wifi, UsbAdapter::Ethernet}) {
    board.usb.Unplug(adapter);
  }
  for (const auto& [line, bits] : {std::pair{"0bda:8152 7890 34 6", 0},  // 20 with its line feed
                                   {"10c4:ea60 7890 34 67", 4},
                                   {"Bus 001: 0bda:8152 with 0bda:b720 in one", 5}}) {  // one bit a line, the first
    board.usb.PlugOther(line);
    EXPECT_EQ(Found(), bits) << line;
  }
  board.faults.Add("usb.list silence");
  EXPECT_EQ(Found(), 0);
  board.faults.Add("shell.popen fail=ENOMEM");
  EXPECT_EQ(Found(), 0);
  EXPECT_EQ(board.faults.Fired(), 2u);
}

// The roads of opening and closing are those of a start and an end; here is what they meet.
TEST_F(Adapters, ANetworkStandsOnlyOnAllThatItNeeds) {
  const auto ethernet = [&] {
    OnBoard(board, LumoEthOpen);
    return board.interfaces.Up("eth0");
  };
  const auto wifi = [&] {
    OnBoard(board, LumoWifiOpen);
    return fs::exists(accessPoint) && board.interfaces.Up("wlan0");
  };
  OnBoard(board, LumoInitKOFiles);
  EXPECT_FALSE(ethernet() || wifi()) << "not plugged";
  board.usb.Plug(UsbAdapter::Ethernet);
  board.usb.Plug(UsbAdapter::Wifi);
  EXPECT_TRUE(ethernet() && wifi()) << board.Log();
  PutText(local / "hostapd.conf", "interface=wlan0\n#ssid=no\nssid=\n");
  EXPECT_FALSE(wifi());
  PutText(local / "mii.ko", "not a module");
  EXPECT_FALSE(ethernet());
}

}  // namespace

// What a start does to the system: files that it lays out, empties or opens, and the adapters that it finds.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/file_bytes.h"
#include "tests/support/on_board.h"
#include "venc/kernel_modules.h"
#include "venc/system_integration.h"

namespace {

namespace fs = std::filesystem;
using twin::UsbAdapter;
using namespace std::chrono_literals;

struct StartFiles : testing::Test {
  twin::Board board{twin::BoardOptions{}};
  fs::path log = board.disk.Directory() / "debug";

  // A process in which `step` logs, and which ends in order. Returns what opening the log gave.
  int Log(void (*step)()) {
    int result = 1;
    OnBoard(board, [&] {
      result = LumoOpenDebugFile();
      step();
      LumoSystemSync();
    });
    return result;
  }
};

TEST_F(StartFiles, ModulesAreLaidOutWhereTheyAreMissingAndLeasesForgotten) {
  const fs::path local = board.paths.Local(), leases = board.paths.Root() / "var/lib/dhcp/dhcpcd.leases";
  PutText(local / "usbserial.ko", "mine");
  PutText(leases, "lease 192.168.5.20 { }\nlease 192.168.5.21 { }\n");
  OnBoard(board, [] {
    LumoInitKOFiles();
    LumoResetDhcpcdLeases();
  });
  for (const auto& [name, size] : {std::pair{"mii.ko", 6976u}, {"r8152.ko", 37784u}, {"cp210x.ko", 23660u}}) {
    EXPECT_EQ(FileText(local / name), FileText(fs::path(LUMORA_BLOB_DIR) / name)) << name;
    EXPECT_EQ(fs::file_size(local / name), size) << name;
  }
  EXPECT_EQ(FileText(local / "usbserial.ko"), "mine");
  EXPECT_EQ(FileText(leases), "\n");
  fs::remove_all(leases.parent_path());
  OnBoard(board, LumoResetDhcpcdLeases);
  EXPECT_FALSE(fs::exists(leases));
}

TEST_F(StartFiles, ADebugFileThatCannotBeWrittenLeavesTheLogAtStandardError) {
  std::ofstream(log) << "old";
  board.disk.SetReadOnly(true);
  EXPECT_EQ(Log(LumoWifiClose), 0);
  board.disk.SetReadOnly(false);
  board.faults.Add("disk.open fail=EMFILE nth=2");  // the question whether it is writable is the first
  EXPECT_EQ(Log(LumoEthClose), -2);
  EXPECT_EQ(board.faults.Fired(), 1u);
  EXPECT_EQ(board.LogCount(" 80211_shutdown.sh\n"), 1u);
  EXPECT_EQ(board.LogCount(" r8152_shutdown\n"), 1u);
  EXPECT_EQ(FileText(log), "old");
}

// --- USB adapters ---

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

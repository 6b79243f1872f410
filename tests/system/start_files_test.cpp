// Files that every start lays out, empties or opens: modules, leases, the log on the disk.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/file_bytes.h"
#include "tests/support/on_board.h"
#include "venc/kernel_modules.h"
#include "venc/system_integration.h"

namespace {

namespace fs = std::filesystem;

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

}  // namespace

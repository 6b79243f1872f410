// What the application adds to the boot script, to the byte.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/file_bytes.h"
#include "tests/support/on_board.h"
#include "venc/boot_script.h"

namespace {

namespace fs = std::filesystem;

const std::string kMount = "mount -t vfat /dev/sda1 /mnt/udisk\n";
const std::string kRetry =
    "if [ \"$?\" != 0 ]; then\n  sleep 2\n  echo \"Retry mount\"\n  mount -t vfat /dev/sda1 /mnt/udisk\nfi\n";
const std::string kInstall =
    "\nif [ -f /mnt/udisk/firmware ]; then\n  mv /mnt/udisk/firmware /mnt/local/lumora\n"
    "  chmod 777 /mnt/local/lumora\nfi\n";

struct BootScript : testing::Test {
  twin::Board board{twin::BoardOptions{}};
  fs::path script = board.paths.Root() / "etc/init.d/S90user";
  const std::string delivered = FileText(script);
  fs::file_time_type written;  // of the script, before the application saw it

  bool Rewritten() { return fs::last_write_time(script) != written; }

  // `text` after so many starts.
  std::string Patched(const std::string& text, int times = 1) {
    std::ofstream(script, std::ios::binary) << delivered;
    OnBoard(board, [&] {
      std::ofstream(script, std::ios::binary) << text;
      fs::last_write_time(script, fs::last_write_time(script) - std::chrono::hours(1));
      written = fs::last_write_time(script);
      for (int i = 0; i < times; i++) LumoModifyS90User();
    });
    return FileText(script);
  }
};

TEST_F(BootScript, GetsBothAdditionsOnce) {
  const std::string script_ = "#!/bin/sh\n" + kMount + "cd /mnt/local\n/mnt/local/lumora 1> &\n";
  const std::string expected =
      "#!/bin/sh\n" + kMount + kRetry + "cd /mnt/local\n/mnt/local/lumora 1> " + kInstall + "&\n";
  EXPECT_EQ(Patched(script_), expected) << "21 bytes behind the start of the path, whatever stands there";
  EXPECT_EQ(board.LogCount("Add Retry mount to S90User\n"), 1u);
  EXPECT_EQ(board.LogCount("Add Update firmware to S90User\n"), 1u);
  EXPECT_EQ(Patched(script_, 2), expected);
  EXPECT_EQ(Patched(expected), expected);
  EXPECT_FALSE(Rewritten());
}

TEST_F(BootScript, GetsEachAdditionByItself) {
  const std::string start = "/mnt/local/lumora  # \n\n";
  const std::string started = "/mnt/local/lumora  # " + kInstall + "\n\n";
  EXPECT_EQ(Patched("echo no disk\n" + start), "echo no disk\n" + started);
  EXPECT_EQ(Patched("mount -t vfat /dev/sda1 /mnt/udisk ; true\n" + start),
            "mount -t vfat /dev/sda1 /mnt/udisk ; true\n" + started)
      << "not the line";
  EXPECT_EQ(Patched("# Retry mount: no\n" + kMount + start), "# Retry mount: no\n" + kMount + started);
  EXPECT_EQ(Patched("# firmware is elsewhere\n" + kMount + start),
            "# firmware is elsewhere\n" + kMount + kRetry + start);
  EXPECT_EQ(Patched(kMount + kMount), kMount + kRetry + kMount) << "behind the first";
}

TEST_F(BootScript, WithoutRoomForThePlaceGetsNoInstallation) {
  EXPECT_EQ(Patched("/mnt/local/lumora &\n"), "/mnt/local/lumora &\n");
  EXPECT_FALSE(Rewritten());
  EXPECT_EQ(Patched("/mnt/local/lumora  &\n"), "/mnt/local/lumora  &\n" + kInstall) << "the place is the script's end";
  EXPECT_EQ(Patched(""), "");
  std::ofstream(script, std::ios::binary) << delivered;
  OnBoard(board, [&] {
    fs::remove(script);
    LumoModifyS90User();
  });
  EXPECT_FALSE(fs::exists(script));
}

}  // namespace

#include "twin/seam/shell_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/on_board.h"
#include "twin/seam/commands.h"

namespace twin {
namespace {

using testing::IsEmpty;

struct Shell : testing::Test {
  Board board{BoardOptions{}};
  std::string output;
  int status = -1;

  // Runs the text as a script of the device.
  void Run(const std::string& text) {
    output.clear();
    OnBoard(board, [&] {
      std::ofstream(board.paths.Local() / "test.sh") << text;
      status = RunCommandLine(board, "./test.sh", output);
    });
  }
};

TEST_F(Shell, FollowsItsBranches) {
  Run("#!/bin/sh\n"
      "umount /mnt/udisk\n"
      "if [ \"$?\" != 0 ]; then\n  echo busy\nelse\n  echo \"un  mounted\"  now\nfi\n"
      "  umount /mnt/udisk\n"
      "if [ \"$?\" != 0 ]; then\n"
      "  if [ -f hostapd.conf ]; then\n    echo conf\n  else\n    echo none\n  fi\n"
      "else\n"
      "  if [ ! -f nothing ]; then\n    echo a\n  else\n    echo b\n  fi\n"
      "  unheard of\n"
      "fi\n"
      "mount -t vfat /dev/sda1 /mnt/udisk\n"
      "if [ -f /mnt/udisk ]; then\n  echo a directory is no file\nfi\n"
      "exit 3\necho never\n");
  EXPECT_EQ(output, "un  mounted now\numount: can't unmount /mnt/udisk: Invalid argument\nconf\n");
  EXPECT_EQ(status, 3);
  EXPECT_THAT(board.Complaints(), IsEmpty());
}

TEST_F(Shell, ABootScriptWithoutItsProgramLeavesTheBoardWithout) {
  int starts = 0;
  OnBoard(board, [&] { starts++; });
  std::filesystem::remove(board.paths.Local() / "lumora");
  OnBoard(board, [&] { starts++; });
  EXPECT_EQ(starts, 1);
  EXPECT_EQ(board.ExitStatus(), 127);
}

}  // namespace
}  // namespace twin

// The whole device with its adapters and its boot script, from power-on to power-off.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/file_bytes.h"
#include "twin/board.h"

namespace {

namespace fs = std::filesystem;
using namespace twin;

TEST(SmallLinux, ADiskThatIsSlowToMountIsTriedAgainOnceTheScriptIsPatched) {
  Board board{BoardOptions{}};
  board.faults.Add("disk.mount fail=ENXIO");
  ASSERT_TRUE(board.Boot());
  EXPECT_FALSE(board.disk.Mounted()) << "the script as delivered tries once";
  EXPECT_EQ(board.LogCount("Retry mount\n"), 0u);
  board.PowerOff();

  board.faults.Add("disk.mount fail=ENXIO");
  const Time start = board.Now();
  board.PowerOn();
  EXPECT_TRUE(board.RunUntil([&] { return board.disk.Mounted(); }, 10s));
  EXPECT_GE(board.Now() - start, 2s);
  EXPECT_EQ(board.LogCount("Retry mount\n"), 1u);
}

TEST(SmallLinux, AFirmwareOnTheDiskIsInstalledAtTheNextStart) {
  Board board{BoardOptions{}};
  const fs::path image = board.disk.Directory() / "firmware", installed = board.paths.Local() / "lumora";
  const std::string before = FileText(installed);
  const std::string next = "Lumora 2\n" + std::string(20000, '2');
  std::ofstream(image) << next;
  ASSERT_TRUE(board.Boot());
  EXPECT_EQ(FileText(installed), before) << "this start only taught the script";
  board.button.Press(4s);
  EXPECT_TRUE(board.RunUntil([&] { return !board.Powered(); }, 1min));

  // The power goes in the middle of the copy: the image is still on the disk, and the start after that installs it.
  board.faults.Add("disk.read powercut nth=3");
  board.PowerOn();
  EXPECT_TRUE(board.RunUntil([&] { return !board.Powered(); }, 10s));
  EXPECT_LT(FileText(installed).size(), next.size());
  EXPECT_EQ(FileText(image), next);
  ASSERT_TRUE(board.Boot());
  EXPECT_EQ(FileText(installed), next);
  EXPECT_FALSE(fs::exists(image));
  EXPECT_EQ(board.disk.FreeClusters(), board.disk.TotalClusters() - 1) << "DCIM alone";
  EXPECT_EQ(board.Complaints(), std::vector<std::string>{});
}

TEST(SmallLinux, TheClockGoesOnInASecondProgramOnTheSameRoot) {
  const fs::path root = fs::path(testing::TempDir()) / ("root-" + std::to_string(getpid()));
  {
    Board board{BoardOptions{.root = root}};
    board.clockChip.SetDate({2031, 12, 31, 23, 59, 58, 0});
    board.Run(1700ms);
  }
  {
    Board board{BoardOptions{.root = root}};
    board.Run(200ms);
    EXPECT_EQ(board.clockChip.Date().second, 59);
    board.Run(200ms);
    EXPECT_EQ(board.clockChip.Date(), (CivilTime{2032, 1, 1, 0, 0, 0, 4}));
  }
  std::ofstream(root / "clock_chip") << "no time";
  EXPECT_EQ(Board{BoardOptions{.root = root}}.clockChip.Date(), (CivilTime{2026, 6, 15, 10, 30, 0, 1}));
  fs::remove_all(root);
}

}  // namespace

// The disk's room, its colour, and the list of finished shots.
#include "common/fpga_ctrl/device/storage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "common/fpga_ctrl/array/gpio.h"
#include "tests/support/file_bytes.h"
#include "tests/support/on_board.h"

using twin::Board;

namespace {

namespace fs = std::filesystem;

std::string ListText(const ControlSignals& ctrlSigs) {
  const char* list = ctrlSigs.fileList + 16;
  return {list, strnlen(list, sizeof(ctrlSigs.fileList) - 16)};
}

// What the list holds for a directory of these files.
std::string ListOf(const std::vector<std::string>& names, const std::vector<std::string>& errNames = {}) {
  Board board{{}};
  fs::create_directories(board.disk.Directory() / "DCIM");
  for (const std::string& name : names) PutText(board.disk.Directory() / "DCIM" / name, "x");
  auto ctrlSigs = std::make_unique<ControlSignals>();
  for (const std::string& name : errNames) name.copy(ctrlSigs->errFileList + ctrlSigs->errFileNum++ * 32, 31);
  std::string list;
  OnBoard(board, [&] {
    EXPECT_EQ(LumoUpdateFileList(ctrlSigs.get()), 0);
    list = ListText(*ctrlSigs);
  });
  return list;
}

}  // namespace

TEST(Storage, ColourAndRoomAtTheirLimits) {
  Board board{{}};
  OnBoard(board, [&] {
    board.disk.Unmount();
    board.disk.Format(1);  // clusters of 1 KB, so that every free space is possible
    board.disk.Mount();
    LumoGpioInit();
    auto ctrlSigs = std::make_unique<ControlSignals>();
    ctrlSigs->stcSpiMode = 1;
    const std::vector<std::pair<unsigned int, std::string>> known = {
        {1310719, "red"},   {1310720, "yellow"}, {2621439, "yellow"}, {2621440, "green"},
        {6553599, "green"}, {6553600, "cyan"},   {13107199, "cyan"},  {13107200, "blue"}};
    for (const auto& [freeKBs, colour] : known) {
      board.disk.FillTo(freeKBs);
      LumoUpdateStorageLED(ctrlSigs.get());
      EXPECT_EQ(board.panel.LampColour(), colour) << freeKBs << " KB";
    }

    board.disk.FillTo(262144);
    EXPECT_EQ(LumoStorageEnough(), 0);
    board.disk.FillTo(262145);
    EXPECT_EQ(LumoStorageEnough(), 1);
    unsigned int freeKBs = 1;
    unsigned int totalKBs = 1;
    LumoCheckStorage(&freeKBs, &totalKBs);
    EXPECT_EQ(freeKBs, 262145u);
    EXPECT_EQ(totalKBs, 62'500'000u);

    // A disk that cannot be asked is a full one.
    board.faults.Add("disk.statfs fail=EIO times=always");
    LumoCheckStorage(&freeKBs, &totalKBs);
    EXPECT_EQ(freeKBs + totalKBs, 0u);
    EXPECT_EQ(LumoStorageEnough(), 0);
    LumoUpdateStorageLED(ctrlSigs.get());
    EXPECT_EQ(board.panel.LampColour(), "red");
    EXPECT_EQ(board.LogCount("statfs error\n"), 3u);
  });
}

TEST(Storage, ListsFinishedShotsAlone) {
  const std::string name19 = "20260615_103000_abc";  // with its extension 23 characters
  const std::string name30 = "prefix_abcd20260615_103000_abc";
  ASSERT_EQ(name30.size(), 30u);
  EXPECT_EQ(ListOf({name19 + ".ori", name19 + ".dwo", "1" + name19.substr(1) + ".tmp", name30 + ".ori",
                    name30 + "x.ori",           // 35 characters
                    name19.substr(1) + ".ori",  // 22 characters
                    "A" + name19 + ".ORI", "B" + name19 + "_ori", "setting.ini"}),
            name19 + "\r\n" + name30 + "\r\n");
  EXPECT_EQ(ListOf({}), "");
}

TEST(Storage, LeavesBadShotsOut) {
  const std::string a = "20260615_103000_aaa";
  const std::string b = "20260615_103000_bbb";
  const std::string c = "20260615_103000_ccc";
  EXPECT_EQ(ListOf({a + ".ori", b + ".ori", c + ".ori"}, {"nothing", b}), a + "\r\n" + c + "\r\n");
  EXPECT_EQ(ListOf({a + ".ori"}, {a.substr(0, 18)}), a + "\r\n") << "a part of the name is not the name";
  // The longest names are told apart too.
  const std::string longName = "11charprefi20260615_103000_aaa";
  EXPECT_EQ(ListOf({longName + ".ori"}, {longName}), "");
  // A longer name in front of it, and a bad one is listed all the same.
  EXPECT_EQ(ListOf({"1" + a + ".ori", a + ".ori"}, {a}), "1" + a + "\r\n" + a + "\r\n");
}

TEST(Storage, ListTakesNoMoreThanItHolds) {
  Board board{{}};
  const auto make = [&](const std::string& name) { PutText(board.disk.Directory() / "DCIM" / (name + ".ori"), "x"); };
  // Names of 19 characters take 21 bytes of the 65,520. One of 20 misses by a byte; the next of 19 fits to the last.
  for (int i = 0; i < 3119; i++) make("20260615_10300" + std::to_string(10000 + i));
  make("A20260615_1030099999");
  make("B20260615_103009999");
  make("C20260615_103009999");
  auto ctrlSigs = std::make_unique<ControlSignals>();
  OnBoard(board, [&] {
    EXPECT_EQ(LumoUpdateFileList(ctrlSigs.get()), 0);
    EXPECT_EQ(ListText(*ctrlSigs).size(), 65520u);
    EXPECT_EQ(ListText(*ctrlSigs).substr(0, 21), "20260615_1030010000\r\n");
    EXPECT_EQ(ctrlSigs->errFileNum, 0) << "the field behind the list";
    EXPECT_EQ(std::string(16, '\0'), std::string(ctrlSigs->fileList, 16)) << "the head room in front of it";

    // The next list starts from nothing.
    board.faults.Add("disk.list fail=EIO");
    EXPECT_EQ(LumoUpdateFileList(ctrlSigs.get()), -1);
    EXPECT_EQ(ListText(*ctrlSigs), "");
    EXPECT_EQ(board.LogCount("LumoUpdateFileList:"), 1u);
    EXPECT_EQ(board.LogCount("opendir error\n"), 1u);
  });
}

// Commands that pack, limit or wrap what they are given, and what is made of the layers' answers. The others are seen
// in the order of a shot.
#include "common/fpga_ctrl/array/fpga_commands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/on_board.h"
#include "tests/support/spi_tap.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

struct Row {
  std::function<int()> send;
  int layer, camera, code, h, m, l;
};

const std::vector<Row> rows = {
    {[] { return LumoSpiMainDelaySetupAndRunAll(0xFF123456); }, 3, 0, 0x14, 0x12, 0x34, 0x56},
    {[] { return LumoSpiWriteExpsReg(6, 7, 0xA5); }, 1, 0, 0x15, 6 << 5 | 7 << 2, 0xA5, 0},
    {[] { return LumoSpiWriteExpsReg(1, 9, 1); }, 1, 0, 0x15, 1 << 5 | 1 << 2, 1, 0},
    {[] { return LumoSpiSetCaptureHdrAll(0); }, 3, 0, 0xD3, 0, 0, 0},
    {[] { return LumoSpiCaptureLoadNew(2, 0x45); }, 2, 0, 0xD6, 5, 0, 0},
    {[] { return LumoSpiSubDelaySetupOneCamera(1, 7, 0x99C); }, 1, 7, 0xE1, 0, 0x09, 0x9C},
    {[] { return LumoSpiSubDelaySetupAll(0x0617BB); }, 3, 15, 0xE1, 6, 0x17, 0xBB},
    {[] { return LumoSpiSubWaitVysncAll(5, 1); }, 3, 15, 0xE3, 0, 0, 0},
    {[] { return LumoSpiSubWaitVysncAll(5, 0); }, 3, 15, 0xE4, 0, 0, 0},
    {[] { return LumoSpiCciWriteOneCamera(0, 9, 0x3821, 6); }, 0, 8, 0xF0, 0x38, 0x21, 6},
    {[] { return LumoSpiCciWriteOneCamera(1, 9, 0x3821, 6); }, 1, 7, 0xF0, 0x38, 0x21, 6},
    {[] { return LumoSpiCciReadOneCamera(0, 9, 0x300B); }, 0, 8, 0xF2, 0x30, 0x0B, 0},
    {[] { return LumoSpiCciReadOneCamera(2, 9, 0x300B); }, 2, 7, 0xF2, 0x30, 0x0B, 0},
};

class FpgaCommands : public testing::Test {
 protected:
  void OnOpenBus(const std::function<void()>& body) {
    OnBoard(board, [&] {
      ASSERT_EQ(LumoSpiInit(), 0);
      body();
    });
  }
  twin::Board board{twin::BoardOptions{}};
  SpiTap tap{board};
};

TEST_F(FpgaCommands, EachSendsItsRowAndALostFrameIsToldByItsPlace) {
  OnOpenBus([this] {
    for (const Row& row : rows) {
      tap.frames.clear();
      EXPECT_EQ(row.send(), 0) << row.code;
      ASSERT_FALSE(tap.frames.empty()) << row.code;
      const SpiFrame& last = tap.frames.back();
      const std::vector<int> sent = {last.Layer(), last.Camera(), last.Code(), last.H(), last.M(), last.L()};
      EXPECT_THAT(sent, ElementsAre(row.layer, row.camera, row.code, row.h, row.m, row.l)) << row.code;
      const bool isWait = row.code == 0xE3 || row.code == 0xE4;
      ASSERT_EQ(tap.frames.size(), isWait ? 2u : 1u) << row.code;
      if (isWait) {  // loads its limit first
        EXPECT_EQ(tap.frames[0].Code(), 0xE1);
        EXPECT_EQ(tap.frames[0].L(), 5);
      }
    }
  });
  int lost = 0;
  tap.accept = [&lost](const SpiFrame& frame) { return frame.Code() != lost; };
  tap.answer = [](int, int) { return 1; };
  OnOpenBus([&lost] {
    for (const Row& row : rows) {
      lost = row.code;
      EXPECT_EQ(row.send(), -1) << row.code;
    }
    lost = 0xF0;
    const std::array<int, 2> table = {0x010301, 0x4D1200};
    EXPECT_EQ(LumoSpiCciBatchWriteAll(table.data(), 2), -1);
    lost = 0xE1;
    EXPECT_EQ(LumoSpiSubWaitVysncAll(0, 1), -2);
    lost = 0xF2;
    EXPECT_EQ(LumoSpiCciRead(0, 0, 0x300B, 500), -3);
  });
}

TEST_F(FpgaCommands, SensorReadAsksWaitsAndTakesTheGroupsByte) {
  tap.answer = [](int layer, int code) { return code == 0x40 ? 1 : code == 0x45 ? 0x10 + layer : 0x20 + layer; };
  OnOpenBus([] {
    EXPECT_EQ(LumoSpiCciRead(0, 6, 0x300B, 500), 0x10);
    EXPECT_EQ(LumoSpiCciRead(0, 7, 0x300B, 500), 0x20);
    EXPECT_EQ(LumoSpiCciRead(0, 8, 0x300B, 500), 0x20);
    EXPECT_EQ(LumoSpiCciRead(2, 7, 0x300B, 500), 0x22);
    EXPECT_EQ(LumoSpiCciRead(2, 0, 0x300B, 500), 0x12);
  });
  tap.answer = [](int, int) { return 0; };
  OnOpenBus([] { EXPECT_EQ(LumoSpiCciRead(1, 3, 0x300B, 20), -2); });
  EXPECT_THAT(board.Log(), HasSubstr("LumoSpiWaitReady error, layIdx = 1, camIdx = 3, waitTime = 20\n"));
  tap.answer = [](int, int code) { return code == 0x40 ? 1 : -1; };
  OnOpenBus([] { EXPECT_EQ(LumoSpiCciRead(1, 3, 0x300B, 20), -1); });
}

TEST_F(FpgaCommands, ReadsTakeTheirRegisterFromTheirLayer) {
  tap.answer = [](int layer, int code) { return (code & 0x0F) | layer << 4; };
  OnOpenBus([] {
    EXPECT_EQ(LumoSpiReadHsyncErr(2, 0), 0x29);
    EXPECT_EQ(LumoSpiReadHsyncErr(2, 1), 0x2A);
    EXPECT_EQ(LumoSpiReadFifoEmpty(0), 0x0B);
    EXPECT_EQ(LumoSpiReadSaveFinish(2), 0x2C);
    EXPECT_EQ(LumoSpiReadCalcCnt(), 0x1D);
    EXPECT_EQ(LumoSpiReadCamdataAvg(), 0x1E);
    EXPECT_EQ(LumoSpiReadExposure(), 0x101112);  // registers 0x50, 0x51, 0x52 of layer 1
  });
  for (const int missing : {0x50, 0x51, 0x52}) {
    tap.answer = [missing](int, int code) { return code == missing ? -1 : 0x33; };
    OnOpenBus([] { EXPECT_EQ(LumoSpiReadExposure(), -1); });
  }
  for (const auto& [layers, busy] : std::vector<std::pair<std::array<int, 3>, int>>{
           {{0, 0, 0}, 0}, {{0, 1, 0}, 1}, {{1, 1, 1}, 1}, {{1, 0, -1}, -1}}) {
    tap.answer = [&l = layers](int layer, int) { return l[static_cast<size_t>(layer)]; };
    OnOpenBus([&b = busy] { EXPECT_EQ(LumoSpiReadLoadBusy(), b); });
  }
}

}  // namespace

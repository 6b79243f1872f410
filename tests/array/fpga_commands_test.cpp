// Every command as the layers' datasheet lists it: which address, code and payload its name sends.
#include "common/fpga_ctrl/array/fpga_commands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/on_board.h"
#include "tests/support/spi_tap.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

struct Row {
  const char* name;
  std::function<int()> send;
  int layer, camera, code, h, m, l;
};

const std::vector<Row> rows = {
    {"FIFO reset high", [] { return LumoSpiSetFifoResetAll(9); }, 3, 0, 0x12, 0, 0, 0},
    {"FIFO reset low", [] { return LumoSpiSetFifoResetAll(0); }, 3, 0, 0x13, 0, 0, 0},
    {"main delay", [] { return LumoSpiMainDelaySetupAndRunAll(0xFF123456); }, 3, 0, 0x14, 0x12, 0x34, 0x56},
    {"exposure byte", [] { return LumoSpiWriteExpsReg(6, 7, 0xA5); }, 1, 0, 0x15, 6 << 5 | 7 << 2, 0xA5, 0},
    {"exposure byte, index wraps", [] { return LumoSpiWriteExpsReg(1, 9, 1); }, 1, 0, 0x15, 1 << 5 | 1 << 2, 1, 0},
    {"column size", [] { return LumoSpiSetColumnSize(7); }, 3, 0, 0x16, 7, 0, 0},
    {"frame starts", [] { return LumoSpiSetVsyncMaxCnt(2, 0x88); }, 2, 15, 0x17, 0x88, 0, 0},
    {"fetch", [] { return LumoSpiGetRegValueAll(7); }, 3, 15, 0xB0, 7 << 3, 0, 0},
    {"prepare", [] { return LumoSpiCapturePrepareAll(); }, 3, 0, 0xD0, 0, 0, 0},
    {"start", [] { return LumoSpiCaptureStartAll(); }, 3, 0, 0xD1, 0, 0, 0},
    {"brackets on", [] { return LumoSpiSetCaptureHdrAll(1); }, 3, 0, 0xD2, 0, 0, 0},
    {"brackets off", [] { return LumoSpiSetCaptureHdrAll(0); }, 3, 0, 0xD3, 0, 0, 0},
    {"load", [] { return LumoSpiCaptureLoadNew(1, 53); }, 1, 0, 0xD6, 53, 0, 0},
    {"load, address wraps", [] { return LumoSpiCaptureLoadNew(2, 0x45); }, 2, 0, 0xD6, 5, 0, 0},
    {"own store", [] { return LumoSpiSelectDataSrcOneLayer(1, 0); }, 1, 0, 0xD8, 0, 0, 0},
    {"layer before", [] { return LumoSpiSelectDataSrcOneLayer(2, 1); }, 2, 0, 0xD9, 0, 0, 0},
    {"link on", [] { return LumoSpiSetParalSendOneLayer(0, 1); }, 0, 0, 0xDA, 0, 0, 0},
    {"link off", [] { return LumoSpiSetParalSendOneLayer(1, 0); }, 1, 0, 0xDB, 0, 0, 0},
    {"starting exposure", [] { return LumoSpiSetExposureOrgAll(0x08E0); }, 3, 0, 0xDD, 0x08, 0xE0, 0},
    {"sub delay, one", [] { return LumoSpiSubDelaySetupOneCamera(1, 7, 0x99C); }, 1, 7, 0xE1, 0, 0x09, 0x9C},
    {"sub delay, layer", [] { return LumoSpiSubDelaySetupOneCamera(2, 15, 1); }, 2, 15, 0xE1, 0, 0, 1},
    {"sub delay, all", [] { return LumoSpiSubDelaySetupAll(0x0617BB); }, 3, 15, 0xE1, 6, 0x17, 0xBB},
    {"sub delay run", [] { return LumoSpiSubDelayRunAll(); }, 3, 15, 0xE2, 0, 0, 0},
    {"rising sync", [] { return LumoSpiSubWaitVysncAll(5, 1); }, 3, 15, 0xE3, 0, 0, 0},
    {"falling sync", [] { return LumoSpiSubWaitVysncAll(5, 0); }, 3, 15, 0xE4, 0, 0, 0},
    {"sensors out of reset", [] { return LumoSpiSetCamResetnAll(1); }, 3, 0, 0xE5, 0, 0, 0},
    {"sensors into reset", [] { return LumoSpiSetCamResetnAll(0); }, 3, 0, 0xE6, 0, 0, 0},
    {"register, camera", [] { return LumoSpiCciWriteOneCamera(0, 9, 0x3821, 6); }, 0, 8, 0xF0, 0x38, 0x21, 6},
    {"register, limited", [] { return LumoSpiCciWriteOneCamera(1, 9, 0x3821, 6); }, 1, 7, 0xF0, 0x38, 0x21, 6},
    {"register, layer", [] { return LumoSpiCciWriteOneLayer(0, 0x3820, 6); }, 0, 15, 0xF0, 0x38, 0x20, 6},
    {"register, all", [] { return LumoSpiCciWriteAll(0x0100, 1); }, 3, 15, 0xF0, 1, 0, 1},
    {"fetched to register", [] { return LumoSpiCciWriteCalcAll(0x380E); }, 3, 15, 0xF1, 0x38, 0x0E, 0},
    {"read, camera", [] { return LumoSpiCciReadOneCamera(0, 9, 0x300B); }, 0, 8, 0xF2, 0x30, 0x0B, 0},
    {"read, limited", [] { return LumoSpiCciReadOneCamera(2, 9, 0x300B); }, 2, 7, 0xF2, 0x30, 0x0B, 0},
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

TEST_F(FpgaCommands, EveryNameSendsItsRow) {
  OnOpenBus([this] {
    for (const Row& row : rows) {
      tap.frames.clear();
      EXPECT_EQ(row.send(), 0) << row.name;
      ASSERT_FALSE(tap.frames.empty()) << row.name;
      const SpiFrame& last = tap.frames.back();
      const std::vector<int> sent = {last.Layer(), last.Camera(), last.Code(), last.H(), last.M(), last.L()};
      EXPECT_THAT(sent, ElementsAre(row.layer, row.camera, row.code, row.h, row.m, row.l)) << row.name;
      const bool isWait = row.code == 0xE3 || row.code == 0xE4;
      ASSERT_EQ(tap.frames.size(), isWait ? 2u : 1u) << row.name;
      if (isWait) {  // loads its limit first
        EXPECT_EQ(tap.frames[0].Code(), 0xE1);
        EXPECT_EQ(tap.frames[0].L(), 5);
      }
    }
  });
}

TEST_F(FpgaCommands, ALostFrameIsToldByItsPlace) {
  int lost = 0;
  tap.accept = [&lost](const SpiFrame& frame) { return frame.Code() != lost; };
  tap.answer = [](int, int) { return 1; };
  OnOpenBus([&lost] {
    for (const Row& row : rows) {
      lost = row.code;
      EXPECT_EQ(row.send(), -1) << row.name;
    }
    lost = 0xE1;
    EXPECT_EQ(LumoSpiSubWaitVysncAll(0, 1), -2);
    lost = 0xF2;
    EXPECT_EQ(LumoSpiCciRead(0, 0, 0x300B, 500), -3);
  });
}

TEST_F(FpgaCommands, BatchStopsAtTheFirstLostEntry) {
  const std::vector<int> table = {0x010301, 0x4D1200, 0x7FFFFE};
  tap.accept = [](const SpiFrame& frame) { return frame.H() != 0x4D; };
  OnOpenBus([&table] { EXPECT_EQ(LumoSpiCciBatchWriteAll(table.data(), 3), -1); });
  EXPECT_EQ(tap.frames.size(), 2u);

  tap.frames.clear();
  tap.accept = [](const SpiFrame&) { return true; };
  OnOpenBus([&table] { EXPECT_EQ(LumoSpiCciBatchWriteAll(table.data(), 3), 0); });
  ASSERT_EQ(tap.frames.size(), 3u);
  EXPECT_THAT(tap.frames[2].bytes, ElementsAre(0xFD, 0xF0, 0xFC, 0x7F, 0xFC, 0xFF, 0xFC, 0xFE));
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

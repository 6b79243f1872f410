// The link's settings, what is made of three answers and of lost frames, and the commands that pack, limit or wrap what
// they are given: the others are seen on the roads of array_road_test and shot_road_test.
#include "common/fpga_ctrl/array/spi_link.h"

#include <map>

#include "common/fpga_ctrl/array/fpga_commands.h"
#include "tests/array/road_bench.h"

namespace {

using SpiLink = RoadBench;

TEST_F(SpiLink, NamesTheSettingThatIsRefused) {
  const std::map<unsigned long, std::pair<int, std::string>> refusals = {
      {0, {-1, "Open /dev/spidev0.0 error!"}},
      {0x40016B01, {-2, "ioctl SPI_IOC_WR_MODE error, value = 0"}},
      {0x40016B03, {-3, "ioctl SPI_IOC_WR_BITS_PER_WORD error, value = 16"}},
      {0x40046B04, {-4, "ioctl SPI_IOC_WR_MAX_SPEED_HZ error, value = 25000000"}}};
  for (const auto& [refused, outcome] : refusals) {
    tap.refuse = [bad = refused](unsigned long request) { return request == bad ? EINVAL : 0; };
    OnBoard(board, [&] {
      const twin::Transcript transcript(board.kernel, "log");
      EXPECT_EQ(LumoSpiInit(), outcome.first);
      // A bus that did open stays open, so the second call is content; one that did not is tried again.
      EXPECT_EQ(LumoSpiInit(), refused == 0 ? -1 : 0);
      Road road;
      for (int i = 0; i < (refused == 0 ? 2 : 1); i++) road.Log("LumoSpiInit", outcome.second);
      EXPECT_TRUE(SameRoad(road.lines, transcript.Texts()));
    });
  }
}

TEST_F(SpiLink, WaitsForAllLayersByTheMillisecondLookingOnceAtLeast) {
  struct Case {
    int code, limit, polls, last, result;  // the last poll's answer of layer 0
    int (*wait)(int);
    const char* message;
  };
  const Case cases[] = {{0x40, 500, 6, 1, 0, LumoSpiWaitReady, ""},
                        {0x40, 0, 1, 1, 0, LumoSpiWaitReady, ""},
                        {0x40, 3, 4, 0, -2, LumoSpiWaitReady, "LumoSpiIsReady error, rlt = 0"},
                        {0x40, 500, 2, -1, -1, LumoSpiWaitReady, "LumoSpiIsReady error, rlt = -1"},
                        {0x44, 2, 3, 0, -2, LumoSpiWaitCapSaveFinish, "LumoSpiIsCapSaveFinish error, rlt = 0"}};
  tap.cost = twin::Duration{0};
  for (const Case& one : cases) {
    int asked = 0;
    tap.answer = [&](int layer, int) { return layer == 0 && ++asked >= one.polls ? one.last : layer; };
    Road road;
    for (int poll = 1; poll <= one.polls; poll++) {
      for (int layer = 0; layer < 3; layer++) {
        road.Read(layer, one.code, layer == 0 && poll == one.polls ? one.last : layer);
      }
      if (poll < one.polls) road.Sleep(1000);
    }
    if (*one.message != 0) road.Log(one.code == 0x40 ? "LumoSpiWaitReady" : "LumoSpiWaitCapSaveFinish", one.message);
    EXPECT_TRUE(SameRoad(road.lines, RoadOf([&] { EXPECT_EQ(one.wait(one.limit), one.result); })));
  }
}

TEST_F(SpiLink, EachCommandSendsItsRowAndALostFrameIsToldByItsPlace) {
  struct Row {
    std::function<int()> send;
    std::array<int, 6> frame;  // the last one
    int first = 0;             // code of one before it
  };
  const Row rows[] = {{[] { return LumoSpiWrite(5, 17, 0x16, 7, 0, 0); }, {1, 1, 0x16, 7, 0, 0}},
                      {[] { return LumoSpiMainDelaySetupAndRunAll(0xFF123456); }, {3, 0, 0x14, 0x12, 0x34, 0x56}},
                      {[] { return LumoSpiWriteExpsReg(6, 15, 0xA5); }, {1, 0, 0x15, 6 << 5 | 7 << 2, 0xA5, 0}},
                      {[] { return LumoSpiSetCaptureHdrAll(0); }, {3, 0, 0xD3, 0, 0, 0}},
                      {[] { return LumoSpiCaptureLoadNew(2, 0x45); }, {2, 0, 0xD6, 5, 0, 0}},
                      {[] { return LumoSpiGetRegValueAll(9); }, {3, 15, 0xB0, 8, 0, 0}},
                      {[] { return LumoSpiSubWaitVysncAll(5, 1); }, {3, 15, 0xE3, 0, 0, 0}, 0xE1},
                      {[] { return LumoSpiCciWriteOneCamera(0, 9, 0x3821, 6); }, {0, 8, 0xF0, 0x38, 0x21, 6}},
                      {[] { return LumoSpiCciWriteOneCamera(1, 9, 0x3821, 6); }, {1, 7, 0xF0, 0x38, 0x21, 6}},
                      {[] { return LumoSpiCciReadOneCamera(2, 9, 0x300B); }, {2, 7, 0xF2, 0x30, 0x0B, 0}}};
  for (const Row& row : rows) {
    const auto [layer, camera, code, h, m, l] = row.frame;
    Road road, lost;
    if (row.first != 0) road.Delay(3, 15, 5);
    road.Write(layer, camera, code, h, m, l);
    EXPECT_TRUE(SameRoad(road.lines, RoadOf([&] { EXPECT_EQ(row.send(), 0); }, "spi")));
    tap.accept = [code](int, int sent, int) { return sent != code; };
    road.lines.back() += " failed";
    EXPECT_TRUE(SameRoad(road.lines, RoadOf([&] { EXPECT_EQ(row.send(), -1); }, "spi")));
    tap.accept = [](int, int, int) { return true; };
  }
  tap.accept = [](int, int, int) { return false; };
  const auto made = RoadOf(
      [] {
        const int table[] = {0x010301, 0x4D1200};
        EXPECT_EQ(LumoSpiCciBatchWriteAll(table, 2), -1);
        EXPECT_EQ(LumoSpiSubWaitVysncAll(0, 1), -2);
        EXPECT_EQ(LumoSpiCciRead(0, 0, 0x300B, 500), -3);
      },
      "log");
  Road road;
  const std::string text = "ioctl SPI_IOC_MESSAGE error, layIdx = ";
  road.Log("LumoSpiWrite", text + "3, camIdx = 15, spiCmd = 240, spiDataH = 1, spiDataM = 3, spiDataL = 1");
  road.Log("LumoSpiWrite", text + "3, camIdx = 15, spiCmd = 225, spiDataH = 0, spiDataM = 0, spiDataL = 0");
  road.Log("LumoSpiWrite", text + "0, camIdx = 0, spiCmd = 242, spiDataH = 48, spiDataM = 11, spiDataL = 0");
  EXPECT_TRUE(SameRoad(road.lines, made));
}

TEST_F(SpiLink, AReadThatFailsOnItsWayIsNoValue) {
  const auto sensor = [] { return LumoSpiCciRead(1, 3, 0x300B, 20); };
  for (const int missing : {0x50, 0x51, 0x52, 0x45, 0}) {
    tap.answer = [missing](int layer, int code) { return code == missing && layer == 1 ? -1 : 0x33; };
    Road road;
    if (missing != 0) {
      road.Log("LumoSpiRead", "ioctl SPI_IOC_MESSAGE error, layIdx = 1, spiCmd = " + std::to_string(missing));
    }
    EXPECT_TRUE(SameRoad(road.lines, RoadOf(
                                         [&] {
                                           EXPECT_EQ(LumoSpiReadExposure(), missing >= 0x50 ? -1 : 0x333333);
                                           EXPECT_EQ(sensor(), missing == 0x45 ? -1 : 0x33);
                                         },
                                         "log")));
  }
  tap.answer = [](int, int) { return 0; };
  Road road;
  road.Log("LumoSpiWaitReady", "LumoSpiIsReady error, rlt = 0");
  road.Log("LumoSpiCciRead", "LumoSpiWaitReady error, layIdx = 1, camIdx = 3, waitTime = 20");
  EXPECT_TRUE(SameRoad(road.lines, RoadOf([&] { EXPECT_EQ(sensor(), -2); }, "log")));
}

}  // namespace

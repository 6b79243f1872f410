// Frames to the bit, and what the polls make of three layers' answers.
#include "common/fpga_ctrl/array/spi_link.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "common/fpga_ctrl/device/clock.h"
#include "tests/support/on_board.h"
#include "tests/support/spi_tap.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::Pair;
using namespace std::chrono_literals;

namespace {

constexpr unsigned long kOpen = 0;
constexpr unsigned long kWrMode = 0x40016B01, kWrBits = 0x40016B03, kWrSpeed = 0x40046B04;

class SpiLink : public testing::Test {
 protected:
  // Runs `body` with the bus open.
  void OnOpenBus(const std::function<void()>& body) {
    OnBoard(board, [&] {
      ASSERT_EQ(LumoSpiInit(), 0);
      body();
    });
  }
  twin::Board board{twin::BoardOptions{}};
  SpiTap tap{board};
};

TEST_F(SpiLink, OpensWithItsFixedSettingsOnce) {
  OnOpenBus([] { EXPECT_EQ(LumoSpiInit(), 0); });
  EXPECT_THAT(tap.settings,
              ElementsAre(Pair(kOpen, 0u), Pair(kWrMode, 0u), Pair(kWrBits, 16u), Pair(kWrSpeed, 25000000u)));
  for (const uint32_t pin : {0x1204007Cu, 0x12040080u, 0x12040084u, 0x12040088u}) {
    EXPECT_EQ(board.registers.Read(pin), 1u);
  }
}

TEST_F(SpiLink, NamesTheSettingThatIsRefused) {
  const std::map<unsigned long, std::pair<int, std::string>> refusals = {
      {kOpen, {-1, "Open /dev/spidev0.0 error!\n"}},
      {kWrMode, {-2, "ioctl SPI_IOC_WR_MODE error, value = 0\n"}},
      {kWrBits, {-3, "ioctl SPI_IOC_WR_BITS_PER_WORD error, value = 16\n"}},
      {kWrSpeed, {-4, "ioctl SPI_IOC_WR_MAX_SPEED_HZ error, value = 25000000\n"}}};
  for (const auto& [refused, outcome] : refusals) {
    const size_t before = board.Log().size();
    tap.refuse = [bad = refused](unsigned long request) { return request == bad ? EINVAL : 0; };
    int first = 0, second = 0;
    OnBoard(board, [&] {
      first = LumoSpiInit();
      second = LumoSpiInit();
    });
    EXPECT_EQ(first, outcome.first);
    // A bus that did open stays open, so the second call is content; one that did not is tried again.
    EXPECT_EQ(second, refused == kOpen ? -1 : 0);
    const std::string log = board.Log().substr(before);
    EXPECT_THAT(log, HasSubstr(": " + outcome.second));
    EXPECT_THAT(log, testing::StartsWith("LumoSpiInit:"));
  }
}

TEST_F(SpiLink, CommandAndReadFramesToTheBit) {
  tap.answer = [](int layer, int code) { return layer == 1 && code == 0x4E ? 0x5C : 0; };
  OnOpenBus([] {
    EXPECT_EQ(LumoSpiWrite(3, 15, 0xF0, 0x38, 0x20, 0x46), 0);
    EXPECT_EQ(LumoSpiWrite(2, 7, 0xE1, 0x00, 0x09, 0x9C), 0);
    EXPECT_EQ(LumoSpiWrite(5, 17, 0x16, 0x07, 0, 0), 0);  // addresses wrap to layer 1, camera 1
    EXPECT_EQ(LumoSpiRead(1, 0x4E), 0x5C);                // low byte of the second word alone
  });
  ASSERT_EQ(tap.frames.size(), 4u);
  EXPECT_THAT(tap.frames[0].bytes, ElementsAre(0xFD, 0xF0, 0xFC, 0x38, 0xFC, 0x20, 0xFC, 0x46));
  EXPECT_THAT(tap.frames[1].bytes, ElementsAre(0x9D, 0xE1, 0x9C, 0x00, 0x9C, 0x09, 0x9C, 0x9C));
  EXPECT_THAT(tap.frames[2].bytes, ElementsAre(0x45, 0x16, 0x44, 0x07, 0x44, 0x00, 0x44, 0x00));
  EXPECT_THAT(tap.frames[3].bytes, ElementsAre(0x43, 0x4E, 0x42, 0x00, 0x42, 0x00, 0x42, 0x00));
}

TEST_F(SpiLink, AFailedFrameIsReportedOnceAndNotRepeated) {
  tap.answer = [](int, int) { return -1; };
  tap.accept = [](const SpiFrame&) { return false; };
  OnOpenBus([] {
    EXPECT_EQ(LumoSpiWrite(3, 15, 0xF0, 1, 2, 3), -1);
    EXPECT_EQ(LumoSpiRead(2, 0x40), -1);
  });
  EXPECT_EQ(tap.frames.size(), 2u);
  EXPECT_THAT(board.Log(), HasSubstr("ioctl SPI_IOC_MESSAGE error, layIdx = 3, camIdx = 15, spiCmd = 240, "
                                     "spiDataH = 1, spiDataM = 2, spiDataL = 3\n"));
  EXPECT_THAT(board.Log(), HasSubstr("ioctl SPI_IOC_MESSAGE error, layIdx = 2, spiCmd = 64\n"));
}

TEST_F(SpiLink, ThreeLayersMakeOneAnswer) {
  struct Case {
    std::array<int, 3> layers;
    int all, any;
  };
  for (const Case& c : std::vector<Case>{
           {{0x80, 7, 255}, 1, 1}, {{0, 0, 0}, 0, 0}, {{0, 0, 9}, 0, 1}, {{1, 0, 1}, 0, 1}, {{1, 1, -1}, -1, -1}}) {
    tap.frames.clear();
    tap.answer = [&c](int layer, int) { return c.layers[static_cast<size_t>(layer)]; };
    OnOpenBus([&c] {
      EXPECT_EQ(LumoSpiIsReady(), c.all);
      EXPECT_EQ(LumoSpiIsFifoAlmostFull(), c.any);
      EXPECT_EQ(LumoSpiIsCapConfFinish(), c.all);
      EXPECT_EQ(LumoSpiIsCapSaveFinish(), c.all);
    });
    EXPECT_EQ(tap.frames.size(), 12u) << "each layer is asked, whatever the one before said";
  }
}

TEST_F(SpiLink, WaitsPollByTheMillisecondUntilTheirLimit) {
  int polls = 0;
  tap.answer = [&polls](int layer, int code) {
    if (layer == 0 && code == 0x40) polls++;
    return polls > 5 ? 1 : 0;
  };
  OnOpenBus([] { EXPECT_EQ(LumoSpiWaitReady(500), 0); });
  EXPECT_EQ(polls, 6);
  EXPECT_THAT(board.Log(), testing::Not(HasSubstr("LumoSpiIsReady error")));

  tap.answer = [](int, int) { return 0; };
  unsigned int took = 0;
  OnOpenBus([&took] {
    const unsigned int start = LumoGetTime();
    EXPECT_EQ(LumoSpiWaitReady(200), -2);
    took = LumoGetTime() - start;
  });
  EXPECT_THAT(took, testing::AllOf(testing::Ge(200u), testing::Le(203u)));
  EXPECT_EQ(board.LogCount("LumoSpiIsReady error, rlt = 0\n"), 1u);

  // A limit of nothing still looks once.
  tap.answer = [](int, int code) { return code == 0x44 ? 1 : 0; };
  OnOpenBus([] {
    EXPECT_EQ(LumoSpiWaitCapSaveFinish(0), 0);
    EXPECT_EQ(LumoSpiWaitReady(0), -2);
  });

  tap.answer = [](int layer, int) { return layer == 1 ? -1 : 0; };
  OnOpenBus([] { EXPECT_EQ(LumoSpiWaitCapSaveFinish(1000), -1); });
  EXPECT_EQ(board.LogCount("LumoSpiIsCapSaveFinish error, rlt = -1\n"), 1u);
}

}  // namespace

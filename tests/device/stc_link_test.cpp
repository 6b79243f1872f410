// The co-processor link, through what stands on it. Its frames are held where the device opens.
#include "common/fpga_ctrl/device/stc_link.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "common/fpga_ctrl/array/gpio.h"
#include "common/fpga_ctrl/device/clock.h"
#include "common/fpga_ctrl/device/device.h"
#include "tests/support/on_board.h"

using namespace std::chrono_literals;
using twin::Board;
using twin::Duration;
using twin::Time;

namespace {

struct StcLink : testing::Test {
  StcLink() { ctrlSigs->stcSpiMode = 1; }

  Duration TimeOf(const std::function<void()>& work) {
    const Time begin = board.Now();
    work();
    return board.Now() - begin;
  }

  Board board{{}};
  std::unique_ptr<ControlSignals> ctrlSigs = std::make_unique<ControlSignals>();
};

// The first transfer is none: select dips while the pins become outputs.
TEST_F(StcLink, OneGoodReplyOfTwoTellsThatItIsThere) {
  for (const auto& [fault, mode, said] : {std::tuple{"stc.reply value=0x1234 nth=2", 1, "LumoStcSpiReadWrite:242\n"},
                                          {"stc.reply value=0x1234 nth=3", 1, "LumoStcSpiReadWrite:0\n"},
                                          {"stc.reply value=0xFF00 nth=2 times=2", 0, "LumoStcSpiReadWrite:255\n"}}) {
    const size_t before = board.LogCount(said);
    OnBoard(board, [&, fault = fault, mode = mode] {
      board.faults.Add(fault);
      EXPECT_EQ(LumoDeviceOpen(ctrlSigs.get()), 0);
      EXPECT_EQ(ctrlSigs->stcSpiMode, mode) << fault;
    });
    board.faults.Clear();
    EXPECT_EQ(board.LogCount(said), before + 1);
  }
}

TEST_F(StcLink, ButtonReplyIsTakenApart) {
  OnBoard(board, [&] {
    LumoGpioInit();
    board.faults.Add("stc.reply value=0xA55A");
    EXPECT_EQ(LumoStcGetBtnOut(ctrlSigs.get()), kBtnReleased);
    EXPECT_EQ(ctrlSigs->batCharging, 1);
    EXPECT_EQ(ctrlSigs->batVoltageVal[0], 37);
    EXPECT_EQ(ctrlSigs->batVoltageValIdx, 1);

    board.button.Hold();
    board.coProcessor.SetBattery(21);
    ctrlSigs->ledCtrl0G = 1;
    EXPECT_EQ(LumoStcGetBtnOut(ctrlSigs.get()), kBtnPressed);
    EXPECT_EQ(ctrlSigs->batCharging, 0);
    EXPECT_EQ(ctrlSigs->batVoltageVal[1], 21);
    EXPECT_TRUE(board.coProcessor.Colour() == (twin::LampColour{.green = true}));

    // Button down, charging, empty: a good frame that reads as a failed one, so it is asked for again until that ends.
    board.coProcessor.SetCharging(true);
    board.coProcessor.SetBattery(0);
    board.kernel.After(5s, [&] { board.coProcessor.SetBattery(1); });
    EXPECT_GE(TimeOf([&] { EXPECT_EQ(LumoStcGetBtnOut(ctrlSigs.get()), kBtnPressed); }), 4998ms);
    EXPECT_EQ(ctrlSigs->batVoltageVal[2], 1);
  });
}

TEST_F(StcLink, RingFillsAtOnceAndThenTakesOneSampleASecond) {
  OnBoard(board, [&] {
    LumoGpioInit();
    board.coProcessor.SetBattery(60);
    for (int i = 0; i < 63; i++) LumoStcGetBtnOut(ctrlSigs.get());
    EXPECT_EQ(LumoGetBatteryLevel(ctrlSigs.get()), -1);
    EXPECT_EQ(LumoGetBatteryVoltageVal(ctrlSigs.get()), 0);
    LumoStcGetBtnOut(ctrlSigs.get());
    EXPECT_EQ(LumoGetBatteryLevel(ctrlSigs.get()), 100);
    EXPECT_EQ(LumoGetBatteryVoltageVal(ctrlSigs.get()), 60);

    // The moment of decision lies one frame behind the call. Aim it at the middle of a millisecond.
    const Duration frame = TimeOf([&] { LumoStcGetBtnOut(ctrlSigs.get()); });
    const auto decideAt = [&](unsigned int afterSample) {
      board.kernel.Spend(1ms - board.Uptime() % 1ms + 1ms + 500us - frame % 1ms);
      const Duration decision = board.Uptime() + frame;
      ctrlSigs->batVoltageTime = static_cast<unsigned int>(decision / 1ms) - afterSample;
      const int before = ctrlSigs->batVoltageValIdx;
      LumoStcGetBtnOut(ctrlSigs.get());
      return ctrlSigs->batVoltageValIdx - before;
    };
    EXPECT_EQ(decideAt(1000), 0);
    EXPECT_EQ(decideAt(1001), 1);

    // A fall shows only when the last high sample has left the ring: 64 samples later, one a second.
    board.coProcessor.SetBattery(20);
    const int firstLow = ctrlSigs->batVoltageValIdx;
    const Time begin = board.Now();
    while (LumoGetBatteryVoltageVal(ctrlSigs.get()) == 60) LumoStcGetBtnOut(ctrlSigs.get());
    EXPECT_EQ(ctrlSigs->batVoltageValIdx, firstLow + 64);
    EXPECT_NEAR((board.Now() - begin) / 1s, 64, 1);
    EXPECT_EQ(LumoGetBatteryLevel(ctrlSigs.get()), 10);
  });
}

TEST_F(StcLink, SwitchesOffEvenIfTheFirstFramesAreLost) {
  OnBoard(board, [&] {
    LumoGpioInit();
    board.faults.Add("stc.silence silence times=3");
    lumoStcNeedShutdown(ctrlSigs.get());
    EXPECT_EQ(board.faults.Fired(), 3u);
    EXPECT_FALSE(board.panel.Lit());
  });
  board.Run(50ms);
  EXPECT_FALSE(board.Powered());
}

}  // namespace

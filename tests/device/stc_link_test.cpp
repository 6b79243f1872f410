// The co-processor link, on the wires and through what stands on it.
#include "common/fpga_ctrl/device/stc_link.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "common/fpga_ctrl/array/gpio.h"
#include "common/fpga_ctrl/device/clock.h"
#include "common/fpga_ctrl/device/stc_delay.h"
#include "tests/support/on_board.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using twin::Board;
using twin::Duration;
using twin::Time;

namespace {

std::unique_ptr<ControlSignals> SignalsWithCoProcessor() {
  auto ctrlSigs = std::make_unique<ControlSignals>();
  ctrlSigs->stcSpiMode = 1;
  return ctrlSigs;
}

Duration TimeOf(Board& board, const std::function<void()>& work) {
  const Time begin = board.Now();
  work();
  return board.Now() - begin;
}

}  // namespace

TEST(StcLink, TakesOnlyRepliesWithTheirComplement) {
  Board board{{}};
  OnBoard(board, [&] {
    LumoGpioInit();
    board.faults.Add("stc.reply value=0xA55A");
    EXPECT_EQ(LumoStcSpiReadWrite(1, 1, 1, 0), 0xA5);
    board.faults.Add("stc.reply value=0xA55B");
    EXPECT_EQ(LumoStcSpiReadWrite(1, 1, 1, 0), 0);
    // A line that stays at one level.
    board.faults.Add("stc.reply value=0x0000");
    EXPECT_EQ(LumoStcSpiReadWrite(1, 1, 1, 0), 0);
    board.faults.Add("stc.reply value=0xFFFF");
    EXPECT_EQ(LumoStcSpiReadWrite(1, 1, 1, 0), 0);
    EXPECT_EQ(board.faults.Fired(), 4u);

    // A frame is one delay at the start, two a bit, twenty in the gap, and leaves its lines high.
    const Duration delay = TimeOf(board, LumoStcSpiDelay);
    EXPECT_EQ(TimeOf(board, [] { LumoStcSpiReadWrite(1, 1, 1, 0); }) / delay, 53);
    for (const int pin : {5, 6, 7}) EXPECT_TRUE(board.gpio.At(0, pin).Level()) << pin;
  });
}

TEST(StcLink, ButtonReplyIsTakenApart) {
  Board board{{}};
  OnBoard(board, [&] {
    LumoGpioInit();
    auto ctrlSigs = SignalsWithCoProcessor();
    board.faults.Add("stc.reply value=0xA55A");
    EXPECT_EQ(LumoStcGetBtnOut(ctrlSigs.get()), kBtnReleased);
    EXPECT_EQ(ctrlSigs->batCharging, 1);
    EXPECT_EQ(ctrlSigs->batVoltageVal[0], 37);
    EXPECT_EQ(ctrlSigs->batVoltageValIdx, 1);

    board.faults.Clear();
    board.button.Hold();
    board.coProcessor.SetBattery(21);
    EXPECT_EQ(LumoStcGetBtnOut(ctrlSigs.get()), kBtnPressed);
    EXPECT_EQ(ctrlSigs->batCharging, 0);
    EXPECT_EQ(ctrlSigs->batVoltageVal[1], 21);

    // Button down, charging, empty: a good frame that reads as a failed one, so it is asked for again until that ends.
    board.coProcessor.SetCharging(true);
    board.coProcessor.SetBattery(0);
    board.kernel.After(5s, [&] { board.coProcessor.SetBattery(1); });
    const Duration took = TimeOf(board, [&] { EXPECT_EQ(LumoStcGetBtnOut(ctrlSigs.get()), kBtnPressed); });
    EXPECT_GE(took, 4999ms);
    EXPECT_EQ(ctrlSigs->batVoltageVal[2], 1);
  });
}

TEST(StcLink, RingFillsAtOnceAndThenTakesOneSampleASecond) {
  Board board{{}};
  OnBoard(board, [&] {
    LumoGpioInit();
    auto ctrlSigs = SignalsWithCoProcessor();
    board.coProcessor.SetBattery(60);
    for (int i = 0; i < 63; i++) LumoStcGetBtnOut(ctrlSigs.get());
    EXPECT_EQ(LumoGetBatteryLevel(ctrlSigs.get()), -1);
    EXPECT_EQ(LumoGetBatteryVoltageVal(ctrlSigs.get()), 0);
    LumoStcGetBtnOut(ctrlSigs.get());
    EXPECT_EQ(LumoGetBatteryLevel(ctrlSigs.get()), 100);
    EXPECT_EQ(LumoGetBatteryVoltageVal(ctrlSigs.get()), 60);

    // The moment of decision lies one frame behind the call. Aim it at the middle of a millisecond.
    const Duration frame = TimeOf(board, [&] { LumoStcGetBtnOut(ctrlSigs.get()); });
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
    EXPECT_GE(board.Now() - begin, 63s);
    EXPECT_LT(board.Now() - begin, 66s);
    EXPECT_EQ(LumoGetBatteryLevel(ctrlSigs.get()), 10);
  });
}

TEST(StcLink, BatteryLevelBySample) {
  auto ctrlSigs = SignalsWithCoProcessor();
  ctrlSigs->batVoltageValIdx = 64;
  const std::vector<std::pair<int, int>> known = {{0, 0},   {3, 1},   {9, 3},   {13, 4},  {20, 10},  {30, 21},
                                                  {37, 40}, {44, 59}, {52, 80}, {59, 99}, {60, 100}, {63, 100}};
  for (const auto& [sample, level] : known) {
    ctrlSigs->batVoltageVal[17] = static_cast<BYTE>(sample);
    EXPECT_EQ(LumoGetBatteryLevel(ctrlSigs.get()), level) << "sample " << sample;
  }
}

TEST(StcLink, SwitchesOffEvenIfTheFirstFramesAreLost) {
  Board board{{}};
  OnBoard(board, [&] {
    LumoGpioInit();
    auto ctrlSigs = SignalsWithCoProcessor();
    board.faults.Add({.point = "stc.silence", .times = 3, .effect = {.kind = twin::Effect::Kind::Silence}});
    lumoStcNeedShutdown(ctrlSigs.get());
    EXPECT_EQ(board.faults.Fired(), 3u);
    EXPECT_FALSE(board.panel.Lit());
  });
  board.Run(50ms);
  EXPECT_FALSE(board.Powered());
}

TEST(StcLink, WithoutCoProcessorTheLinesAreLampAndButton) {
  twin::BoardOptions options;
  options.coProcessor = false;
  Board board{options};
  OnBoard(board, [&] {
    LumoGpioInit();
    auto ctrlSigs = std::make_unique<ControlSignals>();
    ctrlSigs->ledCtrl0G = 1;
    ctrlSigs->ledCtrl0R = 1;
    LumoStcShowColour(ctrlSigs.get());
    EXPECT_EQ(board.panel.Colour(), "yellow");
    EXPECT_EQ(LumoStcGetBtnOut(ctrlSigs.get()), kBtnReleased);
    board.button.Hold();
    EXPECT_EQ(LumoStcGetBtnOut(ctrlSigs.get()), kBtnPressed);
    for (int i = 0; i < 70; i++) LumoStcGetBtnOut(ctrlSigs.get());
    EXPECT_EQ(LumoGetBatteryLevel(ctrlSigs.get()), -1);
    EXPECT_EQ(LumoGetBatteryVoltageVal(ctrlSigs.get()), 0);

    lumoStcNeedShutdown(ctrlSigs.get());
    for (const int pin : {4, 5, 6, 7}) EXPECT_FALSE(board.gpio.At(0, pin).Level()) << "pin " << pin;
  });
}

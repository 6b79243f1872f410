// The board's camera array with a hand on its wires: the driver's own commands reach it as the test lets them.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/spi/spidev.h>

#include <functional>
#include <memory>
#include <vector>

#include "common/fpga_ctrl/array/bring_up.h"
#include "common/fpga_ctrl/array/fpga_commands.h"
#include "common/fpga_ctrl/array/gpio.h"
#include "common/fpga_ctrl/device/device.h"
#include "tests/support/on_board.h"

using namespace std::chrono_literals;

struct ArrayOnWire : testing::Test, twin::DeviceFile {
  ArrayOnWire() { board.descriptors.AddNode("/dev/spidev0.0", *this); }
  ~ArrayOnWire() override { board.PowerOff(); }

  // Sees each frame of the driver, and may change it; false: it never arrives.
  std::function<bool(std::vector<uint16_t>& words)> spoil = [](std::vector<uint16_t>&) { return true; };
  bool keepSelected = false;
  static int Code(const std::vector<uint16_t>& words) { return words[0] & 0xFF; }
  // The sensor register that a write goes to, 0 if it is none.
  static int Register(const std::vector<uint16_t>& words) {
    return Code(words) == 0xF0 ? (words[1] & 0xFF) << 8 | (words[2] & 0xFF) : 0;
  }
  static int H(const std::vector<uint16_t>& words) { return words[1] & 0xFF; }

  int Open(int flags) override { return board.array.Spi().Open(flags); }
  int Ioctl(unsigned long request, void* argument) override {
    if (request != SPI_IOC_MESSAGE(1)) return board.array.Spi().Ioctl(request, argument);
    spi_ioc_transfer transfer = *static_cast<spi_ioc_transfer*>(argument);
    const auto* sent = reinterpret_cast<const uint16_t*>(transfer.tx_buf);
    std::vector<uint16_t> words(sent, sent + transfer.len / 2);
    if (words.size() == 4 && !spoil(words)) return 8;
    transfer.tx_buf = reinterpret_cast<uintptr_t>(words.data());
    if (keepSelected) transfer.cs_change = 0;
    return board.array.Spi().Ioctl(request, &transfer);
  }

  // Runs `body` with the layers configured and running, their sensors out of reset.
  void OnRunningArray(const std::function<void()>& body) {
    OnBoard(board, [&] {
      ASSERT_EQ(LumoDeviceOpen(ctrlSigs.get()), 0);
      ASSERT_EQ(LumoFpgaAwake(), 0);
      body();
    });
  }
  void ResetPulse(twin::Duration low = 1ms, twin::Duration rest = 1ms) {
    LumoGpioSetFpgaResetn(0);
    board.kernel.Spend(low);
    LumoGpioSetFpgaResetn(1);
    board.kernel.Spend(rest);
  }
  void PowerCycle(twin::Duration off) {
    LumoGpioSetPowerEn(0);
    board.kernel.Spend(off);
    LumoGpioSetPowerEn(1);
  }
  void Clock(uint32_t value) { board.registers.Write(twin::FpgaArray::kClockRegister, value); }

  twin::Board board{twin::BoardOptions{}};
  std::unique_ptr<ControlSignals> ctrlSigs = std::make_unique<ControlSignals>();
};

// A board with a tap on the array's bus, whose layers are ready at once, and with INIT and DONE held high: what the
// application then does follows from its own rules alone.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "common/control_signals.h"
#include "common/fpga_ctrl/array/gpio.h"
#include "common/fpga_ctrl/array/spi_link.h"
#include "tests/array/array_road.h"
#include "tests/support/on_board.h"
#include "tests/support/spi_tap.h"
#include "tests/support/transcript_match.h"
#include "twin/transcript/transcript.h"

struct RoadBench : testing::Test {
  RoadBench() {
    tap.answer = [this](int layer, int code) { return Answer(layer, code); };
    board.faults.Add("gpio.stuck value=1 detail=47 times=always");
    board.faults.Add("gpio.stuck value=1 detail=49 times=always");
  }

  virtual int Answer(int /*layer*/, int code) {
    if (code == 0x40) return 1;
    return code == 0x45 || code == 0x46 ? SensorByte() : 0;
  }
  int SensorByte() const {
    const int first[] = {0, 9, 16};
    const int image = tap.askedLayer == 1 && tap.askedCamera == 7 ? 24 : first[tap.askedLayer] + tap.askedCamera;
    if (tap.askedRegister == 0x4D13) return 0x40 + 10 + image;
    return tap.askedRegister == 0x300B ? 0x88 : tap.askedRegister == 0x300C ? 0x65 : 0;
  }

  // What leaves the application in `body`, with the pins and the bus up before.
  std::vector<std::string> RoadOf(const std::function<void()>& body, const char* kinds = "reg spi sleep cipher log") {
    std::vector<std::string> road;
    OnBoard(board, [&] {
      LumoGpioInit();
      ASSERT_EQ(LumoSpiInit(), 0);
      const twin::Transcript transcript(board.kernel, kinds);
      body();
      road = transcript.Texts();
    });
    return road;
  }

  twin::Board board{twin::BoardOptions{.coProcessor = false}};
  SpiTap tap{board};
  std::unique_ptr<ControlSignals> ctrlSigs = std::make_unique<ControlSignals>();
};

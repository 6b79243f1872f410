// When the layers take their configuration, what makes them forget it, and what they make of frames.
#include "tests/fpga/array_on_wire.h"
#include "tests/support/file_bytes.h"

namespace {

using Bytes = std::vector<uint8_t>;
using LayerContract = ArrayOnWire;

TEST_F(LayerContract, ADamagedStreamDoesNotConfigure) {
  const Bytes stream = FileBytes(LUMORA_BLOB_DIR "/fpga_bitstream.bin");
  const uint8_t word[] = {0xAA, 0x99, 0x55, 0x66};
  const auto sync = static_cast<size_t>(std::ranges::search(stream, word).begin() - stream.begin());
  OnBoard(board, [&] {
    LumoGpioInit();
    LumoGpioSetFpgaSuspend(0);
    board.kernel.Spend(10ms);
    ASSERT_EQ(LumoSpiInit(), 0);
    const auto expect = [&](const char* what, int result, bool init, const std::function<void(Bytes&)>& damage) {
      SCOPED_TRACE(what);
      Bytes damaged = stream;
      damage(damaged);
      EXPECT_EQ(LumoSpiFpgaConf(damaged.data(), static_cast<int>(damaged.size())), result);
      EXPECT_EQ(board.gpio.At(5, 7).Level(), init);
    };
    expect("sync word", -2, true, [&](Bytes& s) { s[sync + 2] ^= 0x10; });
    expect("one bit of the frames", -2, false, [](Bytes& s) { s[700000] ^= 1; });
    expect("cut off", -2, true, [](Bytes& s) { s.erase(s.end() - 4000, s.end()); });
    Clock(0x14);
    expect("the configuration clock off", -2, true, [](Bytes&) {});
    Clock(4);
    expect("and none of it sticks", 0, true, [](Bytes&) {});
  });
}

// Each way of losing something, and whether the configuration, the fabric and the sensors' set-up are still there.
TEST_F(LayerContract, WhatEndsWhat) {
  OnRunningArray([&] {
    const auto answers = [] { return LumoSpiRead(1, 0x40) == 1; };
    LumoSpiCciWriteOneCamera(1, 3, 0x3C00, 0x5A);
    LumoSpiCciWriteOneCamera(1, 3, 0x0036, 0xA5);  // of the line receivers
    EXPECT_EQ(LumoSpiCciRead(1, 3, 0x3C00, 500), 0x5A);
    LumoSpiSetCamResetnAll(0);
    LumoSpiSetCamResetnAll(1);
    board.kernel.Spend(1ms);
    EXPECT_EQ(LumoSpiCciRead(1, 3, 0x3C00, 500), 0);
    EXPECT_EQ(LumoSpiCciRead(1, 0, 0x0036, 500), 0xA5);
    Clock(4);
    EXPECT_FALSE(answers());
    Clock(0x14);
    ResetPulse();
    EXPECT_FALSE(answers()) << "the clock is not steady yet";
    board.kernel.Spend(20ms);
    EXPECT_FALSE(answers()) << "the fabric needs a reset after its clock stood still";
    ResetPulse();
    EXPECT_TRUE(answers());
    EXPECT_EQ(LumoSpiCciRead(1, 0, 0x0036, 500), 0);
    LumoGpioSetFpgaSuspend(1);
    EXPECT_EQ(LumoGpioGetFpgaDone(), 1);
    EXPECT_FALSE(answers());
    LumoGpioSetFpgaSuspend(0);
    EXPECT_FALSE(answers());
    ResetPulse();
    EXPECT_TRUE(answers());
    EXPECT_THAT(board.Complaints(), testing::IsEmpty());
    PowerCycle(200ms);
    board.kernel.Spend(100ms);
    ResetPulse();
    EXPECT_EQ(LumoGpioGetFpgaDone(), 0);
    EXPECT_FALSE(answers());
  });
}

// What a wrong driver does to a running array, each on a fresh board: the array says so, and whether it answers then.
TEST_F(LayerContract, WhatIsTooShortTooEarlyOrOnAWrongPinIsToldAndDoesNothing) {
  struct Case {
    const char* complaint;
    bool answers;
    std::function<void()> wrong;
  };
  const auto reg = [this](uint32_t address, uint32_t value) { board.registers.Write(address, value); };
  const auto ask = [] { LumoSpiRead(0, 0x40); };
  const Case cases[] = {
      {"the reset was low for too short a time", false, [&] { ResetPulse(100us); }},
      {"a frame to layers that are starting", true,
       [&] { ResetPulse(1ms, 0ms), LumoSpiSetCamResetnAll(1), board.kernel.Spend(1ms); }},
      {"PROGRAM_B was low for too short a time", false,
       [&] { LumoGpioSetFpgaProgramB(0), LumoGpioSetFpgaProgramB(1), board.kernel.Spend(10ms); }},
      {"the power was off for too short a time", false, [&] { PowerCycle(50ms); }},
      {"bank 6 pin 2 is driven, but its function is another", true,
       [&] { reg(0x12040098, 1), LumoGpioSetFpgaSuspend(1); }},
      {"SPI transfer that its pins do not carry out", true, [&] { reg(0x1204087C, 0), ask(), reg(0x1204087C, 0x100); }},
      {"SPI transfer that keeps the layers selected", true, [&] { keepSelected = true, ask(), keepSelected = false; }},
      {"no sensor answers a read", true, [] { LumoSpiSetCamResetnAll(0), LumoSpiCciRead(2, 3, 0x300B, 500); }},
      {"a temperature is read that is not converted", true, [] { LumoSpiCciRead(2, 3, 0x4D13, 500); }},
      {"is to stream without a software reset and clocks", true,
       [] { LumoSpiCciWriteOneCamera(2, 3, 0x0100, 1), LumoSpiWaitReady(10); }},
      {"write 0x1204087D", true, [&] { reg(0x1204087D, 0x100); }},
  };
  for (const Case& one : cases) {
    size_t before = 0;
    OnRunningArray([&] {
      before = board.Complaints().size();
      one.wrong();
      ASSERT_GT(board.Complaints().size(), before) << one.complaint;
      EXPECT_THAT(board.Complaints()[before], testing::HasSubstr(one.complaint));
      EXPECT_EQ(LumoSpiRead(1, 0x40) == 1, one.answers) << one.complaint;
    });
  }
}

TEST_F(LayerContract, MalformedFramesDoNothingAndAreTold) {
  const std::vector<uint16_t> frames[] = {
      {0x01E6, 0x0000, 0x0000},          // three words
      {0x01E6, 0x0100, 0x0000, 0x0000},  // two first words
      {0x01E6, 0x0000, 0x4000, 0x0000},  // another layer's word in it
      {0xC340, 0xC200, 0xC200, 0xC200},  // all layers asked at once
      {0x0199, 0x0000, 0x0000, 0x0000},  // no such command
      {0x034E, 0x0200, 0x0200, 0x0200},  // the measurement is not in layer 0
      {0x65F0, 0x6435, 0x6400, 0x6412},  // layer 1 has no camera 9
      {0x3DE6, 0x3C00, 0x3C00, 0x3C00},  // a command for the layer with a camera
      {0x01E6, 0x0000, 0x0000, 0x0001},  // a byte that means nothing
  };
  OnRunningArray([&] {
    LumoSpiCciWriteOneCamera(0, 0, 0x3C00, 0x5A);
    for (const auto& frame : frames) {
      const size_t before = board.Complaints().size();
      std::vector<uint16_t> in(frame.size(), 0xEEEE);
      LumoSpiTransfer(frame.data(), in.data(), static_cast<unsigned>(frame.size() * 2));
      EXPECT_EQ(board.Complaints().size(), before + 1) << std::hex << frame[0];
      EXPECT_THAT(in, testing::Each(0));
    }
    EXPECT_EQ(LumoSpiCciRead(0, 0, 0x3C00, 500), 0x5A) << "a malformed frame has put the sensors in reset";
  });
}

TEST_F(LayerContract, WritesReachTheirCamerasAndNoOthers) {
  OnRunningArray([] {
    LumoSpiCciWriteAll(0x3C00, 1);
    LumoSpiCciWriteOneLayer(1, 0x3C00, 2);
    LumoSpiCciWriteOneCamera(0, 8, 0x3C00, 3);
    LumoSpiCciWriteOneCamera(2, 6, 0x3C00, 4);
    LumoSpiCciWriteOneCamera(1, 5, 0x0103, 1);  // a software reset
    std::string all;
    for (BYTE layer = 0; layer < 3; layer++) {
      for (BYTE camera = 0; camera < (layer == 0 ? 9 : 8); camera++) {
        all += std::to_string(LumoSpiCciRead(layer, camera, 0x3C00, 500));
      }
    }
    EXPECT_EQ(all, "1111111132222202211111141");
  });
}

}  // namespace

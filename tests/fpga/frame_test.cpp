// The bus: which layer and camera a frame reaches, what comes back, and what a FIFO does with commands in time.
#include "tests/fpga/array_bench.h"

namespace {

using namespace bench;

using Bus = ArrayBench;

TEST_F(Bus, MalformedFramesDoNothingAndAreTold) {
  const std::vector<uint16_t> frames[] = {
      {0x01E6, 0x0000, 0x0000},          // three words
      {0x00E6, 0x0000, 0x0000, 0x0000},  // no first-word flag
      {0x01E6, 0x0100, 0x0000, 0x0000},  // two first words
      {0x01E6, 0x0000, 0x4000, 0x0000},  // another layer's word in it
      {0xC340, 0xC200, 0xC200, 0xC200},  // all layers asked at once
      {0x0740, 0x0600, 0x0600, 0x0600},  // a read with a camera
      {0x0199, 0x0000, 0x0000, 0x0000},  // no such command
      {0x0347, 0x0200, 0x0200, 0x0200},  // no such register
      {0x034E, 0x0200, 0x0200, 0x0200},  // the measurement is not in layer 0
      {0x65F0, 0x6435, 0x6400, 0x6412},  // layer 1 has no camera 9
      {0x0115, 0x2000, 0x0012, 0x0000},  // layer 0 holds no exposure sets
  };
  Do([&] {
    BringUp();
    WakeSensors();
    Write(0, 0, 0x3C00, 0x5A);
    for (const auto& frame : frames) {
      const size_t before = complaints.size();
      std::vector<uint16_t> in;
      Transfer(frame, &in);
      EXPECT_EQ(complaints.size(), before + 1) << std::hex << frame[0];
      EXPECT_EQ(in, std::vector<uint16_t>(frame.size(), 0));
    }
    EXPECT_EQ(ReadSensor(0, 0, 0x3C00), 0x5A) << "a malformed frame has put the sensors in reset";
  });
}

TEST_F(Bus, WritesReachTheirCamerasAndNoOthers) {
  constexpr int kRegister = 0x3C00;
  const auto check = [&](const char* what, const std::function<int(int, int)>& expected) {
    for (int layer = 0; layer < 3; layer++) {
      for (int camera = 0; camera < (layer == 0 ? 9 : 8); camera++) {
        EXPECT_EQ(ReadSensor(layer, camera, kRegister), expected(layer, camera)) << what << layer << ' ' << camera;
      }
    }
  };
  Do([&] {
    BringUp();
    WakeSensors();
    EXPECT_EQ(ReadSensor(2, 7, 0x300B), 0x88);
    EXPECT_EQ(ReadSensor(0, 8, 0x300C), 0x65);
    Write(kAll, kEvery, kRegister, 1);
    Write(1, kEvery, kRegister, 2);
    Write(0, 8, kRegister, 3);
    Write(2, 6, kRegister, 4);
    Write(2, 7, kRegister, 5);
    check("before software reset ", [](int layer, int camera) {
      if (layer == 0) return camera == 8 ? 3 : 1;
      if (layer == 1) return 2;
      return camera == 6 ? 4 : camera == 7 ? 5 : 1;
    });
    Write(1, 5, 0x0103, 1);
    check("after software reset ", [](int layer, int camera) {
      if (layer == 0) return camera == 8 ? 3 : 1;
      if (layer == 1) return camera == 5 ? 0 : 2;
      return camera == 6 ? 4 : camera == 7 ? 5 : 1;
    });
  });
  EXPECT_TRUE(complaints.empty()) << complaints.front();
}

TEST_F(Bus, AFullFifoWarnsThenLosesCommandsAndAResetEmptiesIt) {
  Do([&] {
    BringUp();
    WakeSensors();
    WaitSync(true);  // no sensor streams: this never ends
    int warnedAt = 0, sent = 0;
    while (complaints.empty() && sent < 2000) {
      Write(1, kEvery, 0x3C00, 0x77);
      sent++;
      if (warnedAt == 0 && Read(1, 0x41) != 0) warnedAt = sent;
    }
    EXPECT_GE(warnedAt, 300);
    EXPECT_GE(sent - warnedAt, 100) << "too little room between the warning and the loss";
    EXPECT_EQ(Read(0, 0x41), 0);
    Wait(2s);
    EXPECT_EQ(Read(1, 0x40), 0);
    EXPECT_EQ(Read(1, 0x4B), 0);
    FlushFifo();
    EXPECT_EQ(Read(1, 0x40), 1);
    EXPECT_EQ(Read(1, 0x4B), 1);
    EXPECT_EQ(ReadSensor(1, 0, 0x3C00), 0);
    Send(kAll, 0, 0x12);
    Write(0, 0, 0x3C00, 1);
    Send(kAll, 0, 0x13);
    EXPECT_EQ(ReadSensor(0, 0, 0x3C00), 0);
  });
  EXPECT_EQ(complaints.size(), 3u);  // one command lost to both groups of layer 1, one sent into the reset
}

TEST_F(Bus, DelaysHoldBackWhatComesAfterThem) {
  const auto drained = [&] {
    const auto start = kernel.Now();
    while (!Everywhere(0x40)) Wait(100us);
    return kernel.Now() - start;
  };
  Do([&] {
    BringUp();
    WakeSensors();
    Delay(kAll, kEvery, 10000);
    Delay(2, 7, 50000);
    Send(kAll, kEvery, 0xE2);
    Write(kAll, kEvery, 0x3C00, 9);
    Wait(22ms);
    EXPECT_EQ(Read(0, 0x40), 1);
    EXPECT_EQ(Read(2, 0x40), 0);
    const Duration rest = drained();
    EXPECT_GT(rest, 70ms);
    EXPECT_LT(rest, 80ms);

    Send(kAll, 0, 0x14, 0, 0x27, 0x10);  // the main delay: 10000 units of 2 us
    Write(kAll, kEvery, 0x3C00, 9);
    const Duration main = drained();
    EXPECT_GT(main, 19ms);
    EXPECT_LT(main, 22ms);

    WaitSync(true, 5000);  // a wait for what does not come, with its limit
    const Duration limited = drained();
    EXPECT_GT(limited, 9ms);
    EXPECT_LT(limited, 12ms);
  });
}

TEST_F(Bus, NothingComesThroughUnroutedPinsOrInAWrongMode) {
  bool routed = true;
  array.SetSpiRouted([&] { return routed; });
  Do([&] {
    BringUp();
    EXPECT_EQ(Read(0, 0x40), 1);
    routed = false;
    EXPECT_EQ(Read(0, 0x40), 0);
    routed = true;
    uint8_t mode = 1;
    array.Spi().Ioctl(SPI_IOC_WR_MODE, &mode);
    EXPECT_EQ(Read(0, 0x40), 0);
    EXPECT_EQ(complaints.size(), 1u);
  });
}

}  // namespace

// When the layers take their configuration, when not, and what makes them forget it.
#include "tests/fpga/array_bench.h"

namespace {

using namespace bench;

using Configuration = ArrayBench;

size_t FindWord(const std::vector<uint8_t>& stream, std::array<uint8_t, 4> word) {
  const auto at = std::search(stream.begin(), stream.end(), word.begin(), word.end());
  return static_cast<size_t>(at - stream.begin());
}

TEST_F(Configuration, InitStaysLowWhileTheMemoryIsCleared) {
  Do([&] {
    PowerUp();
    Output(5, 7, false);
    ProgramB(false);
    Wait(1us);
    EXPECT_FALSE(Init());
    ProgramB(true);
    EXPECT_FALSE(Init());
    SendStream({stream.begin(), stream.begin() + 1000});  // too early: never seen
    Wait(99ms);
    EXPECT_TRUE(Init());
    SendStream({stream.begin() + 1000, stream.end()});
    EXPECT_FALSE(Done());

    ASSERT_TRUE(StartConfiguration());
    Set(5, 7, false);
    Output(5, 7, true);  // held low by the processor: the parts do not listen
    SendStream(stream);
    EXPECT_FALSE(Done());
  });
}

TEST_F(Configuration, ADamagedStreamDoesNotConfigure) {
  const size_t sync = FindWord(stream, {0xAA, 0x99, 0x55, 0x66});
  const size_t frames = FindWord(stream, {0x30, 0x00, 0x40, 0x00});
  ASSERT_LT(frames, 1000u);
  struct Case {
    const char* name;
    std::function<void(std::vector<uint8_t>&)> damage;
    bool init;
  };
  const Case cases[] = {
      {"sync word", [&](auto& s) { s[sync + 2] ^= 0x10; }, true},
      {"one bit of the frames", [&](auto& s) { s[700000] ^= 1; }, false},
      {"check sum",
       [&](auto& s) {
         s[FindWord(s, {0x30, 0x00, 0x00, 0x01}) + 7] ^= 1;
       },
       false},
      {"no check sum",
       [&](auto& s) {
         const auto at = s.begin() + static_cast<long>(FindWord(s, {0x30, 0x00, 0x00, 0x01}));
         s.erase(at, at + 8);
       },
       true},
      {"a word is missing", [&](auto& s) { s.erase(s.begin() + 800000, s.begin() + 800004); }, false},
      {"cut off", [&](auto& s) { s.erase(s.end() - 4000, s.end()); }, true},
      {"right in itself, for a smaller part",
       [&](auto& s) {
         s = {0xAA, 0x99, 0x55, 0x66, 0x30, 0x00, 0x40, 0x00, 0x50, 0,    0,    1,    '1', '2', '3', '4',
              0x30, 0x00, 0x00, 0x01, 0x9B, 0xE3, 0xE0, 0xA3,  // CRC-32 of "1234"
              0x30, 0x00, 0x80, 0x01, 0,    0,    0,    5,    0x30, 0x00, 0x80, 0x01, 0,   0,   0,   13};
       },
       true},
  };
  Do([&] {
    PowerUp();
    for (const Case& c : cases) {
      SCOPED_TRACE(c.name);
      auto damaged = stream;
      c.damage(damaged);
      ASSERT_TRUE(StartConfiguration());
      SendStream(damaged);
      EXPECT_FALSE(Done());
      EXPECT_EQ(Init(), c.init);
    }
    Clock(0x14);  // the good one with the configuration clock off
    ASSERT_TRUE(StartConfiguration());
    SendStream(stream);
    EXPECT_FALSE(Done());
    Clock(4);
    uint8_t bits = 8;  // its words leave with their bytes exchanged
    array.Spi().Ioctl(SPI_IOC_WR_BITS_PER_WORD, &bits);
    ASSERT_TRUE(StartConfiguration());
    SendStream(stream);
    EXPECT_FALSE(Done());
    OpenBus();
    EXPECT_EQ(Transfer(std::vector<uint16_t>(0x80001)), -EMSGSIZE);
    ASSERT_TRUE(StartConfiguration());  // and none of it sticks
    SendStream(stream);
    EXPECT_TRUE(Done());
  });
}

// Each way of losing something, and whether the configuration, the fabric and the sensors' set-up are still there.
TEST_F(Configuration, WhatEndsWhat) {
  Do([&] {
    BringUp();
    ASSERT_TRUE(Ready());
    WakeSensors();
    Write(1, 3, 0x3C00, 0x5A);
    EXPECT_EQ(ReadSensor(1, 3, 0x3C00), 0x5A);

    Send(kAll, 0, 0xE6);  // sensors in reset
    Send(kAll, 0, 0xE5);
    Wait(1ms);
    EXPECT_EQ(ReadSensor(1, 3, 0x3C00), 0);

    Clock(4);
    EXPECT_EQ(Read(1, 0x40), 0);
    Clock(0x14);
    EXPECT_EQ(Read(1, 0x40), 0) << "the fabric needs a reset after its clock stood still";
    ResetPulse();
    EXPECT_EQ(Read(1, 0x40), 1);

    Set(5, 7, false);
    EXPECT_EQ(Read(1, 0x40), 0) << "in reset";
    Set(5, 7, true);
    EXPECT_EQ(Read(1, 0x40), 1);

    Suspend(true);
    EXPECT_TRUE(Done());
    EXPECT_EQ(Read(1, 0x40), 0);
    Suspend(false);
    EXPECT_EQ(Read(1, 0x40), 0);
    ResetPulse();
    EXPECT_EQ(Read(1, 0x40), 1);
    EXPECT_EQ(ReadSensor(1, 3, 0x300B), 0xFF) << "after a reset of the fabric the sensors are held in reset";

    PowerEn(false);
    EXPECT_FALSE(Done());
    PowerEn(true);
    Wait(100ms);
    ResetPulse();
    EXPECT_FALSE(Done());
    EXPECT_EQ(Read(1, 0x40), 0);
  });
  EXPECT_TRUE(complaints.empty()) << complaints.front();
}

}  // namespace

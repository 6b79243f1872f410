// The motion sensor's bus, made of two GPIO lines: each access and each delay of a transfer, and what it tells.
#include "common/angle_reader/soft_i2c.h"

#include "tests/array/array_road.h"
#include "tests/support/angle_bench.h"
#include "tests/support/transcript_match.h"
#include "twin/transcript/transcript.h"

namespace {

using SoftI2c = AngleBench;

// What the two lines should be moved by.
struct Lines : Road {
  unsigned int direction = 0;

  void Delay(int count) { lines.insert(lines.end(), static_cast<size_t>(count), "delay i2c"); }
  void Direct(unsigned int value) {
    RegIs(0x12146400, direction);
    Reg(0x12146400, direction = value);
  }
  void Set(unsigned int pins, bool high) {
    Direct(direction | pins);
    Pin(0x12146000 + 4 * pins, high);
  }
  void Pulse(bool released, unsigned int data) {
    Delay(1);
    Set(0x10, true);
    Delay(released ? 1 : 2);
    if (released) RegIs(0x12146020, data);
    if (released) Delay(1);
    Set(0x10, false);
    Delay(1);
  }
  void BitOut(bool bit) {
    Set(8, bit);
    Pulse(false, 0);
  }
  void BitIn(bool bit) {
    Direct(direction & ~8u);
    Pulse(true, bit ? 8 : 0);
  }
  void Start() {
    Delay(1);
    Set(0x18, true);
    Delay(1);
    Set(8, false);
    Delay(2);
    Set(0x10, false);
    Delay(1);
  }
  void Stop() {
    Delay(1);
    Set(8, false);
    Delay(2);
    Set(0x10, true);
    Delay(2);
    Set(8, true);
    Delay(1);
  }
  void ByteOut(int byte, bool taken) {
    for (int bit = 7; bit >= 0; bit--) BitOut((byte >> bit & 1) != 0);
    BitIn(!taken);
  }
  void ByteIn(int byte, bool last) {
    for (int bit = 7; bit >= 0; bit--) BitIn((byte >> bit & 1) != 0);
    BitOut(last);
  }
};

TEST_F(SoftI2c, MovesTheLinesAccessByAccessAndTellsWhereATransferEnded) {
  struct Transfer {
    int result;
    const char* fault;
    std::function<int()> run;
    std::vector<int> sent;  // each taken, the last one if the result is 0
    int again = 0;          // sent behind a stop and a start
    std::vector<int> received = {};
  };
  BYTE bytes[3] = {0x55, 0x04, 0x18};
  const auto read = [&](BYTE count) { return [&bytes, count] { return LumoI2cRead(0x1A, count, bytes); }; };
  const auto write = [&](BYTE count) { return [&bytes, count] { return LumoI2cWrite(0x19, count, bytes); }; };
  const Transfer transfers[] = {{0, "", write(3), {0xD0, 0x19, 0x55, 0x04, 0x18}},
                                {0, "", write(0), {0xD0, 0x19}},
                                {-1, "motion.ack silence detail=-1", write(2), {0xD0}},
                                {-2, "motion.ack silence detail=25", write(2), {0xD0, 0x19}},
                                {-3, "motion.ack silence detail=25 nth=2", write(2), {0xD0, 0x19, 0x55}},
                                {-1, "motion.ack silence detail=-1", read(2), {0xD0}},
                                {-2, "motion.ack silence detail=26", read(2), {0xD0, 0x1A}},
                                {-3, "motion.ack silence detail=-1 nth=2", read(2), {0xD0, 0x1A}, 0xD1},
                                {0, "", read(0), {0xD0, 0x1A}, 0xD1},
                                {0, "", read(2), {0xD0, 0x1A}, 0xD1, {0x04, 0x18}}};
  OnBoard(board, [&] {
    twin::Transcript transcript{board.kernel, "reg delay"};
    Lines lines;
    for (const Transfer& transfer : transfers) {
      board.faults.Clear();
      if (*transfer.fault != 0) board.faults.Add(transfer.fault);
      transcript.Forget();
      lines.lines.clear();
      EXPECT_EQ(transfer.run(), transfer.result);
      lines.Start();
      const bool twice = transfer.again != 0, good = transfer.result == 0;
      for (const int& byte : transfer.sent) lines.ByteOut(byte, good || twice || &byte != &transfer.sent.back());
      if (twice) lines.Stop();
      if (twice) lines.Start();
      if (twice) lines.ByteOut(transfer.again, good);
      for (const int& byte : transfer.received) lines.ByteIn(byte, &byte == &transfer.received.back());
      lines.Stop();
      EXPECT_TRUE(SameRoad(lines.lines, transcript.Texts()));
    }
    EXPECT_EQ(bytes[0] << 8 | bytes[1], 0x0418);
  });
}

}  // namespace

// The motion sensor's bus, made of two GPIO lines: what an oscilloscope sees, and what a transfer tells.
#include "common/angle_reader/soft_i2c.h"

#include "tests/support/angle_bench.h"

namespace {

using SoftI2c = AngleBench;

TEST_F(SoftI2c, TheBusTellsWhereATransferEnded) {
  OnBoard(board, [&] {
    BYTE byte = 0;
    EXPECT_EQ(LumoI2cRead(0x75, 1, &byte), 0);
    EXPECT_EQ(byte, 0x68);
    EXPECT_EQ(LumoI2cRead(0x75, 0, &byte), 0);
    EXPECT_EQ(LumoI2cWrite(0x75, 0, &byte), 0);
    const auto with = [&](const char* fault, auto transfer) {
      board.faults.Clear();
      board.faults.Add(fault);
      return transfer();
    };
    const auto read = [&] { return LumoI2cRead(0x19, 1, &byte); };
    const auto write = [&] { return LumoI2cWrite(0x19, 1, &byte); };
    EXPECT_EQ(with("motion.ack silence detail=-1", read), -1);
    EXPECT_EQ(with("motion.ack silence detail=25", read), -2);
    EXPECT_EQ(with("motion.ack silence detail=-1 nth=2", read), -3);
    EXPECT_EQ(with("motion.ack silence detail=-1", write), -1);
    EXPECT_EQ(with("motion.ack silence detail=25", write), -2);
    EXPECT_EQ(with("motion.ack silence detail=25 nth=2", write), -3);
    EXPECT_EQ(read(), 0);  // each of them let the bus go
  });
}

// The lines as an oscilloscope on them shows one transfer: data at each rising clock, starts and stops.
TEST_F(SoftI2c, TheBusMovesItsLinesAsTheProtocolSays) {
  std::string seen;
  bool watching = false;
  twin::Pin& scl = board.gpio.At(6, 4);
  twin::Pin& sda = board.gpio.At(6, 3);
  scl.OnChange([&](bool high) {
    if (watching && high) seen += sda.Level() ? '1' : '0';
  });
  sda.OnChange([&](bool high) {
    if (watching && scl.Level()) seen += high ? 'P' : 'S';
  });
  OnBoard(board, [&] {
    BYTE bytes[2] = {};
    LumoI2cStopBit();
    watching = true;
    EXPECT_EQ(LumoI2cRead(0x74, 2, bytes), 0);
    watching = false;
  });
  // Start, 0xD0, register, stop (its clock rises on a low data line), start, 0xD1, two bytes, the last not
  // acknowledged.
  EXPECT_EQ(seen,
            "S110100000"
            "011101000"
            "0P"
            "S110100010"
            "000000000"
            "000000001"
            "0P");
}

}  // namespace

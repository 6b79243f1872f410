#include "twin/devices/gpio/gpio.h"

#include <gtest/gtest.h>

namespace twin {
namespace {

struct Gpio : testing::Test {
  Kernel kernel;
  Faults faults{kernel};
  GpioBanks gpio{faults};
  RegisterSpace space;

  Gpio() { space.Claim(GpioBanks::kBase, GpioBanks::kBankStride * GpioBanks::kBanks, gpio); }
};

// Bank 5 is at 0x12145000; pin 7's own data address is 0x80 << 2 further on.
TEST_F(Gpio, AMaskedWriteMovesItsOwnPinsAndOnlyOutputs) {
  space.Write(0x12145400, 0x83);  // pins 0, 1 and 7 drive
  space.Write(0x12145000 + (0x81 << 2), 0xFF);
  EXPECT_TRUE(gpio.At(5, 0).Level());
  EXPECT_FALSE(gpio.At(5, 1).Level());
  EXPECT_TRUE(gpio.At(5, 7).Level());
  space.Write(0x12145200, 0x7F);
  EXPECT_FALSE(gpio.At(5, 7).Level());
  EXPECT_TRUE(gpio.At(5, 0).Level()) << "not in the mask";
  space.Write(0x12145000 + (0xFF << 2), 0xFF);
  EXPECT_FALSE(gpio.At(5, 2).Level()) << "an input is not driven";
  EXPECT_FALSE(gpio.At(6, 0).Level()) << "another bank";
  EXPECT_EQ(space.Read(0x12145400), 0x83u);
  EXPECT_EQ(space.Read(0x12150000), 0u);
  EXPECT_EQ(space.Unclaimed(), std::vector<std::string>{"read 0x12150000"});
}

TEST_F(Gpio, AWireIsDrivenByOneSideAtATimeAndTellsItsEdges) {
  Pin& wire = gpio.At(5, 7);
  std::vector<bool> edges;
  wire.OnChange([&](bool level) { edges.push_back(level); });
  wire.Drive(true);
  EXPECT_EQ(space.Read(0x12145200), 0x80u);
  EXPECT_EQ(space.Read(0x12145100), 0u) << "only the bits in the mask are read";
  space.Write(0x12145400, 0x80);  // the latch is 0: the processor pulls the wire down
  EXPECT_FALSE(wire.Level());
  space.Write(0x12145200, 0xFF);
  wire.Drive(false);
  EXPECT_TRUE(wire.Level()) << "the processor drives it";
  space.Write(0x12145400, 0);
  EXPECT_FALSE(wire.Level()) << "the outside has it again";
  wire.Release(true);
  EXPECT_EQ(edges, (std::vector<bool>{true, false, true, false, true}));
  space.Write(0x12145400, 0x80);
  edges.clear();
  gpio.Reset();
  EXPECT_EQ(space.Read(0x12145400), 0u);
  EXPECT_TRUE(wire.Level());
  EXPECT_TRUE(edges.empty()) << "it was high and floats high";
}

}  // namespace
}  // namespace twin

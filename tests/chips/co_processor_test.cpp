#include "twin/devices/co_processor/co_processor.h"

#include <gtest/gtest.h>

#include "twin/devices/panel/panel.h"

namespace twin {
namespace {

constexpr int kAnswer = 0, kSelect = 5, kData = 6, kClock = 7;

// A processor with four wires and a steady hand.
struct Wires {
  Kernel kernel;
  Faults faults{kernel};
  GpioBanks gpio{faults};
  CoProcessor coProcessor{kernel, faults, gpio, true};
  Panel panel{kernel, gpio, coProcessor};
  Duration phase = 12us;  // each half of a clock
  Duration late = 0us;    // from the clock's rise to the look at the answer
  Duration setUp = 12us;  // from a data bit to the clock's rise, within its low half

  Wires() {
    Set(kSelect, true);
    Set(kClock, true);
    Set(kData, true);
    gpio.WriteRegister(0x12140400, 0xF6);
  }
  void Set(int pin, bool level) { gpio.WriteRegister(0x12140000 + (4u << pin), level ? 0xFF : 0); }
  bool Answer() { return gpio.ReadRegister(0x12140000 + (4u << kAnswer)) != 0; }

  // One transfer of `bits` bits in a thread of the board. The bit is sampled right after the rising edge.
  uint32_t Transfer(uint32_t word, int bits = 16) {
    uint32_t answer = 0;
    kernel.Spawn("processor", [&] {
      Set(kSelect, false);
      kernel.Spend(phase);
      for (int i = 0; i < bits; i++) {
        Set(kClock, false);
        kernel.Spend(phase - std::min(setUp, phase));
        Set(kData, (word >> (bits - 1 - i) & 1) != 0);
        kernel.Spend(std::min(setUp, phase));
        Set(kClock, true);
        kernel.Spend(late);
        answer = answer << 1 | Answer();
        kernel.Spend(phase - late);
      }
      Set(kSelect, true);
      kernel.Spend(300us);
    });
    kernel.Run(2ms);
    return answer;
  }
};

struct CoProcessorLink : testing::Test, Wires {};

TEST_F(CoProcessorLink, ShowsTheColourOfGoodCommandsOnly) {
  EXPECT_EQ(panel.LampColour(), "dark");
  Transfer(0xC03F);
  EXPECT_EQ(panel.LampColour(), "cyan");
  Transfer(0x20DE);  // one bit of the complement is wrong
  EXPECT_EQ(panel.LampColour(), "cyan");
  Transfer(0x20DF >> 1, 15);
  Transfer(0x20DFu << 1, 17);
  EXPECT_EQ(panel.LampColour(), "cyan");
  EXPECT_EQ(coProcessor.BadFrames(), 3u);
  Transfer(0x20DF);
  EXPECT_EQ(panel.LampColour(), "red");
  EXPECT_EQ(coProcessor.Frames(), 2u);
}

TEST_F(CoProcessorLink, ObjectsToCommandsThatItDoesNotKnow) {
  std::vector<std::string> said;
  coProcessor.SetComplaints([&](const std::string& what) { said.push_back(what); });
  for (const uint32_t known : {0xE01Fu, 0x00FFu, 0x52ADu}) Transfer(known);
  EXPECT_TRUE(said.empty());
  for (const uint32_t unknown : {0x21DEu, 0x02FDu, 0x1AE5u}) Transfer(unknown);
  EXPECT_EQ(said.size(), 3u);
}

TEST_F(CoProcessorLink, MissesWhatIsTooQuickOrTooLateForIt) {
  const uint32_t reply = Transfer(0x40BF);
  EXPECT_EQ(reply, 0xF20Du);  // released, not charging, 50
  EXPECT_EQ(panel.LampColour(), "green");
  // A level too short, a data bit too late: as if it had not been. A look too late: ones.
  phase = 7us;
  Transfer(0x20DF);
  phase = 12us;
  setUp = 7us;
  EXPECT_EQ(panel.LampColour(), "green");
  Transfer(0x20DF);
  EXPECT_EQ(panel.LampColour(), "blue") << "each bit taken for the next one: 0x906F";
  setUp = 12us;
  late = 4us;
  EXPECT_EQ(Transfer(0x20DF), 0xFFFFu);
  EXPECT_EQ(panel.LampColour(), "red") << "it has heard all the same";
  late = 3us;
  EXPECT_EQ(Transfer(0x20DF), reply);
}

}  // namespace
}  // namespace twin

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
  Button button{kernel, coProcessor};
  int powerOffs = 0;
  Duration phase = 12us;  // each half of a clock
  Duration late = 0us;    // from the clock's rise to the look at the answer
  Duration setUp = 12us;  // from a data bit to the clock's rise, within its low half
  Duration gap = 300us;   // after a transfer

  Wires() {
    coProcessor.SetPowerOff([this] { powerOffs++; });
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
      kernel.Spend(gap);
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

TEST_F(CoProcessorLink, SwitchesOffOnceAndOnlyWhenBothBitsAgree) {
  Transfer(0x10EF);
  Transfer(0x02FD);
  Transfer(0x12EC);
  kernel.Run(1s);
  EXPECT_EQ(powerOffs, 0);
  Transfer(0x12ED);
  EXPECT_EQ(powerOffs, 0) << "the answer has to get through first";
  Transfer(0x12ED);
  kernel.Run(CoProcessor::kCutDelay);
  EXPECT_EQ(powerOffs, 1);
  kernel.Run(1s);
  EXPECT_EQ(powerOffs, 1);
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
  // A select that comes while it is busy with the last transfer.
  kernel.Spawn("hasty", [&] {
    for (const Duration pause : {199us, 200us}) {
      Set(kSelect, false);
      kernel.Spend(phase);
      Set(kClock, false);
      kernel.Spend(phase);
      Set(kClock, true);
      Set(kSelect, true);
      kernel.Spend(pause);
    }
    Set(kSelect, false);
  });
  button.Hold();  // an answer begins with 0
  const uint64_t bad = coProcessor.BadFrames();
  kernel.Run(2ms);
  EXPECT_EQ(coProcessor.BadFrames(), bad + 1) << "the second was not heard";
}

// --- what a person perceives ---

struct PanelLines : CoProcessorLink {
  void Led(bool level) { gpio.WriteRegister(0x12140040, level ? 0xFF : 0); }
  void BuzzerOff(bool level) { gpio.WriteRegister(0x12140008, level ? 0xFF : 0); }
  void ShotLine(bool level) { gpio.WriteRegister(0x12142008, level ? 0xFF : 0); }

  PanelLines() {  // from reset, as a processor starts: outputs first, levels a moment later
    gpio.Reset();
    gpio.WriteRegister(0x12142400, 0x02);
    gpio.WriteRegister(0x12140400, 0xF6);
    kernel.Run(2us);
    for (uint32_t pin : {1, 4, 5, 6, 7}) Set(static_cast<int>(pin), true);
    ShotLine(true);
  }
};

TEST_F(PanelLines, PulsesHaveAStartAndALengthAndAMomentIsNone) {
  EXPECT_TRUE(panel.BuzzerPulses().empty() && panel.LedPulses().empty() && panel.Shots().empty());
  EXPECT_FALSE(panel.ShotRunning());
  kernel.Run(100ms);
  const Time start = kernel.Now();
  Led(false);
  BuzzerOff(false);
  kernel.Run(100ms);
  Led(true);
  BuzzerOff(true);
  kernel.Run(100ms);
  Led(false);
  kernel.Run(500us);
  Led(true);
  EXPECT_EQ(panel.LedPulses(), (std::vector<Pulse>{{start, 100ms}}));
  EXPECT_EQ(panel.BuzzerPulses(), (std::vector<Pulse>{{start, 100ms}}));
}

}  // namespace
}  // namespace twin

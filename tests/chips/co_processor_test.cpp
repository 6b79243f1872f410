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
  Duration phase = 5us;  // each half of a clock
  Duration gap = 100us;  // after a transfer

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
        Set(kData, (word >> (bits - 1 - i) & 1) != 0);
        Set(kClock, false);
        kernel.Spend(phase);
        Set(kClock, true);
        answer = answer << 1 | Answer();
        kernel.Spend(phase);
      }
      Set(kSelect, true);
      kernel.Spend(gap);
    });
    kernel.Run(1ms);
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

TEST_F(CoProcessorLink, MissesWhatIsTooQuickForIt) {
  phase = 400ns;
  EXPECT_EQ(Transfer(0x20DF), 0xFFFFu);
  EXPECT_EQ(panel.LampColour(), "dark");
  phase = 5us;
  gap = 0us;
  Transfer(0x40BF);
  EXPECT_EQ(panel.LampColour(), "green");
  button.Hold();  // an answer begins with 0
  kernel.Spawn("hasty", [&] {
    for (bool heard : {true, false}) {  // the second selection comes while it still works on the first one's bit
      Set(kSelect, false);
      kernel.Spend(phase);
      Set(kClock, false);
      kernel.Spend(phase);
      EXPECT_EQ(Answer(), !heard);
      Set(kClock, true);
      Set(kSelect, true);
    }
  });
  kernel.Run(1ms);
}

TEST_F(CoProcessorLink, AFingerHoldsOnAndTrembles) {
  button.Press(50ms);
  kernel.Run(10ms);
  button.Hold();
  kernel.Run(1s);
  EXPECT_TRUE(button.Pressed()) << "the first press's end does not let go";
  button.Release();

  int downs = 0;
  bool before = false;
  button.Bounce(6ms);
  for (int i = 0; i < 80; i++) {
    downs += button.Pressed() && !before;
    before = button.Pressed();
    kernel.Run(100us);
  }
  EXPECT_EQ(downs, 3);
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

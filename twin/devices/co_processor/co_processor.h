// The small co-processor that looks after power, button, battery, charger and the colour of LED 0.
//
// Bus face: four wires. Select (bank 0 pin 5) frames a transfer of 16 bits; the clock (pin 7) rests high. It puts its
// bit on the answer line (pin 0) behind the falling edge, takes the processor's bit (pin 6) at the rising edge, most
// significant first, and shows its bit for a moment longer. Both words are a byte and its complement. It acts when
// select rises after exactly 16 bits, and only on a word whose halves are complements; any other transfer is as if it
// had never been.
//   command byte: bit 7 blue, 6 green, 5 red, bits 4 and 1 together: switch the board off; any other bit, or one of the
//                 two alone, means nothing to it and is a complaint
//   reply byte: bit 7 button released, bit 6 not charging, bits 5-0 battery sample
// It is a slow part that looks at its wires in a loop. A select or clock level shorter than kShortestLevel is lost; of
// a data bit that has changed more lately than that it takes what was there before; its own bit is kAnswerDelay late
// and gone kAnswerHold behind the rising edge, so whoever samples late reads ones; and a select that follows the last
// transfer's end by less than kShortestGap finds it busy. The processor driving the answer line too is a complaint.
// The figures are ours: of the real part only that much is known that it is content with 40 times 47 empty turns for
// each level and 20 of those behind a frame. So a driver that is a few turns short passes here, and one that leaves a
// wait out does not. Not modelled: charging over time; battery and charger are what the world face says.
//
// A board may lack the part. Then the same wires go straight to LED 0 (clock blue, select green, data red, high is lit)
// and to the button (pin 0, low is pressed), and nothing can switch the board off.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "twin/devices/gpio/gpio.h"
#include "twin/faults/faults.h"
#include "twin/kernel/kernel.h"

namespace twin {

struct LampColour {
  bool red = false, green = false, blue = false;
  bool operator==(const LampColour&) const = default;
};

class CoProcessor {
 public:
  static constexpr Duration kShortestLevel = 8us;
  static constexpr Duration kAnswerDelay = 6us;
  static constexpr Duration kAnswerHold = 4us;
  static constexpr Duration kShortestGap = 200us;
  static constexpr Duration kCutDelay = 10ms;  // from the switch-off frame to the end of the board's power

  CoProcessor(Kernel& kernel, Faults& faults, GpioBanks& gpio, bool present);

  // --- board ---
  void SetComplaints(std::function<void(std::string)> sink) { complain_ = std::move(sink); }
  // Called kCutDelay after a switch-off frame, in the scheduler.
  void SetPowerOff(std::function<void()> powerOff) { powerOff_ = std::move(powerOff); }
  // The board's power came or went: the lamp is dark until the next frame, an unfinished transfer is forgotten.
  void Reset();

  // --- world ---
  void SetButton(bool pressed);  // see Button
  bool ButtonPressed() const { return pressed_; }
  void SetBattery(int sample);  // 0 to 63, else std::out_of_range
  int Battery() const { return battery_; }
  void SetCharging(bool charging) { charging_ = charging; }
  bool Charging() const { return charging_; }
  bool Present() const { return present_; }
  LampColour Colour() const { return colour_; }
  // Called when the colour has changed.
  void OnColour(std::function<void()> listener) { listeners_.push_back(std::move(listener)); }
  uint64_t Frames() const { return frames_; }        // good transfers so far
  uint64_t BadFrames() const { return badFrames_; }  // others with select low and at least one bit

  // --- faults ---
  // "stc.reply" Value v: the 16 bits of the reply are v. "stc.silence" Silence: no answer, and the command is ignored.
  // Both are asked once a transfer, when select falls.

 private:
  void Selected(bool level);
  void Clocked(bool level);
  void Answer();  // what is due on the answer line by now
  void Obey(uint8_t command);
  void SetColour(LampColour colour);
  void ShowLines();

  Kernel& kernel_;
  Pin& answer_;
  Pin& select_;
  Pin& data_;
  Pin& clock_;
  const bool present_;

  bool pressed_ = false;
  bool charging_ = false;
  int battery_ = 50;
  LampColour colour_;
  std::vector<std::function<void()>> listeners_;
  std::function<void()> powerOff_;
  std::function<void(std::string)> complain_ = [](const std::string&) {};

  bool transferring_ = false;
  bool deaf_ = false;  // of this transfer: silence
  int bits_ = 0;       // rising edges seen
  uint32_t received_ = 0, reply_ = 0;
  Time lastEdge_{0}, lastEnd_{0}, lastData_{0};
  bool nextAnswer_ = true;
  Time answerAt_ = Time::max();
  bool ended_ = false;
  Kernel::EventId cut_ = 0;
  bool cutting_ = false;
  uint64_t frames_ = 0, badFrames_ = 0;
  FaultPoint replyFault_, silenceFault_;
};

// The one button, under a person's finger.
class Button {
 public:
  Button(Kernel& kernel, CoProcessor& coProcessor) : kernel_(kernel), coProcessor_(coProcessor) {}

  void Press(Duration length);  // down now, up after `length`; takes the place of a press that stands
  void Hold();                  // down until Release
  void Release();
  // The contact chatters for `length`, changing every millisecond, and ends as it began.
  void Bounce(Duration length);
  bool Pressed() const { return coProcessor_.ButtonPressed(); }

 private:
  void Chatter(Time end, bool rest);

  Kernel& kernel_;
  CoProcessor& coProcessor_;
  Kernel::EventId next_ = 0;
};

}  // namespace twin

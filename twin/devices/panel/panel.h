// LED 0, the buzzer and the shot line, as a person with a stopwatch perceives them.
//
// LED 0 is lit in the co-processor's colour while its enable line (bank 0 pin 4) is high; the buzzer sounds while its
// line (bank 0 pin 1) is low; the shot line (bank 2 pin 1) is low during a shot. While the processor does not drive
// them, they float: LED dark, buzzer silent, no shot. What is shorter than kShortest nobody notices.
#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "twin/devices/co_processor/co_processor.h"
#include "twin/devices/gpio/gpio.h"
#include "twin/kernel/kernel.h"

namespace twin {

struct Pulse {
  Time start{0};
  Duration length{0};
  bool operator==(const Pulse&) const = default;
};

class Panel {
 public:
  static constexpr Duration kShortest = 1ms;

  Panel(Kernel& kernel, GpioBanks& gpio, CoProcessor& coProcessor);

  // --- board ---
  // The power went, the lines having been reset: what was under way ends, and the dark LED is no pulse.
  void Reset();

  // --- world ---
  // Times at which a lit LED 0 went dark and came back. Going out for good, with the power, is no pulse.
  const std::vector<Pulse>& LedPulses() const { return ledPulses_; }
  const std::vector<Pulse>& BuzzerPulses() const { return buzzerPulses_; }
  // Times at which the shot line was low.
  const std::vector<Pulse>& Shots() const { return shots_; }
  void ForgetPulses();  // the records above start anew; what is under way goes on

  bool Lit() const { return enable_.Level(); }
  bool Sounding() const { return !buzzer_.Level(); }
  bool ShotLine() const { return !shotLine_.Level(); }  // at this instant
  bool ShotRunning() const;                             // and long enough for anybody to notice
  // "red", "yellow", "green", "cyan", "blue", "magenta", "white"; "dark" while LED 0 is off or in a dark pulse.
  std::string_view Colour() const;
  // The colour that LED 0 has whenever it is lit: the same without the pulses.
  std::string_view LampColour() const;

  // Called after every change of what can be seen or heard, and of the shot line. Also inside fibers: must not wait.
  void OnChange(std::function<void()> listener) { listeners_.push_back(std::move(listener)); }

 private:
  // One line's intervals at its telling level.
  struct Interval {
    bool open = false;
    Time start{0};
  };
  void LineMoved();
  void Track(Interval& interval, bool telling, std::vector<Pulse>& pulses);
  void Close(Interval& interval, std::vector<Pulse>& pulses);
  void Changed();

  Kernel& kernel_;
  CoProcessor& coProcessor_;
  Pin& enable_;
  Pin& buzzer_;
  Pin& shotLine_;
  Interval dark_, sound_, shot_;
  bool wasLit_ = false;
  std::vector<Pulse> ledPulses_, buzzerPulses_, shots_;
  std::vector<std::function<void()>> listeners_;
};

}  // namespace twin

#include "twin/devices/panel/panel.h"

namespace twin {

namespace {

std::string_view NameOf(LampColour colour) {
  constexpr std::string_view names[8] = {"dark", "blue", "green", "cyan", "red", "magenta", "yellow", "white"};
  return names[colour.red * 4 + colour.green * 2 + colour.blue];
}

}  // namespace

Panel::Panel(Kernel& kernel, GpioBanks& gpio, CoProcessor& coProcessor)
    : kernel_(kernel),
      coProcessor_(coProcessor),
      enable_(gpio.At(0, 4)),
      buzzer_(gpio.At(0, 1)),
      shotLine_(gpio.At(2, 1)) {
  enable_.Release(false);
  buzzer_.Release(true);
  shotLine_.Release(true);
  enable_.OnChange([this](bool) { LineMoved(); });
  buzzer_.OnChange([this](bool) { LineMoved(); });
  shotLine_.OnChange([this](bool) { LineMoved(); });
  coProcessor_.OnColour([this] { Changed(); });
}

// A line that the processor has let go is at its pull: what lasted until then has ended, but a lamp that went out so
// has not blinked.
void Panel::LineMoved() {
  const bool driven = enable_.DrivenByProcessor();
  if (driven && enable_.Level()) {
    if (dark_.open) Close(dark_, ledPulses_);
    wasLit_ = true;
  } else if (!driven) {
    dark_.open = false;
    wasLit_ = false;
  } else if (wasLit_ && !dark_.open) {
    dark_ = {true, kernel_.Now()};
  }
  Track(sound_, Sounding(), buzzerPulses_);
  Track(shot_, !shotLine_.Level(), shots_);
  Changed();
}

void Panel::Reset() {
  dark_.open = false;
  wasLit_ = false;
  LineMoved();
}

void Panel::Track(Interval& interval, bool telling, std::vector<Pulse>& pulses) {
  if (telling && !interval.open) interval = {true, kernel_.Now()};
  if (!telling && interval.open) Close(interval, pulses);
}

void Panel::Close(Interval& interval, std::vector<Pulse>& pulses) {
  interval.open = false;
  const Duration length = kernel_.Now() - interval.start;
  if (length >= kShortest) pulses.push_back({interval.start, length});
}

void Panel::ForgetPulses() {
  ledPulses_.clear();
  buzzerPulses_.clear();
  shots_.clear();
}

bool Panel::ShotRunning() const { return shot_.open && kernel_.Now() - shot_.start >= kShortest; }

std::string_view Panel::Colour() const { return Lit() ? LampColour() : "dark"; }

std::string_view Panel::LampColour() const { return NameOf(coProcessor_.Colour()); }

void Panel::Changed() {
  for (const auto& listener : listeners_) listener();
}

}  // namespace twin

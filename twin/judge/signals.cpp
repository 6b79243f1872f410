#include "twin/judge/signals.h"

#include <array>

namespace twin {
namespace {

using namespace std::chrono_literals;

constexpr Duration kShort = 100ms, kLong = 1s;

// A fifth more or less is the same to a person.
std::vector<std::string> Wrong(const char* what, const char* when, std::span<const Pulse> pulses, size_t count,
                               Duration length) {
  std::vector<std::string> wrong;
  const auto milliseconds = [](Duration time) { return std::to_string(time / 1ms) + " ms"; };
  if (pulses.size() != count)
    wrong.push_back(std::string(what) + ' ' + when + ": " + std::to_string(pulses.size()) + " times, not " +
                    std::to_string(count));
  for (const Pulse& pulse : pulses) {
    if (pulse.length * 5 >= length * 4 && pulse.length * 5 <= length * 6) continue;
    wrong.push_back(std::string(what) + ' ' + when + ": for " + milliseconds(pulse.length) + ", not " +
                    milliseconds(length));
  }
  return wrong;
}

struct ColourOfRoom {
  uint64_t belowKBs;
  const char* colour;
};
constexpr uint64_t kGigabyte = 1024 * 1024;  // KB
constexpr std::array<ColourOfRoom, 5> kColours = {{{kGigabyte * 5 / 4, "red"},
                                                   {kGigabyte * 5 / 2, "yellow"},
                                                   {kGigabyte * 25 / 4, "green"},
                                                   {kGigabyte * 25 / 2, "cyan"},
                                                   {UINT64_MAX, "blue"}}};

}  // namespace

std::vector<std::string> WrongStartSignals(const char* what, std::span<const Pulse> pulses) {
  return Wrong(what, "at the start", pulses, 2, kShort);
}

std::vector<std::string> WrongShotSignals(const char* what, std::span<const Pulse> pulses) {
  return Wrong(what, "at the shot", pulses, 1 + 2, kShort);
}

std::vector<std::string> WrongOffSignals(std::span<const Pulse> tones) {
  return Wrong("the buzzer sounds", "at the switch-off", tones, 1, kLong);
}

std::vector<std::string> WrongColour(const Board& board) {
  const std::string_view colour = board.panel.Colour();
  for (const ColourOfRoom& row : kColours) {
    if (board.disk.FreeKBs() >= row.belowKBs) continue;
    if (colour == row.colour) return {};
    return {"LED 0 is " + std::string(colour) + ", not " + row.colour};
  }
  return {};
}

}  // namespace twin

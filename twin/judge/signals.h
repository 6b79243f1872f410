// What a person sees and hears of a camera that nobody broke, against what its user has been told to expect: how often
// LED 0 goes dark and the buzzer sounds, how long, and in which colour LED 0 is lit.
//
// Not judged: pauses between the signals; the countdown of a delayed shot; signals of a series, a full disk, an update
// and formatting.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "twin/board.h"

namespace twin {

// A sentence each for what is wrong; none if nothing is. `pulses` are those of LED 0 or of the buzzer since then,
// `what` says which, as "LED 0 is dark".

// Of a start that is over: two short ones.
std::vector<std::string> WrongStartSignals(const char* what, std::span<const Pulse> pulses);
// Of a shot that is over and was saved, without a delay: one short one when the array is done, two when it is filed.
std::vector<std::string> WrongShotSignals(const char* what, std::span<const Pulse> pulses);
// Of the switch-off: a long tone. LED 0 goes dark for good.
std::vector<std::string> WrongOffSignals(std::span<const Pulse> tones);

// LED 0 has to be lit, in the colour that tells the room on the disk.
std::vector<std::string> WrongColour(const Board& board);

}  // namespace twin

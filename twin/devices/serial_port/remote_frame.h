// A frame as the wireless remote sends it.
#pragma once

#include <string>

#include "twin/devices/clock_chip/clock_chip.h"

namespace twin {

// `command`: "I" status, "H" a shot by hand, "T" one on a tripod; `address`: the camera's, a digit. `now` is what the
// remote's own clock shows.
std::string RemoteFrame(char command, char address, const CivilTime& now);

}  // namespace twin

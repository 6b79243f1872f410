// Pulses in whole milliseconds, for comparing with trains.
#pragma once

#include <vector>

#include "twin/devices/panel/panel.h"

// Starts after `origin`, rounded.
inline std::vector<long> StartsOf(const std::vector<twin::Pulse>& pulses, twin::Time origin) {
  std::vector<long> starts;
  for (const twin::Pulse& pulse : pulses)
    starts.push_back((pulse.start - origin + std::chrono::microseconds(500)) / std::chrono::milliseconds(1));
  return starts;
}

inline std::vector<long> LengthsOf(const std::vector<twin::Pulse>& pulses) {
  std::vector<long> lengths;
  for (const twin::Pulse& pulse : pulses)
    lengths.push_back((pulse.length + std::chrono::microseconds(500)) / std::chrono::milliseconds(1));
  return lengths;
}

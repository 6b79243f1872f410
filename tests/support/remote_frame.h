// Frames of the wireless remote, as it sends them.
#pragma once

#include <string>

// "X", address digit, command, then the date and time "YYMMDDhhmmss" and a byte that nobody reads.
inline std::string RemoteFrame(char command, int address = 0, const std::string& time = "261124140509") {
  return std::string("X") + static_cast<char>('0' + address) + command + time + "z";
}

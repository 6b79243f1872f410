#include "twin/devices/serial_port/remote_frame.h"

#include <cstdio>

namespace twin {

std::string RemoteFrame(char command, char address, const CivilTime& now) {
  char text[32];
  snprintf(text, sizeof text, "X%c%c%02d%02d%02d%02d%02d%02d ", address, command, now.year % 100, now.month % 100,
           now.day % 100, now.hour % 100, now.minute % 100, now.second % 100);
  return std::string(text).substr(0, 16);
}

}  // namespace twin

// One frame of the co-processor's link on its wires: what goes out, what comes back.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

inline std::vector<std::string> StcFrame(uint16_t out, uint16_t in) {
  std::vector<std::string> road;
  const auto set = [&](const char* address, bool high) {
    road.push_back(std::string("reg write ") + address + (high ? " 0xff" : " 0x0"));
  };
  const char* select = "0x12140080";
  const char* data = "0x12140100";
  const char* clock = "0x12140200";
  set(select, false);
  set(data, (out & 0x8000) != 0);
  road.emplace_back("delay stc");
  for (int bit = 15; bit >= 0; bit--) {
    set(clock, false);
    road.emplace_back("delay stc");
    set(clock, true);
    road.push_back(std::string("reg read 0x12140004 = 0x") + ((in >> bit & 1) != 0 ? "1" : "0"));
    set(data, bit > 0 && (out >> (bit - 1) & 1) != 0);
    road.emplace_back("delay stc");
  }
  set(select, true);
  set(data, true);
  road.insert(road.end(), 20, "delay stc");
  return road;
}

// One run of the campaign as a line of text, from which it can be had again to the byte:
//   seed=7 explore off phone | fault disk.write fail=EIO nth=12 | 14s cut
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "twin/kernel/kernel.h"

namespace campaign {

struct Action {
  twin::Duration at{0};  // since the board was built
  std::string what;      // cut, pull, press, hold, battery, or get TARGET
};

struct Plan {
  uint64_t seed = 1;
  bool explore = false;  // equal-time order and yields drawn by the seed
  bool off = false;      // the faults last through the switch-off; else they end before the second press
  bool phone = false;    // a phone on the camera's network (Ethernet) goes through what phones ask for
  bool remote = false;   // the wireless remote's adapter is plugged in, and the remote asks and shoots
  bool raw = false;      // the first shot is a phone's (Wi-Fi), with its raw frames
  std::vector<std::string> faults = {};  // rules as of twin::Faults
  std::vector<Action> actions = {};
};

std::string TextOf(const Plan& plan);
Plan PlanOf(std::string_view text);  // throws std::invalid_argument with a message for a person

}  // namespace campaign

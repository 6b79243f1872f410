// The ways in which each point of the board can fail, read from what the point says of itself.
#pragma once

#include <string>
#include <vector>

namespace campaign {

struct Way {
  std::string point;
  std::string effect;  // as in a rule: "fail=EIO"
};

// Needs a process without a board.
std::vector<Way> AllWays();

}  // namespace campaign

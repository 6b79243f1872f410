// `lumora-shot panorama`.
#pragma once

#include <optional>
#include <string>

#include "tools/panorama/geometry.h"

namespace panorama {

struct Order {
  std::string shot, out;
  std::optional<int> exposure;
  std::optional<int> width;
  View view;
  bool crop = false;
  bool progress = false;  // told a line a camera, for a program that listens
};

// Makes the file and says so. Returns the program's exit status: 0 good; 1 something is wrong with the shot: what is
// left of it was made, or, if nothing can be, why is told; 2 wrong use. Throws shot::CannotRead, shot::CannotWrite.
int Make(const Order& order);

}  // namespace panorama

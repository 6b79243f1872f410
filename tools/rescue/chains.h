// Pictures that lie side by side, and the place of the first of them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/rescue/filing_order.h"
#include "tools/rescue/head.h"

namespace rescue {

// What is known about a shot's pictures before any has a place.
struct Evidence {
  Source source;
  const Head& head;
  const std::vector<Found>& pictures;
  std::vector<Frame> order;
  std::vector<std::optional<int>> claims;  // by the index: the frame, as a position in `order`
  bool endIsKnown = false;                 // the last picture is the last of a finished shot

  int Slots() const { return 2 * static_cast<int>(order.size()); }
};

// Pictures begin to end - 1 are neighbours, and all but the last of them are sound. Picture `begin` is filed as number
// `base` of the shot, counting from 0, the next one as the following number, two to a frame.
struct Chain {
  size_t begin, end;
  int base = -1;   // not known
  int rival = -1;  // another number for which as much speaks
  int votes = 0;
  bool certain = false;
  std::string why{};  // it is not certain

  int Length() const { return static_cast<int>(end - begin); }
  int SlotOf(size_t picture) const { return base + static_cast<int>(picture - begin); }
  // The frame of a picture is the same by both numbers.
  bool Decides(size_t picture) const {
    return rival < 0 || SlotOf(picture) / 2 == (SlotOf(picture) - base + rival) / 2;
  }
  int EndSlot() const { return base + Length(); }
};

// Chains with a place that something certain gives them, and others without one. In the order of the pictures.
std::vector<Chain> FindChains(const Evidence& evidence);

// Whether two pictures can be the two sizes of one frame: of different sizes, and showing the same where both are
// sound.
bool MakeAFrame(const Found& a, const Found& b);

}  // namespace rescue

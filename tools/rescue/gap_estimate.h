// The likeliest place of a chain that nothing certain places.
#pragma once

#include "tools/rescue/chains.h"

namespace rescue {

// What stands before a chain: its own number, and where it begins; the number of the next that is known behind.
struct Between {
  int afterSlot = -1;  // -1: the pictures' beginning
  int64_t afterOffset = 0;
  int beforeSlot = 0;  // the number of places, if nothing is known behind
};

// Gives `chain` a place between two known ones: of those that the pixels leave open, the one that fits the bytes in
// between best; `why` says how far they decide. The chain stays without a place if there is no room for it.
//   known  pictures of certain place, by their number in the shot; -1 where there is none
void Estimate(const Evidence& evidence, const Between& between, const std::vector<int>& known, Chain& chain);

}  // namespace rescue

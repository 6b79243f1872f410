// Which picture of the shot is which: from the order in which they are filed, the index as far as it can be believed,
// the end of a finished shot, and what the pictures show.
//
// Pictures that lie side by side and are sound form a chain, in which the place of one tells all others. A chain's own
// place is certain if it begins where the pictures begin, ends where a finished shot's pictures end, or the index tells
// its pictures' exact bytes, and nothing speaks against it. A damaged picture ends a chain: the boundaries of others
// may have gone with its data. What then has no certain place gets the likeliest one, by the bytes in between and by
// what the same camera shows in its other exposures, and is called doubtful.
#pragma once

#include "tools/rescue/filing_order.h"
#include "tools/rescue/head.h"

namespace rescue {

enum class Certainty { Certain, Doubtful };

struct Placed {
  shot::Place place{};
  size_t picture = 0;  // in the finds
  Certainty certainty = Certainty::Certain;
  std::string why;  // it is doubtful, and how far its pixels decide; empty if it is certain
};

struct Placement {
  std::vector<Placed> placed;    // in the order of the source, each place once
  std::vector<size_t> unplaced;  // pictures for which there is no place
};

// The finds' pictures that have an end; the others are lost.
Placement PlacePictures(Source source, const Head& head, const Finds& finds);

}  // namespace rescue

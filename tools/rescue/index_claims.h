// What is left of the index of a damaged shot.
#pragma once

#include <optional>
#include <vector>

#include "tools/rescue/head.h"

namespace rescue {

// For each picture of the finds the place that the index gives it: the one entry that names exactly its bytes, or, for
// neighbours that all stand elsewhere than they did, the one row of entries with just their sizes. Nothing where there
// is none, or more than one. An entry whose fields are not those of its own number counts for nothing.
std::vector<std::optional<shot::Place>> IndexClaims(Source source, const Head& head, const Finds& finds);

}  // namespace rescue

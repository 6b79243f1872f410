// What is left of the index of a damaged shot.
#pragma once

#include <optional>
#include <vector>

#include "tools/rescue/head.h"

namespace rescue {

// For each picture of the finds the place that the index gives it; nothing where no entry names exactly its bytes, or
// more than one does. An entry whose fields are not those of its own number counts for nothing.
std::vector<std::optional<shot::Place>> IndexClaims(Source source, const Head& head, const Finds& finds);

}  // namespace rescue

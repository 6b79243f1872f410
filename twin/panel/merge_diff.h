// The difference between two JSON values, as a merge patch (RFC 7386): only what is new or other, null for what is
// gone.
#pragma once

#include <nlohmann/json.hpp>

namespace twin::panel {

// An empty object if there is none. Both are objects; a null in `to` would read as "gone" and must not be there.
nlohmann::json MergeDiff(const nlohmann::json& from, const nlohmann::json& to);

}  // namespace twin::panel

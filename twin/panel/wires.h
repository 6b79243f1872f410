// The pins and registers of one device as they are at this moment, for a person who looks into it.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "twin/board.h"

namespace twin::panel {

nlohmann::json WireDevices();  // their names, in the order in which they are shown

// Rows {where, name, value} by a key that sorts; an empty object for a name that is none. Looking changes nothing.
nlohmann::json WiresOf(Board& board, const std::string& device);

}  // namespace twin::panel

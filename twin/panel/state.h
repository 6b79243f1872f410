// The board as pages are shown it: tables that stand, and the state of this moment.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "twin/console/console.h"
#include "twin/panel/shelf.h"
#include "twin/panel/shot_watch.h"

namespace twin::panel {

// What does not change while the program runs: commands, controls, faults, lenses, names. `program` is other for
// each run of the twin.
nlohmann::json Tables(const Board& board, const std::string& program);

// What a person perceives, no register. Looking changes nothing.
nlohmann::json StateOf(const Console& console, const ShotWatch& shot, const Shelf& shelf);

}  // namespace twin::panel

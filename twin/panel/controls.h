// What the page offers for the world's side of the board, as data: each control makes a console command.
#pragma once

#include <nlohmann/json.hpp>

namespace twin::panel {

// A list of groups {title, controls}, and `tab` where that is not the world's. A control has a label and one of these
// forms, in which {} stands for the numbers in their order, and `path` names the value in the state, "light" or
// "held/pitch":
//   set    "tilt {} {}", with numbers [{label, unit, least, most, step, path}]; `powers`: its slider goes by powers of
//   10 on,off two commands, and `path` a boolean press  [{label, command, what}], buttons that do one thing
nlohmann::json Controls();

// Requests that a phone may make: [{label, route}].
nlohmann::json PhoneLinks();

}  // namespace twin::panel

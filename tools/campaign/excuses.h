// What the camera may do by a cause that docs/behaviour.md names.
#pragma once

#include <string>

#include "tools/campaign/plan.h"

namespace campaign {

// The cause, if `find` has one in this run; empty: it has none. `log` is the application's.
std::string CauseOf(const Plan& plan, const std::string& find, const std::string& log);

}  // namespace campaign

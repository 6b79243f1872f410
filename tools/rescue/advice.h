// Whether a rescue would gain anything.
#pragma once

#include <string>

#include "tools/lumora-shot/shot_file.h"

namespace rescue {

// One sentence for who holds a bad shot file, naming the command; empty if a rescue would give no more than the file
// does. Looks at the pictures' marks and not at their data. Throws shot::CannotRead.
std::string AdviceFor(const shot::File& file);

}  // namespace rescue

// Lengths of time as a person writes them: "100ms", "4s", "1.5s", "2min", "250us".
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "twin/kernel/kernel.h"

namespace twin {

// A number, which may have a fraction, and one of ns, us, ms, s, min, h. Nothing if it is not of that form, is
// negative, or is longer than 1000 h.
std::optional<Duration> ReadDuration(std::string_view text);

// The shortest exact form in ns, us, ms or s: "1500ms", "2s".
std::string DurationText(Duration duration);

}  // namespace twin

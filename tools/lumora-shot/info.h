// Tells what is in a shot file.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "tools/lumora-shot/verify.h"

namespace shot {

// A page for a person. `findings` are put under it.
std::string InfoText(const File& file, const std::vector<Finding>& findings);

// The same and more for a program: every word of the record, every section, every entry of the index.
nlohmann::ordered_json InfoJson(const File& file, const std::vector<Finding>& findings);

// A shutter time as a photographer writes it: "1/250 s", "0.5 s".
std::string ShutterText(double seconds);

// "2026-11-24 20:34:56"
std::string DateText(const Record& record);

}  // namespace shot

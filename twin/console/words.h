// One line of a script or of the prompt, taken apart.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "twin/kernel/kernel.h"

namespace twin {

// A line that cannot be carried out as it stands. The message is for the person who wrote it.
struct CommandError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

using Words = std::vector<std::string>;

// Words are separated by blanks; "double quotes" keep blanks, and a backslash in them the next character; # starts a
// comment. Throws CommandError if a quote is left open.
Words SplitLine(std::string_view line);

// `what` names the argument in the message of the CommandError that a wrong word brings.
int64_t NumberFrom(const std::string& word, std::string_view what);   // decimal, may be negative
double FractionFrom(const std::string& word, std::string_view what);  // 0 or more
Duration LengthFrom(const std::string& word, std::string_view what);  // "100ms", "4s"
bool SwitchFrom(const std::string& word, std::string_view what);      // on, off

// The words from `first` on with one blank between them.
std::string Joined(const Words& words, size_t first);

}  // namespace twin

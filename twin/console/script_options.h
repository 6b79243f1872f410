// The options that a script carries in its first line, so that it finds the board that it was written for:
//   options --seed 7 --usb ethernet,serial --pace free
#pragma once

#include <string>
#include <vector>

#include "twin/board.h"

namespace twin {

// The words behind `options` in the script's first line; none if that is another line, or the file cannot be read.
std::vector<std::string> OptionsOfScript(const std::string& path);

// lumora-twin's options for a board that is built as this one is, but for its directories, and runs in free pace.
std::string OptionsFor(const BoardOptions& board);

}  // namespace twin

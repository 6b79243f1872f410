// The files of the page: its own, and three.js as Debian installs it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "twin/panel/web_server.h"

namespace twin::panel {

// "/" is the page itself, "/page/..." its files, "/three/..." the library's. Nothing for any other path, and for what
// is not there.
std::optional<Answer> PageFile(const std::string& path);

// A path's part with its %XX undone.
std::string Unescaped(std::string_view text);

}  // namespace twin::panel

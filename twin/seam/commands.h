// The device's shell commands that the application runs, acting on the board instead of a shell.
#pragma once

#include <optional>
#include <string>

namespace twin {

class Board;

// Runs one command line in a fiber: takes its time, and gives what `system` would (an exit code in bits 15-8). A
// command that the device does not have is a complaint, and 127.
int RunShellCommand(Board& board, const std::string& command);

// What a command prints, for popen. Null for one that the device does not have, which is a complaint too.
std::optional<std::string> ShellCommandOutput(Board& board, const std::string& command);

}  // namespace twin

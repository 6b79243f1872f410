// The device's commands that the application and the device's scripts run, acting on the board instead of a shell.
#pragma once

#include <string>

namespace twin {

class Board;

// Runs one command line in a fiber: takes its time, and gives its exit code. What it prints is added to `output`.
// Words in quotes are one word; relative paths start at /mnt/local. A path to a script runs that script. A command, or
// arguments, that the board does not know are a complaint, and 127.
int RunCommandLine(Board& board, const std::string& line, std::string& output);

// The same as `system` does it: what is printed goes to the log; the exit code stands in bits 15-8 of the result.
int RunShellCommand(Board& board, const std::string& line);

}  // namespace twin

// The device's shell scripts: the boot script and those of the access point. Understood is what they are made of and no
// more: comments, commands, if/else/fi on `[ "$?" != 0 ]`, `[ "$?" = 0 ]`, `[ -f FILE ]` and `[ ! -f FILE ]`, `cd` to
// the working directory, `exit`, and the application's start. Anything else is a complaint, and counts as failed.
#pragma once

#include <functional>
#include <string>

namespace twin {

class Board;

struct ScriptEnd {
  bool found = false;  // the file is there
  int status = 0;      // of the last command, or of `exit`; 127 if there is no such file
};

// Runs the script at `path` in a fiber. What is printed is added to `output`, if it is given as it comes to an end;
// a boot script prints to the log at once.
ScriptEnd RunScript(Board& board, const std::string& path, std::string& output);

// The same for the boot script. `start` is called where the script starts the application, /mnt/local/lumora;
// `background` tells that the script goes on meanwhile. It is called only if that file is there.
ScriptEnd RunBootScript(Board& board, const std::string& path, const std::function<void(bool background)>& start);

}  // namespace twin

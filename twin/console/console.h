// The console: one table of commands for the prompt and for scripts.
#pragma once

#include <csignal>
#include <functional>
#include <ostream>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "twin/board.h"
#include "twin/console/watch.h"
#include "twin/console/words.h"

namespace twin {

// An `expect` that did not hold, or a `wait` that waited in vain.
struct ExpectationFailed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Console;

struct Command {
  std::string_view name;
  std::string_view usage;  // arguments: "LENGTH", "on|off"
  std::string_view help;   // one line
  size_t least, most;      // number of arguments
  void (*run)(Console& console, const Words& arguments);
  bool waits = false;  // returns only when something has happened on the board
};

class Console {
 public:
  // `stop` is set by a signal: every wait then ends at once. Board and stream outlive the console.
  // Also writes what the wireless remote is shown to the stream, from here on.
  Console(Board& board, std::ostream& out, const volatile std::sig_atomic_t& stop);
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  // Carries out one line. Throws CommandError, or ExpectationFailed.
  void Execute(std::string_view line);

  // A script, line by line, until its end, `quit`, the first error or `stop`. What went wrong is written to the stream
  // as "file:line: what". Returns 0 well, 1 an expectation failed, 2 a line or the file was not understood.
  int RunScript(const std::string& path);

  bool Quitting() const { return quitting_ || stop_ != 0; }
  // By `pace pause`: whoever lets the board run between commands does not.
  bool Paused() const { return paused_; }

  // The 19 bytes of the remote's last display line; empty before the first.
  const std::string& RemoteLine() const { return remoteLine_; }

  // All commands, in the order of the help.
  static std::vector<const Command*> Commands();
  static const Command* Find(std::string_view name);  // null: there is none
  // Whether the line is a command that waits for something. Throws CommandError if a quote is left open.
  static bool Waits(std::string_view line);

  // --- for commands ---
  Board& board;
  std::ostream& out;
  Watch watch;
  void Quit() { quitting_ = true; }
  void Help(const Words& arguments);
  // Lets the board run until `done`. Throws ExpectationFailed, with `what` in the message, if `limit` passes first, or
  // the application ends and `endToo` is not set.
  void WaitUntil(const std::function<bool()>& done, Duration limit, std::string_view what, bool endToo = false);
  void WaitFor(Duration length);
  // Calls `look` every millisecond of board time until it returns true.
  void Follow(std::function<bool()> look);
  void SetPaused(bool paused) { paused_ = paused; }
  // Whether the log is written to the stream as it comes.
  bool echoLog = false;

 private:
  const volatile std::sig_atomic_t& stop_;
  bool quitting_ = false;
  bool paused_ = false;
  std::string remoteLine_;
  void LookAtFollowed();
  std::vector<std::function<bool()>> followed_;
  Kernel::EventId nextLook_ = 0;
};

// The parts of the table, each in its own source.
std::span<const Command> WorldCommands();     // what a person and nature do
std::span<const Command> AttitudeCommands();  // how the camera is held, and where
std::span<const Command> RemoteCommands();    // the wireless remote
std::span<const Command> PhoneCommands();     // a client in the network
std::span<const Command> TimeCommands();      // waiting, power, the session
std::span<const Command> LookingCommands();   // what can be seen, and expected

}  // namespace twin

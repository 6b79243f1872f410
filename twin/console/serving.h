// The camera at real ports of this machine, and what a person is told about them.
#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <set>
#include <string>

#include "twin/board.h"
#include "twin/console/watch.h"

namespace twin {

class Serving {
 public:
  // The control port is `port` at `address`, the bulk port the next one. They open when the camera's servers stand on
  // an interface that is up; addresses and commands to try are then written to `out`, after a call of `beforeOutput`.
  // Throws std::runtime_error, with a text for a person, if a port is taken or the address is none of this machine's.
  // The board outlives this.
  Serving(Board& board, std::string address, uint16_t port, std::ostream& out, std::function<void()> beforeOutput);
  ~Serving() { board_.network.OnHostListener({}); }
  Serving(const Serving&) = delete;
  Serving& operator=(const Serving&) = delete;

  // Not empty: a port that was free at first could not be opened in the end.
  const std::string& Failure() const { return failure_; }

 private:
  void Changed(uint16_t hostPort, bool open, const std::string& error);
  void Tell();

  Board& board_;
  const std::string address_;
  const uint16_t port_;
  std::ostream& out_;
  const std::function<void()> beforeOutput_;
  std::set<uint16_t> open_;
  bool told_ = false;
  std::string failure_;
};

// Switches the board off as a person does it, by a long press when it has started and no shot is running, so that the
// application puts its disk in order. Real pace takes some seconds. `hurry` ends the waiting. Returns whether the board
// is off.
bool SwitchOff(Board& board, const Watch& watch, const std::function<bool()>& hurry);

}  // namespace twin

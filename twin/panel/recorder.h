// What was done to a board since it was built, as a script that does it again at the same instants of board time.
#pragma once

#include <string>

#include "twin/board.h"

namespace twin::panel {

class Recorder {
 public:
  // `options`: those of lumora-twin that a board like this one is built with.
  Recorder(const Board& board, const std::string& options);

  // `line` is about to be carried out. All that was due up to now has happened (Run with no length).
  void Note(const std::string& line);
  // Commands that say how time passes, or that look: nothing happens on the board by them.
  static bool LeavesBoardAlone(const std::string& line);

  size_t Actions() const { return actions_; }
  // Up to the present instant.
  std::string Script() const;

 private:
  std::string WaitUntilNow() const;

  const Board& board_;
  std::string text_;
  Time written_{0};
  size_t actions_ = 0;
};

}  // namespace twin::panel

// What the board shows, in one line.
#pragma once

#include <cstdio>
#include <string>

#include "twin/board.h"
#include "twin/console/watch.h"

namespace twin {

// "  12.3 s  LED cyan  buzzer -  countdown  frames 47 of 94  disk 57.2 GB free, 3 shots"
std::string StatusText(const Board& board, const Watch& watch);

// Keeps that line up to date on a stream: rewritten in place on a terminal, else a new line whenever something other
// than the time has changed, at most one a second of board time and always the last one.
// What the board is doing, in a few words: "starting", "counting down", "frames filed 12 of 94".
std::string StageText(const Board& board, const Watch& watch);

class StatusDisplay {
 public:
  StatusDisplay(Board& board, const Watch& watch, FILE* stream, bool terminal);
  ~StatusDisplay();  // leaves the last line standing
  StatusDisplay(const StatusDisplay&) = delete;
  StatusDisplay& operator=(const StatusDisplay&) = delete;

  void Clear();  // makes room for other output on a terminal; the next Update shows the line again

 private:
  void Tick();
  void Update();

  Board& board_;
  const Watch& watch_;
  FILE* stream_;
  const bool terminal_;
  std::string shown_;
  Kernel::EventId next_ = 0;
};

}  // namespace twin

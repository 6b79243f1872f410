// What somebody who sits beside the board notices, from power-on: whether it has come up, is busy, counts down, files
// frames. Derived from the panel, the video input and the disk alone.
#pragma once

#include <cstdint>
#include <optional>

#include "twin/board.h"

namespace twin {

class Watch {
 public:
  explicit Watch(Board& board);

  // Ready: it has sounded its two pulses since power-on. Idle: that, no shot, and nothing has moved for kQuiet.
  static constexpr Duration kQuiet = 1s;
  bool Ready() const;
  bool Idle() const;

  // Pulses of the present shot's countdown. They come every second, and every 200 ms in the last two seconds.
  enum class Countdown { None, Seconds, LastTwoSeconds };
  Countdown CountingDown() const;

  // How far the replay of the present or last shot has come: pictures that the first encoder has taken. A replay that
  // starts anew counts anew.
  struct Replay {
    uint64_t frames = 0;
    uint64_t total = 0;
    uint64_t restarts = 0;  // so far in this shot
  };
  Replay Progress() const;

 private:
  void PanelChanged();
  Time PoweredAt() const { return board_.Now() - board_.Uptime(); }

  Board& board_;
  Time poweredAt_{-1};
  Time lastChange_{0}, soundStart_{0};
  bool lit_ = false, sounding_ = false, shot_ = false;
  uint64_t soundings_ = 0;  // since power-on
  Time lastPulse_{0};       // of LED 0 within the shot
  Duration pulseDistance_{0};
  uint64_t pulses_ = 0;  // within the shot
  size_t deliveredBefore_ = 0;
};

}  // namespace twin

// In how many different orders the threads have met over a shot: what the requester, the control thread and the snap
// thread stored in needCapture, needSave, remoteCapCmd, rawLoadInfo and needQuit, as the board's kernel let them run.
//
// A handshake begins with the first store that takes one of the five from rest, and ends when all are at rest again.
// Its order is the sequence of its stores: which thread, which field, which value, and which other thread ran next. A
// store is seen when its thread gives way, so those that a thread makes between two doors are one. What a thread has
// read is not seen, only what it did then. A handshake that a loss of power cuts off is none.
#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "twin/board.h"

namespace campaign {

struct Handshake {
  std::string kind;  // who asked: "button", "phone", "remote"; "switch-off" alone; with what came on top
  size_t order = 0;  // a hash of the sequence
};

class Handshakes {
 public:
  explicit Handshakes(twin::Board& board);  // listens to the board's threads
  const std::vector<Handshake>& Seen() const { return seen_; }

 private:
  using Fields = std::array<unsigned, 5>;
  Fields Now() const;
  bool AtRest(const Fields& fields) const;
  void Turn(const twin::Fiber* fiber);
  void Close();

  twin::Board& board_;
  const void* record_ = nullptr;  // the application's, by what its threads are given
  twin::Time start_{0};           // of the life that it belongs to
  std::map<const twin::Fiber*, char> roles_;
  Fields fields_{};
  std::string sequence_, kind_;  // of the handshake that is under way
  char last_ = 0;                // who has made its last store, until another runs
  bool raw_ = false, quit_ = false, shot_ = false;
  std::vector<Handshake> seen_;
};

}  // namespace campaign

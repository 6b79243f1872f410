// All that is said on the board, in one order: by the application, by whoever acts on it, and what the console answers.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>

#include "twin/board.h"

namespace twin::panel {

class Journal {
 public:
  enum class Kind { Application, Action, Answer, Refusal, Complaint };
  struct Entry {
    uint64_t number;  // from 1, without gaps
    Time at;
    Kind kind;
    std::string who;  // the application's thread; else empty
    std::string text;
  };
  static constexpr size_t kKept = 4000;

  // What is written to Out() also goes to `copy`. Both outlive it.
  Journal(const Board& board, std::ostream& copy);

  void Add(Kind kind, std::string text, std::string who = {});
  // A stream whose lines become answers.
  std::ostream& Out() { return out_; }
  // The newest kKept entries.
  const std::deque<Entry>& Entries() const { return entries_; }
  uint64_t Last() const { return last_; }

 private:
  class Lines final : public std::streambuf {
   public:
    Lines(Journal& journal, std::ostream& copy) : journal_(journal), copy_(copy) {}

   private:
    int_type overflow(int_type c) override;
    int sync() override;
    Journal& journal_;
    std::ostream& copy_;
    std::string line_;
  };

  const Board& board_;
  std::deque<Entry> entries_;
  uint64_t last_ = 0;
  Lines lines_;
  std::ostream out_;
};

const char* NameOf(Journal::Kind kind);  // "application", "action", ...

}  // namespace twin::panel

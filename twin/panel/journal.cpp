#include "twin/panel/journal.h"

#include <utility>

namespace twin::panel {

Journal::Journal(const Board& board, std::ostream& copy) : board_(board), lines_(*this, copy), out_(&lines_) {}

void Journal::Add(Kind kind, std::string text, std::string who) {
  entries_.push_back({++last_, board_.Now(), kind, std::move(who), std::move(text)});
  if (entries_.size() > kKept) entries_.pop_front();
}

Journal::Lines::int_type Journal::Lines::overflow(int_type c) {
  if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
  const char letter = traits_type::to_char_type(c);
  copy_.put(letter);
  if (letter == '\n') {
    journal_.Add(Kind::Answer, std::exchange(line_, {}));
  } else if (letter != '\r') {
    line_ += letter;
  }
  return c;
}

int Journal::Lines::sync() {
  copy_.flush();
  return 0;
}

const char* NameOf(Journal::Kind kind) {
  switch (kind) {
    case Journal::Kind::Application: return "application";
    case Journal::Kind::Action: return "action";
    case Journal::Kind::Answer: return "answer";
    case Journal::Kind::Refusal: return "refusal";
    case Journal::Kind::Complaint: return "complaint";
  }
  return "";
}

}  // namespace twin::panel

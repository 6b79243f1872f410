#include "twin/panel/recorder.h"

#include <algorithm>
#include <array>

#include "twin/console/words.h"
#include "twin/kernel/duration_text.h"

namespace twin::panel {

Recorder::Recorder(const Board& board, const std::string& options)
    : board_(board), text_("options " + options + "\n# lumora-twin --script THIS-FILE --root AN-EMPTY-DIRECTORY\n") {}

bool Recorder::LeavesBoardAlone(const std::string& line) {
  constexpr std::array<std::string_view, 10> kSuch = {"pace", "step",     "quit",  "options", "help",
                                                      "log",  "attitude", "world", "status",  "faults"};
  const Words words = SplitLine(line);
  return words.empty() || std::ranges::find(kSuch, words[0]) != kSuch.end();
}

// Also where no time has passed: an action's own events at its instant come before the next action.
std::string Recorder::WaitUntilNow() const { return "wait " + DurationText(board_.Now() - written_) + '\n'; }

void Recorder::Note(const std::string& line) {
  text_ += WaitUntilNow() + line + '\n';
  written_ = board_.Now();
  actions_++;
}

std::string Recorder::Script() const { return text_ + WaitUntilNow(); }

}  // namespace twin::panel

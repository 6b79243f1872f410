#include "twin/console/prompt.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <utility>

namespace twin {

namespace {

constexpr Duration kSlice = 1h;

// Standard input by lines, without ever waiting longer than told.
class Input {
 public:
  // Whether there is something to read, or the end.
  bool Waiting(Duration limit) const {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    const timespec time{limit.count() / 1'000'000'000, limit.count() % 1'000'000'000};
    return ppoll(&input, 1, &time, nullptr) > 0;
  }
  // Reads what is there. False at the end, or when a signal came.
  bool Fill() {
    char data[4096];
    const ssize_t size = read(STDIN_FILENO, data, sizeof data);
    if (size <= 0) return false;
    buffer_.append(data, static_cast<size_t>(size));
    return true;
  }
  std::optional<std::string> NextLine() {
    const size_t end = buffer_.find('\n');
    if (end == std::string::npos) return std::nullopt;
    std::string line = buffer_.substr(0, end);
    buffer_.erase(0, end + 1);
    return line;
  }
  // What the input ended with, without a line feed.
  std::string Rest() { return std::exchange(buffer_, {}); }

 private:
  std::string buffer_;
};

void ExecuteAndTell(Console& console, const std::string& line) {
  try {
    console.Execute(line);
  } catch (const std::runtime_error& error) {
    console.out << error.what() << '\n';
  }
}

}  // namespace

void RunPrompt(Console& console, Pace pace, StatusDisplay* status) {
  Input input;
  bool atPrompt = false, typed = false;
  const bool terminal = isatty(STDIN_FILENO) != 0;
  if (pace == Pace::Real) {
    console.board.kernel.SetIdle([&](Duration idle) {
      if (!atPrompt) {
        poll(nullptr, 0, static_cast<int>(idle / 1ms) + 1);
      } else if (input.Waiting(idle)) {
        typed = true;
      }
    });
  }
  while (!console.Quitting()) {
    if (terminal && !status) console.out << "> " << std::flush;
    typed = pace == Pace::Free;
    atPrompt = true;
    while (!typed && !console.Quitting()) console.board.RunUntil([&] { return typed || console.Quitting(); }, kSlice);
    atPrompt = false;
    if (console.Quitting()) break;
    const bool more = input.Fill();
    if (status) status->Clear();
    while (!console.Quitting()) {
      const auto line = input.NextLine();
      if (!line) break;
      ExecuteAndTell(console, *line);
    }
    console.out << std::flush;
    if (!more) {
      ExecuteAndTell(console, input.Rest());
      break;
    }
  }
  console.board.kernel.SetIdle(nullptr);
}

}  // namespace twin

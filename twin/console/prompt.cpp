#include "twin/console/prompt.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <utility>

namespace twin {

namespace {

constexpr Duration kSlice = 1h;

// Standard input by lines.
class Input {
 public:
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

void RunPrompt(Console& console, StatusDisplay* status) {
  Input input;
  bool typed = false;
  const bool terminal = isatty(STDIN_FILENO) != 0;
  HostPoll& host = console.board.kernel.Host();
  while (!console.Quitting()) {
    if (terminal && !status) console.out << "> " << std::flush;
    const bool stands = console.board.kernel.PresentPace() == Pace::Free || console.Paused();
    typed = stands;
    if (!stands) host.Add(STDIN_FILENO, POLLIN, [&] { typed = true; });
    while (!typed && !console.Quitting()) console.board.RunUntil([&] { return typed || console.Quitting(); }, kSlice);
    host.Remove(STDIN_FILENO);
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
}

}  // namespace twin

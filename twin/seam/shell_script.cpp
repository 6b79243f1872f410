#include "twin/seam/shell_script.h"

#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string_view>
#include <vector>

#include "twin/board.h"
#include "twin/seam/commands.h"

extern "C" int twin_stat(const char* path, struct stat* status);

namespace twin {

namespace {

constexpr std::string_view kWorkingDirectory = "/mnt/local";
constexpr const char* kApplication = "/mnt/local/lumora";
constexpr Duration kShellStart = 20ms;

std::string Trimmed(const std::string& line) {
  const size_t first = line.find_first_not_of(" \t\r");
  return first == std::string::npos ? "" : line.substr(first, line.find_last_not_of(" \t\r") - first + 1);
}

bool IsFile(const std::string& path) {
  struct stat status {};
  return twin_stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

class Interpreter {
 public:
  using Print = std::function<void(const std::string&)>;
  Interpreter(Board& board, Print print, std::function<void(bool)> start)
      : board_(board), print_(std::move(print)), start_(std::move(start)) {}

  ScriptEnd Run(const std::string& path) {
    const std::string host = board_.paths.Resolve(path).host.string();
    std::ifstream file(host, std::ios::binary);
    if (!file) return {.found = false, .status = 127};
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    board_.kernel.Spend(kShellStart);
    std::istringstream lines(text);
    for (std::string line; !ended_ && std::getline(lines, line);) Line(Trimmed(line));
    if (!ended_ && !branches_.empty()) Complain("no end of an if in " + path);
    return {.found = true, .status = status_};
  }

 private:
  void Line(const std::string& line) {
    if (line.empty() || line.front() == '#') return;
    if (line.starts_with("if ")) return If(line);
    if (line == "else" || line == "fi") return EndBranch(line);
    if (Skipping()) return;
    if (line.starts_with("cd ")) {
      if (line.substr(3) != kWorkingDirectory) return Complain(line);
      status_ = 0;
    } else if (line.starts_with("exit ")) {
      status_ = std::atoi(line.c_str() + 5);
      ended_ = true;
    } else if (!StartsApplication(line)) {
      std::string output;
      status_ = RunCommandLine(board_, line, output);
      print_(output);
    }
  }

  void If(const std::string& line) {
    constexpr std::string_view head = "if [ ", tail = " ]; then";
    const bool whole = line.starts_with(head) && line.ends_with(tail) && line.size() > head.size() + tail.size();
    std::optional<bool> holds;
    if (Skipping()) {
      holds = false;
    } else if (whole) {
      holds = Condition(line.substr(head.size(), line.size() - head.size() - tail.size()));
    }
    if (!holds) Complain(line);
    if (!Skipping()) status_ = 0;
    branches_.push_back(holds.value_or(false) ? Branch::Taken : Skipping() ? Branch::Unreachable : Branch::Open);
  }

  // None for one that the board does not know.
  std::optional<bool> Condition(const std::string& text) {
    if (text == "\"$?\" != 0") return status_ != 0;
    if (text == "\"$?\" = 0") return status_ == 0;
    if (text.starts_with("-f ")) return IsFile(text.substr(3));
    if (text.starts_with("! -f ")) return !IsFile(text.substr(5));
    return {};
  }

  void EndBranch(const std::string& word) {
    if (branches_.empty()) return Complain(word);
    if (word == "fi") {
      branches_.pop_back();
    } else {
      Branch& branch = branches_.back();
      branch = branch == Branch::Open ? Branch::Taken : Branch::Unreachable;
    }
  }

  bool StartsApplication(const std::string& line) {
    const bool background = line.ends_with('&');
    const std::string command = Trimmed(background ? line.substr(0, line.size() - 1) : line);
    if (!start_ || board_.paths.Resolve(command).board != kApplication) return false;
    status_ = IsFile(kApplication) ? 0 : 127;
    if (status_ == 0) {
      start_(background);
    } else {
      print_("sh: " + command + ": not found\n");
    }
    return true;
  }

  bool Skipping() const { return !branches_.empty() && branches_.back() != Branch::Taken; }
  void Complain(const std::string& what) {
    board_.Complain("script line not understood: " + what);
    status_ = 2;
  }

  enum class Branch { Taken, Open, Unreachable };  // open: not taken, but an else would be
  Board& board_;
  Print print_;
  std::function<void(bool)> start_;
  std::vector<Branch> branches_;
  int status_ = 0;
  bool ended_ = false;
};

}  // namespace

ScriptEnd RunScript(Board& board, const std::string& path, std::string& output) {
  return Interpreter(
             board, [&](const std::string& text) { output += text; }, nullptr)
      .Run(path);
}

ScriptEnd RunBootScript(Board& board, const std::string& path, const std::function<void(bool)>& start) {
  return Interpreter(
             board, [&](const std::string& text) { board.WriteLog(text.data(), text.size()); }, start)
      .Run(path);
}

}  // namespace twin

#include "twin/console/console.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iomanip>

#include "twin/kernel/duration_text.h"

namespace twin {

namespace {

std::array<std::span<const Command>, 6> Table() {
  return {WorldCommands(), AttitudeCommands(), RemoteCommands(), PhoneCommands(), TimeCommands(), LookingCommands()};
}

std::string UsageOf(const Command& command) {
  return std::string(command.name) + (command.usage.empty() ? "" : " ") + std::string(command.usage);
}

}  // namespace

Console::Console(Board& b, std::ostream& stream, const volatile std::sig_atomic_t& stop)
    : board(b), out(stream), watch(b), stop_(stop) {
  // The remote's screen: the text of a line, then free disk and battery in percent.
  board.serial.OnLine([this](const std::string& line) {
    remoteLine_ = line;
    out << "remote of camera " << line[1] << ": [" << line.substr(2, 11) << "] disk " << line.substr(13, 2)
        << "%, battery " << line.substr(16, 2) << "%" << std::endl;
  });
}

Console::~Console() {
  board.serial.OnLine(nullptr);
  board.kernel.Cancel(nextLook_);
}

std::vector<const Command*> Console::Commands() {
  std::vector<const Command*> commands;
  for (const auto part : Table()) {
    for (const Command& command : part) commands.push_back(&command);
  }
  return commands;
}

const Command* Console::Find(std::string_view name) {
  const auto commands = Commands();
  const auto found = std::ranges::find_if(commands, [&](const Command* command) { return command->name == name; });
  return found == commands.end() ? nullptr : *found;
}

bool Console::Waits(std::string_view line) {
  const Words words = SplitLine(line);
  if (words.empty()) return false;
  const Command* command = Find(words[0]);
  return command && (command->waits || (words.size() > 1 && words[0] == "power" && words[1] == "off"));
}

void Console::Execute(std::string_view line) {
  Words words = SplitLine(line);
  if (words.empty()) return;
  const Command* command = Find(words[0]);
  if (!command) throw CommandError("there is no command \"" + words[0] + "\"; try help");
  words.erase(words.begin());
  if (words.size() < command->least || words.size() > command->most) {
    throw CommandError("usage: " + UsageOf(*command));
  }
  command->run(*this, words);
}

int Console::RunScript(const std::string& path) {
  std::ifstream script(path);
  if (!script) {
    out << path << ": cannot be read\n";
    return 2;
  }
  std::string line;
  for (int number = 1; !Quitting() && std::getline(script, line); number++) {
    const auto report = [&](const char* what) { out << path << ':' << number << ": " << what << std::endl; };
    try {
      Execute(line);
    } catch (const ExpectationFailed& failed) {
      report(failed.what());
      return 1;
    } catch (const CommandError& wrong) {
      report(wrong.what());
      return 2;
    }
  }
  return 0;
}

void Console::Help(const Words& arguments) {
  if (!arguments.empty()) {
    const Command* command = Find(arguments[0]);
    if (!command) throw CommandError("there is no command \"" + arguments[0] + '"');
    out << UsageOf(*command) << "\n  " << command->help << '\n';
    return;
  }
  for (const Command* command : Commands()) {
    const std::string usage = UsageOf(*command);
    out << "  " << std::left << std::setw(34) << usage << (usage.size() >= 34 ? "\n" + std::string(36, ' ') : "")
        << command->help << '\n';
  }
  out << "Times are written 100ms, 4s, 1.5s, 2min. # starts a comment.\n";
}

void Console::WaitUntil(const std::function<bool()>& done, Duration limit, std::string_view what, bool endToo) {
  const bool running = board.Powered() && !board.Exited();
  const auto ended = [&] { return running && !endToo && (board.Exited() || !board.Powered()); };
  board.RunUntil([&] { return stop_ != 0 || done() || ended(); }, limit);
  if (stop_ != 0 || done()) return;
  const std::string goal = "waited for " + std::string(what);
  if (!board.Powered()) throw ExpectationFailed(goal + ", but the power is off");
  if (board.Exited()) {
    throw ExpectationFailed(goal + ", but the application ended with " + std::to_string(board.ExitStatus()));
  }
  throw ExpectationFailed(goal + " in vain for " + DurationText(limit));
}

void Console::WaitFor(Duration length) {
  board.RunUntil([this] { return stop_ != 0; }, length);
}

void Console::Follow(std::function<bool()> look) {
  followed_.push_back(std::move(look));
  if (followed_.size() == 1) nextLook_ = board.kernel.After(1ms, [this] { LookAtFollowed(); });
}

void Console::LookAtFollowed() {
  std::erase_if(followed_, [](const std::function<bool()>& look) { return look(); });
  if (!followed_.empty()) nextLook_ = board.kernel.After(1ms, [this] { LookAtFollowed(); });
}

}  // namespace twin

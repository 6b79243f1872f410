// Commands that look: status, log, faults, and the expectations of scripts.
#include <array>
#include <cstdio>
#include <iomanip>

#include "twin/console/console.h"
#include "twin/console/status_display.h"
#include "twin/kernel/duration_text.h"

namespace twin {

namespace {

void Faults_(Console& console, const Words&) {
  for (const FaultPoint* point : console.board.faults.Points()) {
    console.out << "  " << std::left << std::setw(20) << point->Name() << point->What() << '\n';
  }
  for (const Faults::Word& word : Faults::TextWords()) {
    const std::string form = std::string(word.word) + (word.value.empty() ? "" : "=") + std::string(word.value);
    console.out << (word.effect ? "  effect     " : "  condition  ") << std::left << std::setw(18) << form << word.what
                << '\n';
  }
  const auto rules = console.board.faults.Describe();
  if (!rules.empty()) console.out << "now:\n";
  for (const std::string& rule : rules) console.out << "  " << rule << '\n';
}

void Log(Console& console, const Words& arguments) {
  if (!arguments.empty() && (arguments[0] == "on" || arguments[0] == "off")) {
    console.echoLog = arguments[0] == "on";
    return;
  }
  const int64_t lines = arguments.empty() ? 20 : NumberFrom(arguments[0], "log");
  const std::string& log = console.board.Log();
  size_t start = log.size();
  for (int64_t i = 0; i <= lines && start > 0; i++) {
    start = log.rfind('\n', start - 1);
    if (start == std::string::npos) start = 0;
  }
  console.out << (start == 0 ? log : log.substr(start + 1));
}

void Memory(Console& console, const Words&) {
  const Heap& heap = console.board.heap;
  console.out << "heap " << heap.Bytes() << " bytes, at most " << heap.Peak() << '\n';
  for (const Kernel::StackDepth& stack : console.board.kernel.StackDepths()) {
    console.out << "stack of " << stack.fiber << " at most " << stack.bytes << '\n';
  }
}

// --- expectations ---

std::string Quoted(const std::string& text) { return '"' + text + '"'; }

[[noreturn]] void Fail(const std::string& expected, const std::string& found) {
  throw ExpectationFailed("expected " + expected + ", found " + found);
}

std::string Listing(const std::vector<Pulse>& pulses) {
  std::string text = std::to_string(pulses.size());
  const char* separator = " (";
  for (const Pulse& pulse : pulses) {
    char line[80];
    snprintf(line, sizeof line, "%s%.0f ms at %.3f s", separator,
             std::chrono::duration<double>(pulse.length).count() * 1e3,
             std::chrono::duration<double>(pulse.start).count());
    text += line;
    separator = ", ";
  }
  return pulses.empty() ? text : text + ')';
}

// N pulses, each of LENGTH to within a tenth of it.
void ExpectPulses(const Words& arguments, std::string_view name, const std::vector<Pulse>& pulses) {
  if (arguments.size() < 2) throw CommandError("usage: expect " + std::string(name) + " N [LENGTH]");
  const int64_t count = NumberFrom(arguments[1], "the number of pulses");
  std::string expected = std::to_string(count) + ' ' + std::string(name) + " pulses";
  bool right = pulses.size() == static_cast<uint64_t>(count);
  if (arguments.size() > 2) {
    const Duration length = LengthFrom(arguments[2], "the length of a pulse");
    expected += " of " + DurationText(length);
    for (const Pulse& pulse : pulses) right = right && std::chrono::abs(pulse.length - length) <= length / 10;
  }
  if (!right) Fail(expected, Listing(pulses));
}

void ExpectLog(const Board& board, const Words& arguments) {
  if (arguments.size() < 2) throw CommandError("usage: expect log [N] TEXT");
  const bool counted = arguments.size() > 2 && arguments[1].find_first_not_of("0123456789") == std::string::npos;
  const std::string text = Joined(arguments, counted ? 2 : 1);
  const size_t found = board.LogCount(text);
  if (counted && found != static_cast<size_t>(NumberFrom(arguments[1], "the number"))) {
    Fail(Quoted(text) + ' ' + arguments[1] + " times in the log", std::to_string(found));
  }
  if (found == 0 && !counted) Fail(Quoted(text) + " in the log", "no such text");
}

void ExpectNumber(const Words& arguments, std::string_view what, uint64_t found) {
  if (arguments.size() != 2) throw CommandError("usage: expect " + std::string(what) + " N");
  if (NumberFrom(arguments[1], what) != static_cast<int64_t>(found)) {
    Fail(arguments[1] + ' ' + std::string(what), std::to_string(found));
  }
}

void ExpectWord(const Words& arguments, const std::string& found) {
  if (arguments.size() != 2) throw CommandError("usage: expect " + arguments[0] + " WORD");
  if (arguments[1] != found) Fail(arguments[0] + ' ' + arguments[1], found);
}

void ExpectDisk(const UsbDisk& disk, const Words& arguments) {
  const std::string_view kinds = "free, above, below, mounted, unmounted";
  if (arguments.size() == 2 && (arguments[1] == "mounted" || arguments[1] == "unmounted")) {
    return ExpectWord(arguments, disk.Mounted() ? "mounted" : "unmounted");
  }
  if (arguments.size() != 3) throw CommandError("expect disk wants one of " + std::string(kinds));
  const auto kbs = static_cast<uint64_t>(NumberFrom(arguments[2], "the free space"));
  const bool right = arguments[1] == "above"   ? disk.FreeKBs() > kbs
                     : arguments[1] == "below" ? disk.FreeKBs() < kbs
                     : arguments[1] == "free"  ? disk.FreeKBs() == kbs
                                               : throw CommandError("expect disk wants one of " + std::string(kinds));
  if (!right) Fail("disk " + arguments[1] + ' ' + arguments[2] + " KB free", std::to_string(disk.FreeKBs()));
}

void Expect(Console& console, const Words& arguments) {
  Board& board = console.board;
  const std::string& what = arguments[0];
  if (what == "led") return ExpectPulses(arguments, "led", board.panel.LedPulses());
  if (what == "buzzer") return ExpectPulses(arguments, "buzzer", board.panel.BuzzerPulses());
  if (what == "shots") return ExpectNumber(arguments, "shots", board.disk.Shots().size());
  if (what == "fired") return ExpectNumber(arguments, "fired", board.faults.Fired());
  if (what == "log") return ExpectLog(board, arguments);
  if (what == "colour") return ExpectWord(arguments, std::string(board.panel.LampColour()));
  if (what == "power") return ExpectWord(arguments, board.Powered() ? "on" : "off");
  if (what == "running") return ExpectWord(arguments, board.Powered() && !board.Exited() ? "yes" : "no");
  if (what == "disk") return ExpectDisk(board.disk, arguments);
  if (what == "complaints") return ExpectNumber(arguments, "complaints", board.Complaints().size());
  throw CommandError("expect knows led, buzzer, shots, fired, log, colour, power, running, disk, complaints, not \"" +
                     what + '"');
}

constexpr std::array<Command, 6> kCommands = {{
    {"status", "", "what the board shows", 0, 0,
     [](Console& c, const Words&) { c.out << StatusText(c.board, c.watch) << '\n'; }},
    {"log", "[N|on|off]", "the last N lines of the log, 20 if not said; or each line as it comes", 0, 1, Log},
    {"faults", "", "what can break, how, and what is to break now", 0, 0, Faults_},
    {"memory", "", "what the application's heap and its threads' stacks take and took", 0, 0, Memory},
    {"listen", "", "count LED and buzzer pulses anew", 0, 0,
     [](Console& c, const Words&) { c.board.panel.ForgetPulses(); }},
    {"expect",
     "led|buzzer N [LENGTH] | shots|fired|complaints N | log [N] TEXT | colour NAME | power on|off | running yes|no | "
     "disk mounted|unmounted | disk free|above|below KB",
     "end a script unless this is so; pulses count since listen or power on", 1, 20, Expect},
}};

}  // namespace

std::span<const Command> LookingCommands() { return kCommands; }

}  // namespace twin

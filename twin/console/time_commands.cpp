// Commands that let time pass, move the power, and steer the session.
#include <array>

#include "twin/console/console.h"

namespace twin {

namespace {

constexpr Duration kReadyLimit = 2min, kShotStartLimit = 1min, kShotLimit = 10min;

void Wait(Console& console, const Words& arguments) {
  Board& board = console.board;
  const std::string& what = arguments[0];
  const auto limit = [&](Duration usual) {
    return arguments.size() > 1 ? LengthFrom(arguments[1], "the limit") : usual;
  };
  if (what == "shot") {
    console.WaitUntil([&] { return board.panel.ShotRunning(); }, limit(kShotStartLimit), "a shot to begin");
    console.WaitUntil([&] { return !board.panel.ShotRunning(); }, limit(kShotLimit), "the shot to end");
  } else if (what == "idle") {
    console.WaitUntil([&] { return console.watch.Idle(); }, limit(kReadyLimit), "the board to be idle");
  } else if (what == "off") {
    console.WaitUntil([&] { return !board.Powered(); }, limit(kReadyLimit), "the board to switch itself off", true);
  } else if (what == "log") {
    if (arguments.size() < 2) throw CommandError("usage: wait log TEXT");
    const std::string text = Joined(arguments, 1);
    const size_t before = board.LogCount(text);
    console.WaitUntil([&] { return board.LogCount(text) > before; }, kShotLimit, "\"" + text + "\" in the log");
  } else {
    if (arguments.size() > 1) throw CommandError("usage: wait LENGTH");
    console.WaitFor(LengthFrom(what, "wait"));
  }
}

void Power(Console& console, const Words& arguments) {
  Board& board = console.board;
  if (arguments[0] == "on") {
    if (!board.Powered()) board.panel.ForgetPulses();
    board.PowerOn();
  } else if (arguments[0] == "cut") {
    board.PowerOff();
  } else if (arguments[0] == "off") {  // as a person does it
    console.WaitUntil([&] { return console.watch.Idle(); }, kReadyLimit, "the board to be idle");
    board.button.Press(4s);
    console.WaitUntil([&] { return !board.Powered(); }, kReadyLimit, "the board to switch itself off", true);
  } else {
    throw CommandError("power wants on, off or cut, not \"" + arguments[0] + '"');
  }
}

constexpr std::array<Command, 4> kCommands = {{
    {"wait", "LENGTH | idle|shot|off [LIMIT] | log TEXT",
     "let time pass; until the board is idle; until a shot has begun and ended; until it is off; until a new log line",
     1, 20, Wait},
    {"power", "on|off|cut", "start the board; switch it off by a long press and wait; cut the supply", 1, 1, Power},
    {"help", "[COMMAND]", "this list, or one line of it", 0, 1,
     [](Console& console, const Words& arguments) { console.Help(arguments); }},
    {"quit", "", "end", 0, 0, [](Console& console, const Words&) { console.Quit(); }},
}};

}  // namespace

std::span<const Command> TimeCommands() { return kCommands; }

}  // namespace twin

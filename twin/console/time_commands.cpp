// Commands that let time pass, move the power, and steer the session.
#include <algorithm>
#include <array>

#include "twin/console/console.h"
#include "twin/kernel/duration_text.h"

namespace twin {

namespace {

constexpr Duration kReadyLimit = 2min, kShotStartLimit = 1min, kShotLimit = 10min, kLongestStep = 1min;

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

void SetPace(Console& console, const Words& arguments) {
  const std::string& pace = arguments[0];
  if (pace != "real" && pace != "free" && pace != "pause")
    throw CommandError("pace wants real, free or pause, not \"" + pace + '"');
  console.SetPaused(pace == "pause");
  console.board.kernel.SetPace(pace == "free" ? Pace::Free : Pace::Real);
}

// At the pace of the host, whatever the pace is.
void Step(Console& console, const Words& arguments) {
  Kernel& kernel = console.board.kernel;
  const auto next = kernel.NextEvent();
  if (arguments.empty() && !next) throw CommandError("nothing is due on this board");
  const Duration length =
      arguments.empty() ? std::max(*next - kernel.Now(), Duration{0}) : LengthFrom(arguments[0], "step");
  if (length > kLongestStep) throw CommandError("a step is at most " + DurationText(kLongestStep) + " long");
  const Pace pace = kernel.PresentPace();
  kernel.SetPace(Pace::Free);
  kernel.Run(length);
  kernel.SetPace(pace);
}

constexpr std::array<Command, 7> kCommands = {{
    {"wait", "LENGTH | idle|shot|off [LIMIT] | log TEXT",
     "let time pass; until the board is idle; until a shot has begun and ended; until it is off; until a new log line",
     1, 20, Wait, true},
    {"power", "on|off|cut", "start the board; switch it off by a long press and wait; cut the supply", 1, 1, Power},
    {"pace", "real|free|pause", "time goes with your clock, as fast as the host can, or not at all", 1, 1, SetPace},
    {"step", "[LENGTH]", "let only so much time pass; if not said, up to what is due next", 0, 1, Step},
    {"options", "--OPTION...", "lumora-twin's own, in a script's first line; those of the command line count more", 0,
     40, [](Console&, const Words&) {}},
    {"help", "[COMMAND]", "this list, or one line of it", 0, 1,
     [](Console& console, const Words& arguments) { console.Help(arguments); }},
    {"quit", "", "end", 0, 0, [](Console& console, const Words&) { console.Quit(); }},
}};

}  // namespace

std::span<const Command> TimeCommands() { return kCommands; }

}  // namespace twin

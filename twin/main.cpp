// lumora-twin: the camera's application on a board of models.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>

#include "twin/board.h"
#include "twin/console/console.h"
#include "twin/console/prompt.h"
#include "twin/console/script_options.h"
#include "twin/console/serving.h"
#include "twin/console/status_display.h"
#include "twin/judge/shot_judge.h"
#include "twin/judge/signals.h"
#include "twin/panel/front.h"
#include "twin/transcript/transcript.h"

namespace {

namespace fs = std::filesystem;
using namespace twin;

volatile std::sig_atomic_t stop = 0;

void Stop(int) { stop = stop + 1; }

void CatchSignals() {
  struct sigaction action = {};
  action.sa_handler = Stop;  // no SA_RESTART: a read at the prompt ends too
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

struct Arguments {
  BoardOptions board;
  std::string script, log, transcript, kinds;
  bool status = false, pressOnce = false, off = false, serve = false, panel = false;
  std::string address = "127.0.0.1";
  uint16_t port = 8080, panelPort = 8090;
};

// Names of an enumeration's values, shown as "real|free".
template <class Value>
void AddChoice(CLI::App& program, const std::string& name, Value& value, const std::map<std::string, Value>& names,
               const std::string& help) {
  std::string shown, preset;
  for (const auto& [text, meaning] : names) {
    shown += (shown.empty() ? "" : "|") + text;
    if (meaning == value) preset = text;
  }
  program
      .add_option_function<std::string>(
          name, [&value, names](const std::string& text) { value = names.at(text); }, help)
      ->check(CLI::IsMember(names).description(""))
      ->type_name(shown)
      ->default_str(preset);
}

void Declare(CLI::App& program, Arguments& arguments) {
  BoardOptions& board = arguments.board;
  program.add_option("--root", board.root, "The board's file systems; else a fresh directory, removed at the end")
      ->type_name("DIR");
  program.add_option("--disk", board.disk, "The USB disk's files; else ROOT/mnt/udisk")->type_name("DIR");
  program.add_option("--disk-size", board.diskKBs, "Capacity of the USB disk in KB")
      ->check(CLI::Range(1024.0, 4e9).description(""))
      ->type_name("KB")
      ->capture_default_str();
  AddChoice(program, "--pictures", board.pictures, {{"marked", Pictures::Marked}, {"rendered", Pictures::Rendered}},
            "What the sensors see: a world, or small pictures that say which frame they are");
  program.add_option("--scene", board.scene, "The world, an equirectangular JPEG; else a room under a sky")
      ->check(CLI::ExistingFile.description(""))
      ->type_name("FILE");
  program.add_option("--light", board.light, "Factor on the world's light")
      ->check(CLI::Range(1e-6, 1e6).description(""))
      ->type_name("X")
      ->capture_default_str();
  AddChoice(program, "--pace", board.pace, {{"real", Pace::Real}, {"free", Pace::Free}},
            "Keep to your clock, or run as fast as the host can");
  program.add_option("--seed", board.seed, "Of all chance on the board")->type_name("N")->capture_default_str();
  program.add_flag_callback(
      "--no-co-processor", [&board] { board.coProcessor = false; }, "The form of the device without a co-processor");
  const std::map<std::string, UsbAdapter> adapters = [] {
    std::map<std::string, UsbAdapter> names;
    for (const UsbAdapterKind& kind : kUsbAdapters) names[std::string(kind.word)] = kind.adapter;
    return names;
  }();
  program.add_option("--usb", board.usb, "Adapters that are plugged in: wifi, ethernet, serial, separated by commas")
      ->delimiter(',')
      ->transform(CLI::CheckedTransformer(adapters).description(""))
      ->type_name("LIST");
  CLI::Option* serve = program.add_flag(
      "--serve", arguments.serve, "Let this machine's programs in over HTTP, until Ctrl-C switches the camera off");
  program.add_option("--port", arguments.port, "Port of the control routes; the next one is for files")
      ->check(CLI::Range(1, 65534).description(""))
      ->needs(serve)
      ->type_name("N")
      ->capture_default_str();
  program.add_option("--bind", arguments.address, "IPv4 address of the two ports")
      ->needs(serve)
      ->type_name("ADDR")
      ->capture_default_str();
  program
      .add_option_function<std::vector<int>>(
          "--panel",
          [&arguments](const std::vector<int>& ports) {
            arguments.panel = true;
            if (!ports.empty()) arguments.panelPort = static_cast<uint16_t>(ports[0]);
          },
          "Show the board in a browser of this machine, at 127.0.0.1 and this port, 0 for any that is free")
      ->expected(0, 1)
      ->check(CLI::Range(0, 65535).description(""))
      ->type_name("[PORT]")
      ->default_str("8090");
  program.add_option("--script", arguments.script, "Commands to carry out; then end")
      ->check(CLI::ExistingFile.description(""))
      ->type_name("FILE");
  program.add_flag("--press-once", arguments.pressOnce,
                   "Start, press the button once, print the path of the shot, switch off");
  program.add_flag("--off", arguments.off, "Leave the board switched off until `power on`");
  program.add_option("--log", arguments.log, "Write the application's log there")->type_name("FILE");
  CLI::Option* transcript =
      program
          .add_option("--transcript", arguments.transcript, "Write there what leaves the application, a line a call")
          ->type_name("FILE");
  program.add_option("--kinds", arguments.kinds, "Only these kinds of lines, as in \"reg spi sleep log\"")
      ->needs(transcript)
      ->type_name("WORDS");
  program.add_flag("--status", arguments.status, "Show on standard error what the board shows");
  program.footer(
      "Without --script, --panel and --press-once, commands are read from standard input; `help` lists them.\n"
      "Exit status: 0 well; 1 an expectation failed, no shot or no good one came, or the board objects; 2 something "
      "was not understood or not found.");
}

// From power-on to the finished file, as a person does it, who then looks at what came out, and switches off.
// The start is over, the camera not yet used.
std::vector<std::string> WrongStart(const Board& board) {
  std::vector<std::string> wrong = WrongColour(board);
  for (const auto& more : {WrongStartSignals("LED 0 is dark", board.panel.LedPulses()),
                           WrongStartSignals("the buzzer sounds", board.panel.BuzzerPulses())})
    wrong.insert(wrong.end(), more.begin(), more.end());
  return wrong;
}

// A shot, the switch-off, and what is wrong with them.
int PressAndSwitchOff(Console& console) {
  Board& board = console.board;
  const ShotJudge judge{board};
  for (const char* line : {"press 100ms", "wait shot", "wait 500ms"}) console.Execute(line);
  if (stop != 0) return 1;
  const fs::path shot = judge.Shot();
  if (shot.empty()) {
    std::cerr << "the board took no shot; LED 0 is " << board.panel.LampColour() << '\n';
    return 1;
  }
  std::cout << shot.string() << std::endl;
  const auto wrong = judge.WhatIsWrong();
  for (const std::string& sentence : wrong) std::cerr << "the shot is not good: " << sentence << '\n';
  board.panel.ForgetPulses();
  console.Execute("power off");
  const auto wrongOff = WrongOffSignals(board.panel.BuzzerPulses());
  for (const std::string& sentence : wrongOff) std::cerr << "the switch-off is not good: " << sentence << '\n';
  return wrong.empty() && wrongOff.empty() ? 0 : 1;
}

int PressOnce(Console& console) {
  Board& board = console.board;
  try {
    // Marked pictures do not show how the camera is held: so it may be askew, and its tilt is judged too. The motion
    // sensor is asked from the fourth second on.
    if (board.options.pictures == Pictures::Marked) console.Execute("tilt 3 -2");
    console.Execute("wait idle");
    const auto wrong = WrongStart(board);
    for (const std::string& sentence : wrong) std::cerr << "the start is not good: " << sentence << '\n';
    if (board.options.pictures == Pictures::Marked) console.Execute("wait 4s");
    const int result = PressAndSwitchOff(console);
    return wrong.empty() ? result : 1;
  } catch (const ExpectationFailed& failed) {
    std::cerr << failed.what() << '\n';
    return 1;
  }
}

// As a person does it, unless a second signal comes.
int SwitchOffAndTell(Console& console) {
  Board& board = console.board;
  const int signals = stop;
  if (board.Powered()) std::cerr << "\nswitching off; Ctrl-C once more cuts the power\n";
  if (SwitchOff(board, console.watch, [&] { return stop > signals; })) return 0;
  std::cerr << "\nthe power was cut\n";
  return 1;
}

// Until a signal, `quit`, the camera's own end, or a port that is lost; then the camera is switched off.
int ServeUntilStopped(Console& console, const Serving& serving) {
  Board& board = console.board;
  const auto ended = [&] { return !board.Powered() || board.Exited() || !serving.Failure().empty(); };
  while (!console.Quitting() && !ended()) board.RunUntil([&] { return console.Quitting() || ended(); }, 1h);
  if (!serving.Failure().empty()) throw std::runtime_error(serving.Failure());
  if (board.Exited()) {
    std::cerr << "\nthe application ended with " << board.ExitStatus() << '\n';
    return 1;
  }
  return SwitchOffAndTell(console);
}

// Until a signal, `quit`, or a port that is lost: who looks at the board may want it on again after it has switched
// itself off. `serving` may be null.
int ShowUntilStopped(Console& console, panel::Front& front, const Serving* serving) {
  std::cout << "panel    " << front.Address() << "    (Ctrl-C ends)" << std::endl;
  front.Run([&] { return serving && !serving->Failure().empty(); });
  if (serving && !serving->Failure().empty()) throw std::runtime_error(serving->Failure());
  if (console.board.Exited()) return 0;
  console.board.kernel.SetPace(Pace::Real);
  return SwitchOffAndTell(console);
}

void OpenIfNamed(std::ofstream& file, const std::string& name) {
  if (name.empty()) return;
  file.open(name, std::ios::trunc);
  if (!file) throw std::runtime_error(name + ": cannot be written");
}

int Run(const Arguments& arguments) {
  Board board{arguments.board};
  panel::Journal journal{board, std::cout};
  Console console{board, arguments.panel ? journal.Out() : std::cout, stop};
  std::ofstream log, road;
  OpenIfNamed(log, arguments.log);
  OpenIfNamed(road, arguments.transcript);
  std::unique_ptr<Transcript> transcript;
  if (road.is_open()) {
    transcript = std::make_unique<Transcript>(board.kernel, arguments.kinds);
    transcript->OnLine([&road](const Transcript::Line& line) {
      road << std::chrono::duration_cast<std::chrono::microseconds>(line.at).count() << ' ' << line.thread << ": "
           << line.text << '\n';
    });
  }
  std::unique_ptr<StatusDisplay> status;
  std::unique_ptr<Serving> serving;
  if (arguments.serve) {
    serving = std::make_unique<Serving>(board, arguments.address, arguments.port, std::cout, [&] {
      if (status) status->Clear();
    });
  }
  std::optional<panel::Front> front;
  if (arguments.panel) front.emplace(console, journal, OptionsFor(arguments.board), arguments.panelPort);
  board.OnLogLine([&](Time, const std::string& line) {
    if (front) journal.Add(panel::Journal::Kind::Application, line, board.kernel.FiberName());
    if (log.is_open()) log << line << std::endl;
    if (!console.echoLog) return;
    if (status) status->Clear();
    std::cout << line << std::endl;
  });
  if (arguments.board.pace == Pace::Real && !arguments.pressOnce && !front) {
    board.serial.OnPlugged([&] {
      if (status) status->Clear();
      std::cout << "remote   " << board.serial.OpenTerminal() << std::endl;
    });
  }
  if (!arguments.off) board.PowerOn();
  // Standard output is for results, so that a caller can read them. A line that is rewritten in place would tear what
  // somebody types at the prompt.
  const bool prompt = arguments.script.empty() && !arguments.pressOnce && !front && isatty(STDIN_FILENO) != 0;
  const bool inPlace = isatty(STDERR_FILENO) != 0 && !prompt;
  if (arguments.status) status = std::make_unique<StatusDisplay>(board, console.watch, stderr, inPlace);

  int result = 0;
  if (!arguments.script.empty()) {
    result = console.RunScript(arguments.script);
  } else if (arguments.pressOnce) {
    result = PressOnce(console);
  } else if (front) {
    result = ShowUntilStopped(console, *front, serving.get());
  } else {
    RunPrompt(console, status.get());
    if (serving) result = ServeUntilStopped(console, *serving);
  }
  status.reset();
  // What the board itself objects to is a failure, whatever came out of it.
  for (const std::string& complaint : board.Complaints()) std::cerr << "the board objects: " << complaint << '\n';
  return result == 0 && !board.Complaints().empty() ? 1 : result;
}

}  // namespace

// A script's own options come first, so that those of the command line count more.
void Parse(CLI::App& program, const Arguments& arguments, int argc, char** argv) {
  program.parse(argc, argv);
  if (arguments.script.empty()) return;
  std::vector<std::string> own = OptionsOfScript(arguments.script);
  std::ranges::reverse(own);
  program.parse(own);
  program.parse(argc, argv);
}

int main(int argc, char** argv) {
  CLI::App program{"The camera's application on a board of models: boot it, press its button, break its wires."};
  Arguments arguments;
  arguments.board.pace = Pace::Real;
  arguments.board.pictures = Pictures::Rendered;
  Declare(program, arguments);
  try {
    Parse(program, arguments, argc, argv);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? 0 : 2;
  } catch (const CommandError& error) {
    std::cerr << "lumora-twin: " << arguments.script << ":1: " << error.what() << '\n';
    return 2;
  }
  BoardOptions& board = arguments.board;
  const auto plugged = [&](UsbAdapter adapter) { return std::ranges::count(board.usb, adapter) > 0; };
  if (arguments.serve && board.pace != Pace::Real) {
    std::cerr << "lumora-twin: --serve keeps to your clock; it cannot be had with --pace free\n";
    return 2;
  }
  if ((arguments.serve || arguments.panel) && !plugged(UsbAdapter::Ethernet) && !plugged(UsbAdapter::Wifi))
    board.usb.push_back(UsbAdapter::Ethernet);
  if (arguments.panel && !plugged(UsbAdapter::Serial)) board.usb.push_back(UsbAdapter::Serial);
  CatchSignals();
  try {
    return Run(arguments);
  } catch (const std::exception& error) {
    std::cerr << "lumora-twin: " << error.what() << '\n';
    return 2;
  }
}

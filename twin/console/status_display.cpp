#include "twin/console/status_display.h"

#include <cinttypes>

namespace twin {

namespace {

constexpr Duration kTerminalPeriod = 100ms, kLinePeriod = 1s;
constexpr size_t kTimeWidth = 11;  // "  1234.5 s " in front of everything that tells a change

}  // namespace

std::string StageText(const Board& board, const Watch& watch) {
  if (!board.Powered()) return "off";
  if (board.Exited()) return "application ended with " + std::to_string(board.ExitStatus());
  if (!watch.Ready()) return "starting";
  if (!board.panel.ShotRunning()) return "ready";
  switch (watch.CountingDown()) {
    case Watch::Countdown::Seconds: return "counting down";
    case Watch::Countdown::LastTwoSeconds: return "last 2 s";
    case Watch::Countdown::None: break;
  }
  const Watch::Replay replay = watch.Progress();
  if (replay.frames == 0) return "exposing";
  return "frames filed " + std::to_string(replay.frames) + " of " + std::to_string(replay.total);
}

std::string StatusText(const Board& board, const Watch& watch) {
  const Panel& panel = board.panel;
  const size_t shots = board.disk.Shots().size();
  const std::string disk = !board.disk.Plugged() ? "none" : !board.disk.Mounted() ? "not mounted" : "";
  char text[200];
  snprintf(text, sizeof text, "%8.1f s  LED %-7s buzzer %-6s  %-26s disk ",
           std::chrono::duration<double>(board.Now()).count(), std::string(panel.Colour()).c_str(),
           panel.Sounding() ? "sounds" : "silent", StageText(board, watch).c_str());
  std::string line = text;
  if (!disk.empty()) return line + disk;
  snprintf(text, sizeof text, "%.2f GB free, %zu shot%s", static_cast<double>(board.disk.FreeKBs()) / (1024 * 1024),
           shots, shots == 1 ? "" : "s");
  return line + text;
}

StatusDisplay::StatusDisplay(Board& board, const Watch& watch, FILE* stream, bool terminal)
    : board_(board), watch_(watch), stream_(stream), terminal_(terminal) {
  Tick();
}

StatusDisplay::~StatusDisplay() {
  board_.kernel.Cancel(next_);
  Update();
  if (terminal_) fputc('\n', stream_);
}

void StatusDisplay::Tick() {
  Update();
  next_ = board_.kernel.After(terminal_ ? kTerminalPeriod : kLinePeriod, [this] { Tick(); });
}

void StatusDisplay::Update() {
  const std::string line = StatusText(board_, watch_);
  if (terminal_) {
    fprintf(stream_, "\r%s\033[K", line.c_str());
  } else {
    if (!shown_.empty() && line.substr(kTimeWidth) == shown_.substr(kTimeWidth)) return;
    fprintf(stream_, "%s\n", line.c_str());
  }
  fflush(stream_);
  shown_ = line;
}

void StatusDisplay::Clear() {
  if (terminal_) fprintf(stream_, "\r\033[K");
}

}  // namespace twin

#include "twin/console/serving.h"

#include <stdexcept>
#include <utility>

#include "common/httpd/server.h"

namespace twin {

namespace {

constexpr Duration kLongestShot = 2min, kLongPress = 4s, kSwitchingOff = 20s;
constexpr uint16_t kPorts = kBulkPort - kControlPort + 1;

}  // namespace

Serving::Serving(Board& board, std::string address, uint16_t port, std::ostream& out,
                 std::function<void()> beforeOutput)
    : board_(board), address_(std::move(address)), port_(port), out_(out), beforeOutput_(std::move(beforeOutput)) {
  for (uint16_t i = 0; i < kPorts; i++) {
    const std::string error = board_.network.TryHostPort(address_, static_cast<uint16_t>(port_ + i));
    if (!error.empty()) throw std::runtime_error(error + " (--port and --bind choose others)");
  }
  board_.network.OnHostListener(
      [this](uint16_t hostPort, bool open, const std::string& error) { Changed(hostPort, open, error); });
  board_.network.ServeOnHost(address_, port_ - kControlPort);
}

void Serving::Changed(uint16_t hostPort, bool open, const std::string& error) {
  if (!error.empty()) {
    failure_ = error;
  } else if (open) {
    open_.insert(hostPort);
  } else {
    open_.erase(hostPort);
  }
  if (open && open_.size() == kPorts) Tell();
}

void Serving::Tell() {
  beforeOutput_();
  const std::string host = "http://" + (address_ == "0.0.0.0" ? "127.0.0.1" : address_) + ':';
  const std::string control = host + std::to_string(port_), files = host + std::to_string(port_ + 1);
  out_ << "control  " << control << "\nfiles    " << files << '\n';
  if (!std::exchange(told_, true)) {
    out_ << "take     curl '" << control << "/do_capture?delay=1'\n"
         << "follow   curl " << control << "/get_list    # ends when the two numbers in front are 0\n"
         << "fetch    shot=$(curl -s " << control << "/get_list | tail -n 1 | tr -d '\\r')"
         << " && curl -o $shot.ori \"" << files << "/get_file?filename=$shot\"\n";
  }
  out_ << std::flush;
}

bool SwitchOff(Board& board, const Watch& watch, const std::function<bool()>& hurry) {
  const auto ended = [&] { return hurry() || !board.Powered() || board.Exited(); };
  // A press while it still starts would go unnoticed, as the loop that looks at the button does not run yet.
  board.RunUntil([&] { return ended() || (watch.Ready() && !board.panel.ShotRunning()); }, kLongestShot);
  for (int presses = 0; presses < 2 && !ended(); presses++) {
    board.button.Press(kLongPress);
    board.RunUntil(ended, kSwitchingOff);
  }
  return !board.Powered();
}

}  // namespace twin

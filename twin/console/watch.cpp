#include "twin/console/watch.h"

#include <utility>

namespace twin {

namespace {

constexpr int kMostBrackets = 6;

// Frames of a shot's replay: each sub-image once, the ends of each run twice, one more at the end. Which of the two it
// is shows when the fourth bracket comes.
constexpr uint64_t kFramesOfThree = 94, kFramesOfSix = 187;

// The replay goes through the layers in order, and through the brackets in each.
int LayerOf(int camera) { return camera < 9 ? 0 : camera < 16 || camera == 24 ? 1 : 2; }

}  // namespace

Watch::Watch(Board& board) : board_(board) {
  board_.panel.OnChange([this] { PanelChanged(); });
}

void Watch::PanelChanged() {
  const Time now = board_.Now();
  if (PoweredAt() != poweredAt_) {
    poweredAt_ = PoweredAt();
    soundings_ = 0;
  }
  lastChange_ = now;
  const Panel& panel = board_.panel;
  const bool shot = panel.ShotLine();
  if (shot && !shot_) {
    pulses_ = 0;
    deliveredBefore_ = board_.media.Delivered().size();
  }
  if (panel.Sounding() && !sounding_) soundStart_ = now;
  if (!panel.Sounding() && sounding_ && now - soundStart_ >= Panel::kShortest) soundings_++;
  if (!panel.Lit() && lit_ && shot) {
    pulseDistance_ = now - lastPulse_;
    lastPulse_ = now;
    pulses_++;
  }
  lit_ = panel.Lit();
  sounding_ = panel.Sounding();
  shot_ = shot;
}

bool Watch::Ready() const { return board_.Powered() && poweredAt_ == PoweredAt() && soundings_ >= 2; }

bool Watch::Idle() const {
  return Ready() && !board_.Exited() && !board_.panel.ShotRunning() && board_.Now() - lastChange_ >= kQuiet;
}

Watch::Countdown Watch::CountingDown() const {
  constexpr Duration kSlowest = 1100ms, kQuick = 300ms;
  if (!shot_ || pulses_ == 0 || Progress().frames > 0 || board_.Now() - lastPulse_ > kSlowest) return Countdown::None;
  return pulses_ > 1 && pulseDistance_ <= kQuick ? Countdown::LastTwoSeconds : Countdown::Seconds;
}

Watch::Replay Watch::Progress() const {
  Replay replay{.total = kFramesOfThree};
  const auto& delivered = board_.media.Delivered();
  int place = 0;
  for (size_t i = deliveredBefore_; i < delivered.size(); i++) {
    if (delivered[i].channel != 0) continue;
    const StoredFrame& frame = delivered[i].frame;
    const int before = std::exchange(place, LayerOf(frame.camera) * kMostBrackets + frame.bracket);
    if (place < before) replay = {.total = kFramesOfThree, .restarts = replay.restarts + 1};
    replay.frames++;
    if (frame.bracket >= kMostBrackets / 2) replay.total = kFramesOfSix;
  }
  return replay;
}

}  // namespace twin

#include "twin/console/watch.h"

namespace twin {

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
    framesBefore_ = board_.array.FramesArrived();
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
  if (!shot_ || pulses_ == 0 || Frames() > 0 || board_.Now() - lastPulse_ > kSlowest) return Countdown::None;
  return pulses_ > 1 && pulseDistance_ <= kQuick ? Countdown::LastTwoSeconds : Countdown::Seconds;
}

uint64_t Watch::Frames() const { return board_.array.FramesArrived() - framesBefore_; }

}  // namespace twin

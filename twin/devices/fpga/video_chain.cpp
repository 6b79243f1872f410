#include "twin/devices/fpga/video_chain.h"

namespace twin {

void VideoChain::Reset(int layer) {
  Link& link = links_[static_cast<size_t>(layer)];
  kernel_.Cancel(link.end);
  kernel_.Cancel(link.extra);
  link = Link{};
}

bool VideoChain::Open(int layer) const {
  if (links_[static_cast<size_t>(layer)].passOn) return false;
  for (size_t next = static_cast<size_t>(layer) + 1; next < links_.size(); next++) {
    if (!links_[next - 1].parallel || !links_[next].passOn) return false;
  }
  return true;
}

void VideoChain::Send(int layer, const StoredFrame& frame) {
  Link& link = links_[static_cast<size_t>(layer)];
  const int64_t detail = frame.camera * kBrackets + frame.bracket;
  const bool lost = faults_.frameLost.Ask(detail).has_value();
  const auto late = faults_.frameLate.Ask(detail);
  const bool twice = faults_.frameDouble.Ask(detail).has_value();
  const Duration first = kSendTime + (late ? late->delay : Duration{0});
  const bool openAtStart = Open(layer) && !lost;

  sent_++;
  link.sending = true;
  if (twice) {
    link.extra = kernel_.After(first, [this, frame, layer, openAtStart] {
      if (openAtStart && Open(layer)) Deliver(frame);
    });
  }
  link.end = kernel_.After(twice ? first + kSendTime : first, [this, frame, layer, openAtStart] {
    links_[static_cast<size_t>(layer)].sending = false;
    if (openAtStart && Open(layer)) Deliver(frame);
  });
}

void VideoChain::Deliver(const StoredFrame& frame) {
  arrived_++;
  if (input_ != nullptr) input_->FrameArrives(frame);
}

}  // namespace twin

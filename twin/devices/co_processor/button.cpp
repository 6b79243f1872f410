#include "twin/devices/co_processor/co_processor.h"

namespace twin {

void Button::Press(Duration length) {
  Hold();
  next_ = kernel_.After(length, [this] { coProcessor_.SetButton(false); });
}

void Button::Hold() {
  kernel_.Cancel(next_);
  coProcessor_.SetButton(true);
}

void Button::Release() {
  kernel_.Cancel(next_);
  coProcessor_.SetButton(false);
}

void Button::Bounce(Duration length) {
  kernel_.Cancel(next_);
  Chatter(kernel_.Now() + length, Pressed());
}

void Button::Chatter(Time end, bool rest) {
  if (kernel_.Now() >= end) {
    coProcessor_.SetButton(rest);
    return;
  }
  coProcessor_.SetButton(!Pressed());
  next_ = kernel_.After(std::min<Duration>(1ms, end - kernel_.Now()), [this, end, rest] { Chatter(end, rest); });
}

}  // namespace twin

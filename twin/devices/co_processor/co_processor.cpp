#include "twin/devices/co_processor/co_processor.h"

#include <stdexcept>

namespace twin {

namespace {

constexpr int kAnswerPin = 0, kSelectPin = 5, kDataPin = 6, kClockPin = 7;  // of bank 0
constexpr int kFrameBits = 16;

// Command byte.
constexpr uint8_t kBlue = 0x80, kGreen = 0x40, kRed = 0x20, kPowerOff = 0x12;
// Reply byte.
constexpr uint8_t kReleased = 0x80, kNotCharging = 0x40;
constexpr int kLargestSample = 63;

uint32_t WithComplement(uint8_t byte) { return byte << 8 | (~byte & 0xFF); }

}  // namespace

CoProcessor::CoProcessor(Kernel& kernel, Faults& faults, GpioBanks& gpio, bool present)
    : kernel_(kernel),
      answer_(gpio.At(0, kAnswerPin)),
      select_(gpio.At(0, kSelectPin)),
      data_(gpio.At(0, kDataPin)),
      clock_(gpio.At(0, kClockPin)),
      present_(present),
      replyFault_(faults, "stc.reply",
                  "the co-processor's reply: value=16 BITS (a good one is a byte, its complement)"),
      silenceFault_(faults, "stc.silence", "the co-processor during one transfer: silence") {
  if (present_) {
    // Its own pull-ups keep the lines at rest while the processor is in reset.
    for (Pin* line : {&answer_, &select_, &data_, &clock_}) line->Release(true);
    select_.OnChange([this](bool level) { Selected(level); });
    clock_.OnChange([this](bool level) { Clocked(level); });
    data_.OnChange([this](bool) { lastData_ = kernel_.Now(); });
    answer_.OnLook([this] { Answer(); });
  } else {
    // Straight wires: the button's pull-up, and LEDs that stay dark while nothing drives them.
    answer_.Release(true);
    for (Pin* line : {&select_, &data_, &clock_}) {
      line->Release(false);
      line->OnChange([this](bool) { ShowLines(); });
    }
  }
}

void CoProcessor::Reset() {
  transferring_ = false;
  ended_ = false;
  if (cutting_) kernel_.Cancel(cut_);
  cutting_ = false;
  answerAt_ = Time::max();
  if (present_) {
    answer_.Release(true);
    SetColour({});
  }
}

void CoProcessor::Selected(bool level) {
  const Time now = kernel_.Now();
  if (!level) {
    if (ended_ && now - lastEnd_ < kShortestGap) return;  // still busy with the last one: the whole transfer is missed
    transferring_ = true;
    bits_ = 0;
    received_ = 0;
    lastEdge_ = now;
    const auto silence = silenceFault_.Ask();
    deaf_ = silence && silence->kind == Effect::Kind::Silence;
    const int status = (pressed_ ? 0 : kReleased) | (charging_ ? 0 : kNotCharging) | battery_;
    reply_ = WithComplement(static_cast<uint8_t>(status));
    const auto wrong = replyFault_.Ask();
    if (wrong && wrong->kind == Effect::Kind::Value) reply_ = static_cast<uint32_t>(wrong->value) & 0xFFFF;
    return;
  }
  if (!transferring_) return;
  transferring_ = false;
  answerAt_ = Time::max();
  answer_.Release(true);
  if (deaf_ || bits_ == 0) return;
  ended_ = true;
  lastEnd_ = now;
  const auto command = static_cast<uint8_t>(received_ >> 8);
  if (bits_ == kFrameBits && received_ == WithComplement(command)) {
    frames_++;
    Obey(command);
  } else {
    badFrames_++;
  }
}

void CoProcessor::Clocked(bool level) {
  if (!transferring_ || deaf_) return;
  Answer();
  const Time now = kernel_.Now();
  const bool seen = now - lastEdge_ >= kShortestLevel;
  lastEdge_ = now;
  if (!seen) return;
  if (!level) {
    if (bits_ >= kFrameBits) return;
    nextAnswer_ = (reply_ >> (kFrameBits - 1 - bits_) & 1) != 0;
    answerAt_ = now + kAnswerDelay;
  } else {
    const bool late = now - lastData_ < kShortestLevel;
    received_ = (received_ << 1 | static_cast<uint32_t>(data_.Level() != late)) & 0xFFFF;
    bits_++;
    nextAnswer_ = true;
    answerAt_ = now + kAnswerHold;
  }
}

void CoProcessor::Answer() {
  if (kernel_.Now() < answerAt_) return;
  answerAt_ = Time::max();
  answer_.Drive(nextAnswer_);
  if (answer_.DrivenByProcessor()) complain_("the co-processor and the processor both drive the answer line");
}

void CoProcessor::Obey(uint8_t command) {
  const uint8_t rest = command & static_cast<uint8_t>(~(kBlue | kGreen | kRed));
  if (rest != 0 && rest != kPowerOff) {
    complain_("the co-processor knows no command with bits " + std::to_string(rest) + " besides the colours");
  }
  SetColour({.red = (command & kRed) != 0, .green = (command & kGreen) != 0, .blue = (command & kBlue) != 0});
  if ((command & kPowerOff) != kPowerOff || cutting_) return;
  cutting_ = true;
  cut_ = kernel_.After(kCutDelay, [this] {
    cutting_ = false;
    if (powerOff_) powerOff_();
  });
}

void CoProcessor::ShowLines() { SetColour({.red = data_.Level(), .green = select_.Level(), .blue = clock_.Level()}); }

void CoProcessor::SetColour(LampColour colour) {
  if (colour == colour_) return;
  colour_ = colour;
  for (const auto& listener : listeners_) listener();
}

void CoProcessor::SetButton(bool pressed) {
  pressed_ = pressed;
  if (!present_) answer_.Drive(!pressed);
}

void CoProcessor::SetBattery(int sample) {
  if (sample < 0 || sample > kLargestSample) throw std::out_of_range("a battery sample is 0 to 63");
  battery_ = sample;
}

}  // namespace twin

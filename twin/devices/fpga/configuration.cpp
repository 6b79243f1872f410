#include "twin/devices/fpga/configuration.h"

#include <utility>
#include <vector>

#include "twin/devices/fpga/array_timing.h"

namespace twin {

Configuration::Configuration(Kernel& kernel, ArrayFaults& faults, GpioBanks& gpio,
                             std::function<void(std::string)> complain, std::function<void()> changed)
    : kernel_(kernel),
      faults_(faults),
      programB_(gpio.At(6, 0)),
      done_(gpio.At(6, 1)),
      init_(gpio.At(5, 7)),
      complain_(std::move(complain)),
      changed_(std::move(changed)) {
  programB_.Release(true);
  done_.Drive(false);
  init_.Release(false);
  programB_.OnChange([this](bool high) {
    if (state_ == State::Off) return;
    if (!high) {
      Clear();
      clearedAt_ = kernel_.Now();
      return;
    }
    const auto since = std::exchange(clearedAt_, std::nullopt);
    if (since && kernel_.Now() - *since < kShortestProgramB) return complain_("PROGRAM_B was low for too short a time");
    BeginHousekeeping();
  });
}

void Configuration::SetPower(bool on) {
  if (on == (state_ != State::Off)) return;
  if (on) {
    Clear();
    if (programB_.Level()) BeginHousekeeping();
  } else {
    kernel_.Cancel(housekeeping_);
    clearedAt_.reset();
    init_.Release(false);  // the pull-up hangs on the same supply
    Enter(State::Off);
  }
}

void Configuration::Clear() {
  kernel_.Cancel(housekeeping_);
  reader_.Restart();
  init_.Drive(false);
  Enter(State::Clearing);
}

void Configuration::BeginHousekeeping() {
  kernel_.Cancel(housekeeping_);
  housekeeping_ = kernel_.After(kHousekeeping, [this] {
    if (state_ != State::Clearing) return;
    init_.Release(true);
    Enter(State::Waiting);
  });
}

void Configuration::Feed(std::span<const uint8_t> wire, bool clocked) {
  // A low INIT, whoever holds it, keeps the parts from listening.
  if (state_ != State::Waiting || !init_.Level() || !clocked) return;
  if (const auto flip = faults_.stream.Ask(); flip && !wire.empty()) {
    std::vector<uint8_t> damaged(wire.begin(), wire.end());
    const uint64_t bit = (flip->kind == Effect::Kind::Value ? static_cast<uint64_t>(flip->value) : kernel_.Random()) %
                         (damaged.size() * 8);
    damaged[bit / 8] ^= static_cast<uint8_t>(0x80 >> bit % 8);
    reader_.Feed(damaged);
  } else {
    reader_.Feed(wire);
  }
  if (reader_.GetState() == BitstreamReader::State::Rejected) {
    init_.Drive(false);
    Enter(State::Failed);
  } else if (reader_.GetState() == BitstreamReader::State::Accepted && !faults_.done.Ask()) {
    Enter(State::Done);
  }
}

void Configuration::Enter(State state) {
  const bool was = Configured();
  state_ = state;
  done_.Drive(Configured());
  if (was != Configured()) changed_();
}

const char* Configuration::StateName() const {
  switch (state_) {
    case State::Off: return "off";
    case State::Clearing: return "clearing";
    case State::Waiting: return "unconfigured";
    case State::Failed: return "configuration failed";
    case State::Done: return "configured";
  }
  return "";
}

}  // namespace twin

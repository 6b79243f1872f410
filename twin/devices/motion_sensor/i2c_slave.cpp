#include "twin/devices/motion_sensor/i2c_slave.h"

namespace twin {

I2cSlave::I2cSlave(Kernel& kernel, Pin& clock, Pin& data, I2cPart& part)
    : kernel_(kernel), clock_(clock), data_(data), part_(part) {
  Release();
  clock_.OnChange([this](bool high) { high ? ClockRises() : ClockFalls(); });
  data_.OnChange([this](bool high) { DataChanges(high); });
}

void I2cSlave::Release() {
  phase_ = Phase::Idle;
  held_ = false;
  clock_.Release(true);
  data_.Release(true);
  rise_ = fall_ = moved_ = start_ = stop_ = Time::min() / 2;
}

void I2cSlave::Pull(bool low) { low || held_ ? data_.Drive(false) : data_.Release(true); }

void I2cSlave::Lose(const std::string& why) {
  lost_ = why;
  bits_ = 0;
  phase_ = Phase::Idle;
  Pull(false);
}

bool I2cSlave::Lasted(Time since, Duration least, const char* what) {
  const Duration length = kernel_.Now() - since;
  if (length >= least) return true;
  if (phase_ != Phase::Idle) {
    Lose(std::string(what) + " of " + std::to_string(length.count()) + " ns, at least " +
         std::to_string(least.count()));
  }
  return false;
}

// Data that moves while the clock is high is no data: falling it starts, rising it stops.
void I2cSlave::DataChanges(bool high) {
  moved_ = kernel_.Now();
  if (!clock_.Level()) return;
  if (!high) return Start();
  Lasted(rise_, kStopSetUp, "clock high before a stop");
  stop_ = kernel_.Now();
  phase_ = Phase::Idle;
  Pull(false);
}

void I2cSlave::Start() {
  lost_.clear();
  held_ = part_.HoldsDataLow();
  phase_ = held_ ? Phase::Idle : Phase::Address;
  bits_ = 0;
  shift_ = 0;
  start_ = kernel_.Now();
  Pull(false);
  if (Lasted(rise_, kStartSetUp, "clock high before a start")) Lasted(stop_, kBusFree, "pause before a start");
}

void I2cSlave::ClockRises() {
  if (!lost_.empty() && ++bits_ > 1) {  // one edge may belong to the next start
    part_.Complain("I2C: " + lost_);
    lost_.clear();
  }
  const bool longEnough = Lasted(fall_, kShortestLow, "clock low") && Lasted(moved_, kDataSetUp, "data before clock");
  rise_ = kernel_.Now();
  if (!longEnough) return;
  if (!held_ && phase_ != Phase::Idle && data_.Contended()) {
    part_.Complain("I2C: the master drives data against the part");
    phase_ = Phase::Idle;
    return Pull(false);
  }
  switch (phase_) {
    case Phase::Address:
    case Phase::Receive:
      shift_ = static_cast<uint8_t>(shift_ << 1 | (data_.Level() ? 1 : 0));
      bits_++;
      break;
    case Phase::MastersAcknowledge: masterAcknowledged_ = !data_.Level(); break;
    default: break;
  }
}

void I2cSlave::ClockFalls() {
  const bool longEnough = Lasted(rise_, kShortestHigh, "clock high") && Lasted(start_, kStartHold, "start");
  fall_ = kernel_.Now();
  if (!longEnough) return;
  switch (phase_) {
    case Phase::Address:
    case Phase::Receive:
      if (bits_ == 8) EndOfByte();
      break;
    case Phase::OwnAcknowledge:
      Pull(false);
      phase_ = Phase::Receive;
      bits_ = 0;
      if (sends_) SendNext();
      break;
    case Phase::Send: SendBit(); break;
    case Phase::MastersAcknowledge: masterAcknowledged_ ? SendNext() : void(phase_ = Phase::Idle); break;
    case Phase::Idle: break;
  }
}

void I2cSlave::EndOfByte() {
  bytes_++;
  bool taken = false;
  if (phase_ == Phase::Address) {
    sends_ = (shift_ & 1) != 0;
    taken = part_.Addressed(static_cast<uint8_t>(shift_ >> 1), sends_);
  } else {
    taken = part_.Written(shift_);
  }
  phase_ = taken ? Phase::OwnAcknowledge : Phase::Idle;
  Pull(taken);
}

void I2cSlave::SendNext() {
  phase_ = Phase::Send;
  shift_ = part_.Read();
  bytes_++;
  bits_ = 0;
  SendBit();
}

void I2cSlave::SendBit() {
  if (bits_ == 8) {
    phase_ = Phase::MastersAcknowledge;
    Pull(false);
    return;
  }
  Pull((shift_ & 0x80) == 0);
  shift_ = static_cast<uint8_t>(shift_ << 1);
  bits_++;
}

}  // namespace twin

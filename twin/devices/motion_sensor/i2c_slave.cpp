#include "twin/devices/motion_sensor/i2c_slave.h"

namespace twin {

I2cSlave::I2cSlave(Pin& clock, Pin& data, I2cPart& part) : clock_(clock), data_(data), part_(part) {
  Release();
  clock_.OnChange([this](bool high) { high ? ClockRises() : ClockFalls(); });
  data_.OnChange([this](bool high) { DataChanges(high); });
}

void I2cSlave::Release() {
  phase_ = Phase::Idle;
  held_ = false;
  clock_.Release(true);
  data_.Release(true);
}

void I2cSlave::Pull(bool low) { low || held_ ? data_.Drive(false) : data_.Release(true); }

// Data that moves while the clock is high is no data: falling it starts, rising it stops.
void I2cSlave::DataChanges(bool high) {
  if (!clock_.Level()) return;
  if (!high) return Start();
  phase_ = Phase::Idle;
}

void I2cSlave::Start() {
  held_ = part_.HoldsDataLow();
  phase_ = held_ ? Phase::Idle : Phase::Address;
  bits_ = 0;
  shift_ = 0;
  Pull(false);
}

void I2cSlave::ClockRises() {
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

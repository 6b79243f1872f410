// The slave's side of an I2C bus, from the two lines alone: start and stop, address, bytes and acknowledges.
//
// Open drain: it pulls the data line low or lets it float at its pull-up, and changes it only while the clock is low.
// Data is taken at the clock's rising edge. A start in the middle of anything begins anew; a stop ends anything.
// Modelled: one 7-bit address, any length, repeated starts. Not modelled: clock stretching, general calls, rise times.
#pragma once

#include <cstdint>

#include "twin/devices/gpio/gpio.h"

namespace twin {

// What hangs behind the two lines.
class I2cPart {
 public:
  virtual ~I2cPart() = default;
  virtual bool HoldsDataLow() { return false; }             // asked at each start: it holds the line and hears nothing
  virtual bool Addressed(uint8_t address, bool reads) = 0;  // false: no acknowledge, and it hears no more until a start
  virtual bool Written(uint8_t byte) = 0;                   // the same
  virtual uint8_t Read() = 0;                               // the next byte to send
};

class I2cSlave {
 public:
  // The lines and the part outlive this.
  I2cSlave(Pin& clock, Pin& data, I2cPart& part);

  void Release();                            // lets the line go and forgets where it was: power-on
  uint64_t Bytes() const { return bytes_; }  // on the bus since the board was built, addresses included

 private:
  enum class Phase { Idle, Address, Receive, Send, OwnAcknowledge, MastersAcknowledge };

  void DataChanges(bool high);
  void ClockRises();
  void ClockFalls();
  void Start();
  void EndOfByte();
  void SendNext();
  void SendBit();
  void Pull(bool low);

  Pin& clock_;
  Pin& data_;
  I2cPart& part_;
  Phase phase_ = Phase::Idle;
  bool sends_ = false;  // the master reads
  bool held_ = false;   // the line is held low for good
  bool masterAcknowledged_ = false;
  int bits_ = 0;  // of the present byte
  uint8_t shift_ = 0;
  uint64_t bytes_ = 0;
};

}  // namespace twin

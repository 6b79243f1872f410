// The slave's side of an I2C bus, from the two lines alone: start and stop, address, bytes and acknowledges.
//
// Open drain: it pulls the data line low or lets it float at its pull-up, and changes it only while the clock is low.
// Data is taken at the clock's rising edge. A start in the middle of anything begins anew; a stop ends anything and
// makes it let the line go.
// Modelled: one 7-bit address, any length, repeated starts; the shortest times of the bus at 400 kHz. What comes
// quicker is lost on it: it complains, lets the line go and hears nothing until the next start. So is a level that the
// master drives against it while the clock is high. While the clock is low a master that drives high may meet the pull
// of an acknowledge: that goes on for a moment in every byte of a master that drives actively, and is let pass. Not
// modelled: clock stretching, general calls, rise times; a bus slower than the part needs is as good as a quick one.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "twin/devices/gpio/gpio.h"
#include "twin/kernel/kernel.h"

namespace twin {

// What hangs behind the two lines.
class I2cPart {
 public:
  virtual ~I2cPart() = default;
  virtual bool HoldsDataLow() { return false; }             // asked at each start: it holds the line and hears nothing
  virtual bool Addressed(uint8_t address, bool reads) = 0;  // false: no acknowledge, and it hears no more until a start
  virtual bool Written(uint8_t byte) = 0;                   // the same
  virtual uint8_t Read() = 0;                               // the next byte to send
  virtual void Complain(const std::string& what) = 0;       // of what the master did
};

class I2cSlave {
 public:
  static constexpr Duration kShortestHigh = 600ns, kShortestLow = 1300ns;
  static constexpr Duration kDataSetUp = 100ns;
  static constexpr Duration kStartSetUp = 600ns, kStartHold = 600ns, kStopSetUp = 600ns;
  static constexpr Duration kBusFree = 1300ns;  // from a stop to the next start

  // All outlive this.
  I2cSlave(Kernel& kernel, Pin& clock, Pin& data, I2cPart& part);

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
  void Lose(const std::string& why);
  // Whether it has been that long since; else it loses its place.
  bool Lasted(Time since, Duration least, const char* what);

  Kernel& kernel_;
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
  std::string lost_;  // why it has lost its place; empty: it has not, or nobody went on
  Time rise_{0}, fall_{0}, moved_{0}, start_{0}, stop_{0};
};

}  // namespace twin

// Reads the two lines of the motion sensor's bus as anybody with a probe could, and writes down each transaction for
// the transcript, kind "i2c". It takes no part and knows no times.
//
//   write 6B 80       register, bytes, all of them acknowledged. "refused" behind it: the last one was not
//   read 75 = 68      register, bytes, for which the driver first writes the register and stops. "refused": no
//                     acknowledge to the address; "unfinished": the master acknowledged the last byte too
// "unstopped" behind either: the next one began without a stop.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "twin/devices/gpio/gpio.h"

namespace twin {

class BusMonitor {
 public:
  BusMonitor(Pin& clock, Pin& data);  // both outlive this

 private:
  void DataChanges(bool high);
  void ClockRises();
  void End(bool stopped);
  void NotePending();

  Pin& clock_;
  Pin& data_;
  bool heard_ = false;  // within a transaction that somebody wants to know of
  std::vector<uint8_t> bytes_;
  bool acknowledged_ = false;  // the last byte
  int bits_ = 0;
  uint8_t shift_ = 0;
  std::string pointer_ = "?";  // register of the last write
  std::string pending_;        // a write of a register alone: the beginning of a read, or nothing but that
};

}  // namespace twin

// One direction of a serial line: bits at the sender's speed, looked at by a receiver with a speed of its own.
//
// The receiver waits for a falling edge, then samples in the middle of each bit as it counts them. So a wrong speed,
// size or parity is not refused by anybody: bytes come out as other bytes, as several or as none, and mostly as bad
// ones. Not modelled: clocks that are a little off, noise (see the faults of whoever listens).
#pragma once

#include <deque>
#include <functional>
#include <string_view>

#include "twin/kernel/kernel.h"

namespace twin {

struct Framing {
  enum class Parity { None, Odd, Even, Space, Mark };
  int bitsPerSecond = 9600;
  int dataBits = 8;
  Parity parity = Parity::None;
  int stopBits = 1;

  Duration BitTime() const { return Duration(1'000'000'000LL / bitsPerSecond); }
};

enum class Reception { Good, BadParity, BadFrame };

class SerialWire {
 public:
  using Arrival = std::function<void(uint8_t byte, Reception)>;
  SerialWire(Kernel& kernel, Arrival arrival) : kernel_(kernel), arrival_(std::move(arrival)) {}

  // Bytes go out one behind the other, behind what is still going out.
  void Send(std::string_view bytes, const Framing& sender);
  void SetReceiver(const Framing& receiver) { receiver_ = receiver; }
  void Forget();  // the line falls silent: the power is gone

 private:
  // A byte on the line. Before the first, between them and behind the last the line is high.
  struct Symbol {
    Time start;
    Duration bit;
    uint32_t levels;  // the first bit is the lowest
    int bits;
    Time End() const { return start + bit * bits; }
    bool Level(Time at) const { return (levels >> ((at - start) / bit) & 1) != 0; }
  };
  bool Level(Time at) const;
  Time NextEdge() const;  // the first falling one from `from_` on; Time::max() if there is none
  void Listen();
  void Take(Time edge);

  Kernel& kernel_;
  Arrival arrival_;
  Framing receiver_;
  std::deque<Symbol> symbols_;
  Time from_{0};
  Time free_{0};
  bool listening_ = false;
  uint64_t epoch_ = 0;
};

}  // namespace twin

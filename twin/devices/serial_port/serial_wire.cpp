#include "twin/devices/serial_port/serial_wire.h"

#include <bit>

namespace twin {

namespace {

using Parity = Framing::Parity;

// The parity bit that belongs to these data bits.
uint32_t ParityBit(Parity parity, uint32_t data) {
  const auto odd = static_cast<uint32_t>(std::popcount(data)) & 1;
  switch (parity) {
    case Parity::Even: return odd;
    case Parity::Odd: return odd ^ 1;
    case Parity::Mark: return 1;
    default: return 0;
  }
}

int ParityBits(const Framing& framing) { return framing.parity == Parity::None ? 0 : 1; }

uint32_t Mask(int bits) { return (1u << bits) - 1; }

}  // namespace

void SerialWire::Send(std::string_view bytes, const Framing& sender) {
  for (const char byte : bytes) {
    const uint32_t data = static_cast<uint8_t>(byte) & Mask(sender.dataBits);
    const int head = 1 + sender.dataBits;
    uint32_t levels = data << 1;  // the start bit is 0
    if (ParityBits(sender) != 0) levels |= ParityBit(sender.parity, data) << head;
    const int bits = head + ParityBits(sender) + sender.stopBits;
    levels |= Mask(sender.stopBits) << (bits - sender.stopBits);
    symbols_.push_back({std::max(free_, kernel_.Now()), sender.BitTime(), levels, bits});
    free_ = symbols_.back().End();
  }
  Listen();
}

void SerialWire::Forget() {
  symbols_.clear();
  from_ = free_ = kernel_.Now();
  listening_ = false;
  epoch_++;
}

bool SerialWire::Level(Time at) const {
  for (const Symbol& symbol : symbols_) {
    if (at < symbol.start) return true;
    if (at < symbol.End()) return symbol.Level(at);
  }
  return true;
}

Time SerialWire::NextEdge() const {
  bool before = true;
  for (const Symbol& symbol : symbols_) {
    for (int bit = 0; bit < symbol.bits; bit++) {
      const Time at = symbol.start + symbol.bit * bit;
      const bool level = symbol.Level(at);
      if (before && !level && at >= from_) return at;
      before = level;
    }
  }
  return Time::max();
}

void SerialWire::Listen() {
  if (listening_) return;
  const Time edge = NextEdge();
  if (edge == Time::max()) return;
  listening_ = true;
  const int halves = 2 * (1 + receiver_.dataBits + ParityBits(receiver_)) + 1;  // to the middle of the stop bit
  kernel_.At(edge + receiver_.BitTime() * halves / 2, [this, edge, epoch = epoch_] {
    if (epoch == epoch_) Take(edge);
  });
}

void SerialWire::Take(Time edge) {
  const Duration bit = receiver_.BitTime();
  const auto sample = [&](int number) { return Level(edge + bit * (2 * number + 1) / 2) ? 1u : 0u; };
  uint32_t data = 0;
  for (int i = 0; i < receiver_.dataBits; i++) data |= sample(1 + i) << i;
  const int parityAt = 1 + receiver_.dataBits;
  const int stopAt = parityAt + ParityBits(receiver_);
  const bool start = sample(0) == 0;
  Reception reception = Reception::Good;
  if (ParityBits(receiver_) != 0 && sample(parityAt) != ParityBit(receiver_.parity, data)) {
    reception = Reception::BadParity;
  }
  if (sample(stopAt) == 0) reception = Reception::BadFrame;

  from_ = edge + bit * (2 * (start ? stopAt : 0) + 1) / 2;  // a dip shorter than half a bit was none
  while (!symbols_.empty() && symbols_.front().End() <= from_) symbols_.pop_front();
  listening_ = false;
  if (start) arrival_(static_cast<uint8_t>(data), reception);
  Listen();
}

}  // namespace twin

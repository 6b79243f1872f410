#include "twin/devices/motion_sensor/bus_monitor.h"

#include "twin/transcript/transcript.h"

namespace twin {

BusMonitor::BusMonitor(Pin& clock, Pin& data) : clock_(clock), data_(data) {
  clock_.OnChange([this](bool high) {
    if (high && heard_) ClockRises();
  });
  data_.OnChange([this](bool high) {
    if (clock_.Level()) DataChanges(high);
  });
}

void BusMonitor::DataChanges(bool high) {
  if (heard_) End(high);
  heard_ = !high && Transcript::Hears("i2c");
  bytes_.clear();
  bits_ = 0;
}

void BusMonitor::ClockRises() {
  const bool level = data_.Level();
  if (bits_++ < 8) {
    shift_ = static_cast<uint8_t>(shift_ << 1 | (level ? 1 : 0));
    return;
  }
  bytes_.push_back(shift_);
  acknowledged_ = !level;
  bits_ = 0;
}

void BusMonitor::NotePending() {
  if (!pending_.empty()) Transcript::Note("i2c", pending_);
  pending_.clear();
}

void BusMonitor::End(bool stopped) {
  if (!Transcript::Hears("i2c")) return pending_.clear();
  const bool reads = !bytes_.empty() && (bytes_[0] & 1) != 0;
  if (!reads) NotePending();
  if (bytes_.empty()) return;
  const std::string rest = HexBytes(bytes_.data() + 1, bytes_.size() - 1);
  std::string text = reads ? "read " + pointer_ + " =" : "write";
  if (!rest.empty()) text += " " + rest;
  if (reads) {
    if (bytes_.size() == 1 && !acknowledged_) text += " refused";
    if (bytes_.size() > 1 && acknowledged_) text += " unfinished";
  } else if (!acknowledged_) {
    text += " refused";
  }
  if (!stopped) text += " unstopped";
  if (!reads && bytes_.size() > 1) pointer_ = rest.substr(0, 2);
  if (!reads && bytes_.size() == 2 && acknowledged_ && stopped) {
    pending_ = text;
    return;
  }
  pending_.clear();
  Transcript::Note("i2c", text);
}

}  // namespace twin

#include "twin/panel/wires.h"

#include <array>
#include <cmath>
#include <cstdio>

#include "twin/kernel/duration_text.h"

namespace twin::panel {

namespace {

using nlohmann::json;

template <class Value>
std::string Hex(Value value, int digits) {
  std::array<char, 24> text{};
  snprintf(text.data(), text.size(), "0x%0*X", digits, static_cast<unsigned>(value));
  return text.data();
}

class Rows {
 public:
  void Add(std::string where, std::string name, std::string value) {
    std::array<char, 8> key{};
    snprintf(key.data(), key.size(), "%03zu", rows_.size());
    rows_[key.data()] = {{"where", std::move(where)}, {"name", std::move(name)}, {"value", std::move(value)}};
  }
  json Take() { return std::move(rows_); }

 private:
  json rows_ = json::object();
};

std::string YesNo(bool yes) { return yes ? "yes" : "no"; }

json Pins(Board& board) {
  Rows rows;
  for (const PinWiring::Signal& signal : PinWiring::Signals()) {
    const Pin& pin = board.gpio.At(signal.bank, signal.pin);
    rows.Add("bank " + std::to_string(signal.bank) + " pin " + std::to_string(signal.pin), signal.name,
             std::string(pin.Level() ? "high" : "low") + (pin.DrivenByProcessor() ? ", driven" : "") +
                 (pin.Contended() ? ", contended" : ""));
  }
  return rows.Take();
}

json PinFunctions(Board& board) {
  Rows rows;
  for (const auto& [address, value] : board.pinRegisters.Written()) {
    rows.Add(Hex(address, 8), address < PinRegisters::kPadBase ? "function" : "pad", Hex(value, 4));
  }
  return rows.Take();
}

template <int layer>
json LayerRegisters(Board& board) {
  Rows rows;
  rows.Add("", "array", board.array.StateName());
  rows.Add("", "capture", board.array.LayerStateName(layer));
  for (const Layer::Register& entry : board.array.Registers(layer))
    rows.Add(Hex(entry.code, 2), entry.name, Hex(entry.value, 2));
  return rows.Take();
}

json Sensors(Board& board) {
  Rows rows;
  for (int camera = 0; camera < kCameras; camera++) {
    const Sensor& sensor = board.array.SensorOf(camera);
    std::array<char, 96> text{};
    const Sensor::Exposure& exposure = sensor.Present();
    snprintf(text.data(), text.size(), "%.3f ms, gain %.2f, %d °C", exposure.seconds * 1e3, exposure.gain,
             sensor.Temperature());
    rows.Add("camera " + std::to_string(camera),
             !sensor.Answers()    ? "in reset"
             : sensor.Streaming() ? "streams"
                                  : "stands by",
             text.data());
  }
  return rows.Take();
}

json CoProcessorRows(Board& board) {
  const CoProcessor& part = board.coProcessor;
  const LampColour colour = part.Colour();
  Rows rows;
  rows.Add("reply bit 7", "button released", YesNo(!part.ButtonPressed()));
  rows.Add("reply bit 6", "not charging", YesNo(!part.Charging()));
  rows.Add("reply bits 5-0", "battery sample", std::to_string(part.Battery()));
  rows.Add("command bit 7", "blue", YesNo(colour.blue));
  rows.Add("command bit 6", "green", YesNo(colour.green));
  rows.Add("command bit 5", "red", YesNo(colour.red));
  rows.Add("", "good transfers", std::to_string(part.Frames()));
  rows.Add("", "bad transfers", std::to_string(part.BadFrames()));
  return rows.Take();
}

json Media(Board& board) {
  const MediaPipeline& media = board.media;
  const MediaPipeline::Counts& counts = media.counts();
  Rows rows;
  rows.Add("lanes", "frames arrived", std::to_string(counts.arrived));
  rows.Add("lanes", "unseen", std::to_string(counts.unseen));
  rows.Add("input", "dropped by a fault", std::to_string(counts.dropped));
  rows.Add("input", "led to memory", std::to_string(counts.led));
  rows.Add("ISP", "running", YesNo(media.isp.Running()));
  rows.Add("VPSS", "pictures untaken", std::to_string(counts.untaken));
  for (int channel = 0; channel < 2; channel++) {
    const EncoderChannel& encoder = *board.media.Encoder(channel);
    const std::string where = "encoder " + std::to_string(channel);
    rows.Add(where, "receiving", YesNo(encoder.Receiving()));
    rows.Add(where, "taken, encoded",
             std::to_string(encoder.counts().taken) + ", " + std::to_string(encoder.counts().encoded));
    rows.Add(where, "refused, lost",
             std::to_string(encoder.counts().queueFull) + ", " + std::to_string(encoder.counts().noRoom));
  }
  return rows.Take();
}

json Others(Board& board) {
  Rows rows;
  rows.Add("SPI", "transfers", std::to_string(board.array.Transfers()));
  rows.Add("array", "frames sent", std::to_string(board.array.FramesSent()));
  rows.Add("array", "frames arrived", std::to_string(board.array.FramesArrived()));
  for (const char* name : {"eth0", "wlan0"})
    rows.Add("network", name, !board.interfaces.Exists(name) ? "none" : board.interfaces.Up(name) ? "up" : "down");
  rows.Add("network", "connections accepted", std::to_string(board.network.Accepted()));
  rows.Add("disk", "writes", std::to_string(board.disk.Writes()));
  rows.Add("disk", "cluster", std::to_string(board.disk.ClusterKBs()) + " KB");
  rows.Add("disk", "changes not synced", YesNo(board.disk.Unsynced()));
  rows.Add("heap", "bytes", std::to_string(board.heap.Bytes()));
  return rows.Take();
}

struct Device {
  const char* name;
  json (*rows)(Board&);
};
constexpr std::array<Device, 9> kDevices = {{
    {"pins", Pins},
    {"pin functions", PinFunctions},
    {"co-processor", CoProcessorRows},
    {"layer 0", LayerRegisters<0>},
    {"layer 1", LayerRegisters<1>},
    {"layer 2", LayerRegisters<2>},
    {"sensors", Sensors},
    {"media units", Media},
    {"links and disk", Others},
}};

}  // namespace

json WireDevices() {
  json names = json::array();
  for (const Device& device : kDevices) names.push_back(device.name);
  return names;
}

json WiresOf(Board& board, const std::string& name) {
  for (const Device& device : kDevices) {
    if (device.name == name) return device.rows(board);
  }
  return json::object();
}

}  // namespace twin::panel

// What a layer does with a write frame and answers to a read frame, one row a code. A write frame with a camera that
// its command is not for, or with bits set that mean nothing, is complained about and does nothing.

#include <algorithm>
#include <array>
#include <cstdio>

#include "twin/devices/fpga/layer.h"

namespace twin {

namespace {

struct ReadRow {
  uint8_t code;
  const char* name;
  uint32_t (*value)(const Layer& layer);                     // cut to a byte
  uint32_t (*read)(Layer& layer, uint32_t value) = nullptr;  // what a read on the bus makes of it, and does
};

}  // namespace

struct LayerRegisters {
  using Command = CameraCommand;

  // Whom a command is for: the layer itself, all of its cameras, any of them or all, one of them.
  enum class For : uint8_t { Layer, Cameras, Any, One };
  struct WriteRow {
    uint8_t code;
    For target;
    uint8_t h, m, l;  // bits with a meaning; the others are 0 in a right frame
    const char* name;
    void (*write)(Layer& layer, const Command& command);
  };
  static constexpr uint8_t kFirstOfMeter = 0x4D;  // from here on the registers exist in the measuring layer alone
  static bool Has(const Layer& layer, uint8_t code) { return code < kFirstOfMeter || layer.index_ == kMeasuringLayer; }

  static void SetBracketed(Layer& layer, bool on) {
    if (layer.index_ == kMeasuringLayer) layer.parts_.meter.SetBracketed(on);
  }
  static void SetStart(Layer& layer, const Command& command) {
    if (layer.index_ == kMeasuringLayer) {
      layer.parts_.meter.SetStart(static_cast<uint16_t>(command.h << 8 | command.m));
    }
  }

  static constexpr std::array<WriteRow, 26> writeRows = {{
      {0x12, For::Layer, 0, 0, 0, "FIFO reset high", [](Layer& l, const Command&) { l.SetFifoReset(true); }},
      {0x13, For::Layer, 0, 0, 0, "FIFO reset low", [](Layer& l, const Command&) { l.SetFifoReset(false); }},
      {0x14, For::Layer, 0xFF, 0xFF, 0xFF, "load and run main delay",
       [](Layer& l, const Command& c) { l.RunMainDelay(static_cast<uint32_t>(c.h << 16 | c.m << 8 | c.l)); }},
      {0x15, For::Layer, 0xFC, 0xFF, 0, "byte of an exposure set",
       [](Layer& l, const Command& c) { l.WriteSetByte(c); }},
      {0x16, For::Layer, 0xFF, 0, 0, "line length, high byte",
       [](Layer& l, const Command& c) { l.capture_.SetLineLengthHigh(c.h); }},
      {0x17, For::Cameras, 0xFF, 0, 0, "limit of frame starts",
       [](Layer& l, const Command& c) { l.capture_.SetFrameStartLimit(c.h); }},
      {0xB0, For::Cameras, 0x38, 0, 0, "fetch byte of exposure set", [](Layer& l, const Command& c) { l.Queue(c); }},
      {0xD0, For::Layer, 0, 0, 0, "prepare capture", [](Layer& l, const Command&) { l.PrepareCapture(); }},
      {0xD1, For::Layer, 0, 0, 0, "start capture", [](Layer& l, const Command&) { l.capture_.Start(); }},
      {0xD2, For::Layer, 0, 0, 0, "brackets on", [](Layer& l, const Command&) { SetBracketed(l, true); }},
      {0xD3, For::Layer, 0, 0, 0, "brackets off", [](Layer& l, const Command&) { SetBracketed(l, false); }},
      {0xD6, For::Layer, 0x3F, 0, 0, "send a stored frame", [](Layer& l, const Command& c) { l.Send(c.h); }},
      {0xD8, For::Layer, 0, 0, 0, "source: own store",
       [](Layer& l, const Command&) { l.parts_.chain.SelectPassOn(l.index_, false); }},
      {0xD9, For::Layer, 0, 0, 0, "source: layer before",
       [](Layer& l, const Command&) { l.parts_.chain.SelectPassOn(l.index_, true); }},
      {0xDA, For::Layer, 0, 0, 0, "parallel link on",
       [](Layer& l, const Command&) { l.parts_.chain.SetParallel(l.index_, true); }},
      {0xDB, For::Layer, 0, 0, 0, "parallel link off",
       [](Layer& l, const Command&) { l.parts_.chain.SetParallel(l.index_, false); }},
      {0xDD, For::Layer, 0xFF, 0xFF, 0, "starting exposure", [](Layer& l, const Command& c) { SetStart(l, c); }},
      {0xE1, For::Any, 0xFF, 0xFF, 0xFF, "load sub delay", [](Layer& l, const Command& c) { l.Queue(c); }},
      {0xE2, For::Cameras, 0, 0, 0, "run sub delay", [](Layer& l, const Command& c) { l.Queue(c); }},
      {0xE3, For::Cameras, 0, 0, 0, "wait for rising sync", [](Layer& l, const Command& c) { l.Queue(c); }},
      {0xE4, For::Cameras, 0, 0, 0, "wait for falling sync", [](Layer& l, const Command& c) { l.Queue(c); }},
      {0xE5, For::Layer, 0, 0, 0, "sensors out of reset", [](Layer& l, const Command&) { l.SetSensorReset(false); }},
      {0xE6, For::Layer, 0, 0, 0, "sensors into reset", [](Layer& l, const Command&) { l.SetSensorReset(true); }},
      {0xF0, For::Any, 0xFF, 0xFF, 0xFF, "write sensor register", [](Layer& l, const Command& c) { l.Queue(c); }},
      {0xF1, For::Cameras, 0xFF, 0xFF, 0, "write fetched byte", [](Layer& l, const Command& c) { l.Queue(c); }},
      {0xF2, For::One, 0xFF, 0xFF, 0, "read sensor register", [](Layer& l, const Command& c) { l.Queue(c); }},
  }};

  static constexpr std::array<ReadRow, 16> readRows = {{
      {0x40, "ready", [](const Layer& l) { return uint32_t{l.Ready()}; },
       [](Layer& l, uint32_t ready) { return uint32_t{ready != 0 && !l.parts_.faults.ready.Ask(l.index_)}; }},
      {0x41, "FIFO almost full",
       [](const Layer& l) { return uint32_t{l.groups_[0].AlmostFull() || l.groups_[1].AlmostFull()}; }},
      {0x43, "capture configured", [](const Layer& l) { return uint32_t{l.capture_.Configured()}; }},
      {0x44, "capture saved", [](const Layer& l) { return uint32_t{l.capture_.Saved()}; }},
      {0x45, "last read, cameras 0 to 6", [](const Layer& l) { return uint32_t{l.groups_[0].LastRead()}; },
       [](Layer& l, uint32_t byte) { return l.groups_[0].TakesLastRead(), byte; }},
      {0x46, "last read, cameras 7, 8", [](const Layer& l) { return uint32_t{l.groups_[1].LastRead()}; },
       [](Layer& l, uint32_t byte) { return l.groups_[1].TakesLastRead(), byte; }},
      {0x48, "sending", [](const Layer& l) { return uint32_t{l.parts_.chain.Busy(l.index_)}; }},
      {0x49, "row errors, low", [](const Layer& l) { return l.capture_.RowErrors(); }},
      {0x4A, "row errors, high", [](const Layer& l) { return l.capture_.RowErrors() >> 8; }},
      {0x4B, "FIFOs empty", [](const Layer& l) { return uint32_t{l.CommandsWaiting() == 0}; }},
      {0x4C, "capture saved", [](const Layer& l) { return uint32_t{l.capture_.Saved()}; }},
      {0x4D, "measurements", [](const Layer& l) { return uint32_t{l.parts_.meter.Count()}; }},
      {0x4E, "measured average", [](const Layer& l) { return uint32_t{l.parts_.meter.Average()}; }},
      {0x50, "its exposure, high", [](const Layer& l) { return l.parts_.meter.MeasuredExposure() >> 16; }},
      {0x51, "its exposure, middle", [](const Layer& l) { return l.parts_.meter.MeasuredExposure() >> 8; }},
      {0x52, "its exposure, low", [](const Layer& l) { return l.parts_.meter.MeasuredExposure(); }},
  }};
};

void Layer::Write(const CameraCommand& command) {
  const auto& rows = LayerRegisters::writeRows;
  const auto row = std::find_if(rows.begin(), rows.end(), [&](const auto& r) { return r.code == command.code; });
  if (row == rows.end()) return Complain("no such command", command);
  using For = LayerRegisters::For;
  const bool all = command.camera == CameraCommand::kAllCameras;
  const bool addressed = row->target == For::Any || (row->target == For::Layer && command.camera == 0) ||
                         (row->target == For::Cameras && all) || (row->target == For::One && !all);
  if (!addressed) return Complain("a command for other cameras than it has", command);
  if ((command.h & ~row->h) != 0 || (command.m & ~row->m) != 0 || (command.l & ~row->l) != 0) {
    return Complain("a command with more in it than it takes", command);
  }
  row->write(*this, command);
}

uint8_t Layer::Read(uint8_t code) {
  const auto& rows = LayerRegisters::readRows;
  const auto row = std::find_if(rows.begin(), rows.end(), [&](const auto& r) { return r.code == code; });
  if (row == rows.end() || !LayerRegisters::Has(*this, code)) {
    Complain("no such register", {.code = code});
    return 0;
  }
  const uint32_t value = row->value(*this);
  return static_cast<uint8_t>(row->read ? row->read(*this, value) : value);
}

std::vector<Layer::Register> Layer::Registers() const {
  std::vector<Register> registers;
  for (const auto& row : LayerRegisters::readRows) {
    if (LayerRegisters::Has(*this, row.code))
      registers.push_back({row.code, row.name, static_cast<uint8_t>(row.value(*this))});
  }
  return registers;
}

}  // namespace twin

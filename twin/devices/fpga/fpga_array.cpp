#include "twin/devices/fpga/fpga_array.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace twin {

namespace {

constexpr uint32_t kConfigurationClock = 4;
constexpr uint32_t kFabricClock = 0x14;
constexpr Duration kClockLock = 10ms;  // until the fabric's clock is steady: an estimate
constexpr size_t kFrameBytes = 8;
constexpr int kAllLayers = 3;

std::string Hex(std::span<const uint8_t> bytes) {
  std::string text;
  for (const uint8_t byte : bytes.first(std::min<size_t>(bytes.size(), 16))) {
    char digits[4];
    std::snprintf(digits, sizeof digits, " %02X", byte);
    text += digits;
  }
  return text;
}

}  // namespace

FpgaArray::FpgaArray(Kernel& kernel, Faults& faults, PictureSource& pictures, GpioBanks& gpio)
    : kernel_(kernel),
      faults_(faults),
      reset_(gpio.At(5, 7)),
      suspend_(gpio.At(6, 2)),
      power_(gpio.At(0, 2)),
      spi_(
          kernel, faults_, [this](auto out, auto in) { Exchange(out, in); },
          [this](std::string text) { Complain(std::move(text)); }),
      meter_(faults_),
      chain_(kernel, faults_),
      pictures_(pictures),
      configuration_(
          kernel, faults_, gpio, [this](std::string text) { Complain(std::move(text)); }, [this] { LookAtFabric(); }) {
  for (int layer = 0; layer < kLayers; layer++) {
    layers_.emplace_back(layer, LayerParts{kernel, faults_, pictures, meter_, chain_,
                                           [this](std::string text) { Complain(std::move(text)); },
                                           [this] { return shots_; }, [this] { LayerSaved(); }});
  }
  meter_.OnBracketing([this] { shots_++; });
  power_.Release(false);
  suspend_.Release(false);
  power_.OnChange([this](bool on) { PowerChanges(on); });
  gpio.At(6, 0).OnChange([this](bool high) {
    if (!high && power_.Level() && (suspend_.Level() || kernel_.Now() < awakeAt_)) Complain("PROGRAM_B under suspend");
  });
  suspend_.OnChange([this](bool high) {
    if (!high) awakeAt_ = kernel_.Now() + kSuspendWake;
    if (high && running_ && std::ranges::any_of(layers_, &Layer::SensorsRun))
      Complain("SUSPEND stops the clock of sensors that are out of their reset");
    LookAtFabric();
  });
  reset_.OnChange([this](bool high) { ResetChanges(high); });
  SetPower(power_.Level());
}

void FpgaArray::SetPower(bool on) {
  configuration_.SetPower(on);
  if (!on) ResetLayers();
}

void FpgaArray::PowerChanges(bool on) {
  if (!on) {
    powerLowAt_ = kernel_.Now();
  } else if (const auto since = std::exchange(powerLowAt_, std::nullopt);
             since && kernel_.Now() - *since < kShortestPowerOff) {
    return Complain("the power was off for too short a time");  // the parts stay as the dip has left them: dead
  }
  SetPower(on);
}

void FpgaArray::ResetChanges(bool high) {
  LookAtFabric();
  if (!high) {
    resetLowAt_ = kernel_.Now();
    return;
  }
  const auto since = std::exchange(resetLowAt_, std::nullopt);
  if (!Clocked()) return;
  if (since && kernel_.Now() - *since < kShortestReset) return Complain("the reset was low for too short a time");
  running_ = true;
  startedAt_ = kernel_.Now();
}

void FpgaArray::PowerOnReset() {
  clock_ = 0;
  spi_.PowerOnReset();
  LookAtFabric();
}

bool FpgaArray::Clocked() const {
  return configuration_.Configured() && clock_ == kFabricClock && !suspend_.Level() && kernel_.Now() >= awakeAt_;
}

// Called at every change of what the fabric hangs on. Only a rising reset line, while the clock runs, starts it.
void FpgaArray::LookAtFabric() {
  if (running_ && !(Clocked() && reset_.Level())) ResetLayers();
}

void FpgaArray::ResetLayers() {
  running_ = false;
  meter_.Reset();
  for (Layer& layer : layers_) layer.Reset();
}

uint32_t FpgaArray::ReadRegister(uint32_t /*address*/) { return clock_; }

void FpgaArray::WriteRegister(uint32_t /*address*/, uint32_t value) {
  if (value == kFabricClock && clock_ != value) awakeAt_ = kernel_.Now() + kClockLock;
  clock_ = value;
  LookAtFabric();
}

void FpgaArray::Exchange(std::span<const uint8_t> out, std::span<uint8_t> in) {
  if (faults_.power.Ask()) {
    SetPower(false);
    SetPower(power_.Level());
  }
  if (!configuration_.Configured()) {
    configuration_.Feed(out, clock_ == kConfigurationClock);
  } else if (running_) {
    if (kernel_.Now() < startedAt_ + kFabricStart) return Complain("a frame to layers that are starting" + Hex(out));
    Frame(out, in);
  }
}

void FpgaArray::Frame(std::span<const uint8_t> out, std::span<uint8_t> in) {
  const uint8_t address = out.empty() ? 0 : out[0];
  const bool read = (address & 2) != 0;
  const int layer = address >> 6;
  const int camera = (address >> 2) & 15;
  bool wellFormed = out.size() == kFrameBytes && (address & 1) != 0;
  for (size_t i = 2; wellFormed && i < kFrameBytes; i += 2) wellFormed = out[i] == (address & 0xFE);
  if (wellFormed && read) wellFormed = layer < kAllLayers && camera == 0;
  if (!wellFormed) return Complain("malformed frame" + Hex(out));

  if (read) return ReadFrame(layer, out[1], in);
  const CameraCommand command{out[1], static_cast<uint8_t>(camera), out[3], out[5], out[7]};
  for (int i = 0; i < kLayers; i++) {
    if (layer == i || layer == kAllLayers) layers_[static_cast<size_t>(i)].Write(command);
  }
}

void FpgaArray::ReadFrame(int layer, uint8_t code, std::span<uint8_t> in) {
  uint8_t value = layers_[static_cast<size_t>(layer)].Read(code);
  if (const auto effect = faults_.reply.Ask(layer * 256 + code)) {
    value = effect->kind == Effect::Kind::Value ? static_cast<uint8_t>(effect->value) : 0;
  }
  in[3] = value;
}

void FpgaArray::LayerSaved() {
  std::vector<StoredFrame> frames;
  for (const Layer& layer : layers_) {
    if (!layer.Capture().Saved()) return;
    const auto some = layer.Capture().FramesInReplayOrder();
    frames.insert(frames.end(), some.begin(), some.end());
  }
  pictures_.Prefetch(frames);
}

Sensor& FpgaArray::At(int camera) {
  for (int layer = 0; layer < kLayers; layer++) {
    for (int position = 0; position < kCamerasOfLayer[static_cast<size_t>(layer)]; position++) {
      if (ImageNumber(layer, position) == camera) return layers_[static_cast<size_t>(layer)].At(position);
    }
  }
  throw std::out_of_range("there is no camera " + std::to_string(camera));
}

const char* FpgaArray::StateName() const {
  if (!configuration_.Configured()) return configuration_.StateName();
  if (suspend_.Level()) return "suspended";
  return running_ ? "running" : "configured";
}

const char* FpgaArray::LayerStateName(int layer) const {
  return chain_.Busy(layer) ? "sending" : layers_[static_cast<size_t>(layer)].Capture().StateName();
}

void FpgaArray::Complain(std::string text) const {
  if (complaints_) complaints_("array: " + std::move(text));
}

}  // namespace twin

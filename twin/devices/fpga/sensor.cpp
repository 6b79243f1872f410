#include "twin/devices/fpga/sensor.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "twin/light/picture_source.h"

namespace twin {

namespace {

constexpr size_t kRegisters = 0x6000;
constexpr int kTemperatureZero = 0x40;
constexpr double kInputClock = 24e6;  // Hz

struct ResetValue {
  uint16_t address;
  uint8_t value;
};
constexpr ResetValue kResetValues[] = {
    {0x300B, 0x88}, {0x300C, 0x65}, {0x3501, 0x40},
    {0x3509, 0x80}, {0x380C, 0x07}, {0x380D, 0x98},
    {0x380E, 0x09}, {0x380F, 0xA6}, {0x4D13, kTemperatureZero},
};

}  // namespace

Sensor::Sensor(Kernel& kernel, ArrayFaults& faults, int camera, std::function<void(std::string)> complain)
    : kernel_(kernel), faults_(faults), camera_(camera), complain_(std::move(complain)), registers_(kRegisters) {
  SoftReset();
}

void Sensor::SetReset(bool held) {
  if (held == held_) return;
  held_ = held;
  SoftReset();
  softReset_ = false;
  awakeAt_ = kernel_.Now() + kSensorWake;
}

void Sensor::SoftReset() {
  SetStreaming(false);
  std::fill(registers_.begin(), registers_.end(), uint8_t{0});
  for (const ResetValue& row : kResetValues) registers_[row.address] = row.value;
  triggerLowAt_ = kernel_.Now();
  convertedAt_.reset();
  softReset_ = true;
}

bool Sensor::Write(uint16_t address, uint8_t value) {
  if (!Answers() || address >= kRegisters) return false;
  switch (address) {
    case 0x0100:
      registers_[address] = value;
      SetStreaming((value & 1) != 0);
      break;
    case 0x0103:
      if (value & 1) SoftReset();
      break;
    case 0x300B:
    case 0x300C:
    case 0x4D13: break;  // read only
    case 0x4D12:
      SetTrigger((value & 1) != 0);
      registers_[address] = value;
      break;
    default: registers_[address] = value; break;
  }
  return true;
}

std::optional<uint8_t> Sensor::Read(uint16_t address) {
  if (!Answers() || address >= kRegisters) return std::nullopt;
  std::optional<Effect> effect;
  if (address == 0x300B || address == 0x300C) effect = faults_.chipId.Ask(camera_);
  if (address == 0x4D13) effect = faults_.temperature.Ask(camera_);
  if (address == 0x4D13 && !(convertedAt_ && kernel_.Now() >= *convertedAt_)) {
    complain_("sensor " + std::to_string(camera_) + ": a temperature is read that is not converted");
    return uint8_t{kTemperatureZero};
  }
  if (effect) {
    if (effect->kind != Effect::Kind::Value) return std::nullopt;
    return static_cast<uint8_t>(effect->value);
  }
  return registers_[address];
}

void Sensor::SetStreaming(bool on) {
  if (on == streaming_) return;
  streaming_ = on;
  inFrame_ = false;
  kernel_.Cancel(frameEvent_);
  if (!on) return;
  if (!softReset_ || PixelClock() == 0) {
    return complain_("sensor " + std::to_string(camera_) + ": is to stream without a software reset and clocks");
  }
  frameEvent_ = kernel_.After(kStreamStart, [this] { StartFrame(); });
}

// A rising trigger starts a conversion, if the sensor runs and the trigger was low for long enough to be seen.
void Sensor::SetTrigger(bool on) {
  const bool was = (registers_[0x4D12] & 1) != 0;
  if (was && !on) triggerLowAt_ = kernel_.Now();
  if (was || !on || !inFrame_ || kernel_.Now() < triggerLowAt_ + kConversion) return;
  registers_[0x4D13] = static_cast<uint8_t>(temperature_ + kTemperatureZero);
  convertedAt_ = kernel_.Now() + kConversion;
}

double Sensor::PixelClock() const {
  constexpr double kPredivider[] = {1, 1.5, 2, 2.5, 3, 4, 6, 8};
  const int multiplier = (Register(0x030C) & 3) << 8 | Register(0x030D);
  const int divider = (1 + (Register(0x030F) & 0x0F)) * (Register(0x0312) & 0x0F);
  return divider == 0 ? 0 : kInputClock * multiplier / kPredivider[Register(0x030E) & 7] / divider;
}

Sensor::Output Sensor::Lanes() const {
  if ((Register(0x031E) & 0x0C) != 0x0C) return {};
  const int multiplier = (Register(0x0301) & 3) << 8 | Register(0x0302);
  const int divider = (1 + (Register(0x0303) & 0x0F)) * (1 + (Register(0x0304) & 3));
  return {kInputClock * multiplier / divider, Register(0x4837)};
}

void Sensor::StartFrame() {
  const bool ended = inFrame_;
  const Exposure taken = exposure_;
  inFrame_ = true;
  exposure_ = Latch();
  frameStart_ = kernel_.Now();
  frameEvent_ = kernel_.After(exposure_.length, [this] { StartFrame(); });
  if (ended && listener_.frameEnds) listener_.frameEnds(taken);
  if (listener_.frameStarts) listener_.frameStarts();
}

Duration Sensor::SyncLength() const {
  return Duration(std::llround(kFrameSyncRows * 2.0 * exposure_.lineLength / PixelClock() * 1e9));
}

Sensor::Exposure Sensor::Latch() const {
  constexpr Duration kShortestFrame = 1ms;  // no clock set-up makes a frame shorter than this
  Exposure exposure;
  exposure.lineLength = Word(0x380C);
  const int frameRows = Word(0x380E);
  const double rowSeconds = 2.0 * exposure.lineLength / PixelClock();
  const int shutter = (Register(0x3500) & 0x0F) << 16 | Word(0x3501);
  const double rows = std::clamp(shutter / 16.0, 0.0, std::max(0.0, static_cast<double>(frameRows - kFrameMargin)));
  exposure.seconds = rows * rowSeconds;
  const bool ownGain = (Register(0x3503) & 4) != 0;
  const int coarse = 1 << std::popcount(static_cast<unsigned>(Register(0x3508) & 0x1F));
  exposure.gain = ownGain ? coarse * (Register(0x3509) >> 3) / 16.0 : (Word(0x3508) & 0x1FFF) / 128.0;
  exposure.wholeRows = Word(0x3808) == WidthOf(PictureSize::Full) && Word(0x380A) == HeightOf(PictureSize::Full) &&
                       Word(0x3804) - Word(0x3800) + 1 >= Word(0x3808) &&
                       Word(0x3806) - Word(0x3802) + 1 >= Word(0x380A);
  exposure.flip = (Register(0x3820) & 2) != 0;
  exposure.mirror = (Register(0x3821) & 2) != 0;
  exposure.length =
      std::max(kShortestFrame, Duration(static_cast<int64_t>(std::llround(frameRows * rowSeconds * 1e9))));
  return exposure;
}

}  // namespace twin

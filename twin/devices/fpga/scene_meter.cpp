#include "twin/devices/fpga/scene_meter.h"

#include <algorithm>
#include <cmath>

namespace twin {

namespace {

constexpr int kEndMark = 7;
constexpr int kMeasuringRows = 2470;  // frame length while measuring
constexpr uint32_t kStepRatio = 16;

struct Split {
  uint32_t shutter;  // sixteenths of a row
  uint32_t fine, coarse;
};

// Shutter first, gain from where the frame is full.
Split SplitExposure(uint32_t exposure) {
  Split split{exposure, 16, 1};
  if (exposure / 16 <= SceneMeter::kMostRows) return split;
  split.fine = (exposure + SceneMeter::kMostRows - 1) / SceneMeter::kMostRows;
  while (split.fine > 31) {
    split.fine = (split.fine + 1) / 2;
    split.coarse *= 2;
  }
  split.shutter = exposure * 16 / (split.fine * split.coarse);
  return split;
}

}  // namespace

void SceneMeter::Reset() {
  startExposure_ = 0;
  bracketed_ = false;
  Prepare();
}

void SceneMeter::Prepare() {
  written_.fill(0);
  exposure_ = std::min(startExposure_, kMostExposure);
  begunSteps_ = 0;
  setsInUse_ = 0;
  firstSetStep_ = 0;
  sums_.clear();
  count_ = 0;
  average_ = 0;
  measuredExposure_ = 0;
}

void SceneMeter::SetStart(uint16_t rows) {
  startExposure_ = rows * 16u;
  exposure_ = std::min(startExposure_, kMostExposure);
}

void SceneMeter::WriteSet(int set, int index, uint8_t value) {
  sets_[static_cast<size_t>(set - 1)][static_cast<size_t>(index)] = value;
  written_[static_cast<size_t>(set - 1)] |= static_cast<uint8_t>(1 << index);
}

int SceneMeter::CompleteSets() const {
  for (size_t i = 0; i < sets_.size(); i++) {
    if (written_[i] != 0xFF) return 0;
    if (sets_[i][kEndMark] == 0xFF || !bracketed_) return static_cast<int>(i) + 1;
  }
  return 0;
}

void SceneMeter::BeginStep(Cursor& cursor) {
  cursor.open = true;
  if (setsInUse_ == 0 && cursor.step >= begunSteps_ && CompleteSets() > 0) {
    setsInUse_ = CompleteSets();
    firstSetStep_ = cursor.step;
    if (bracketing_) bracketing_();
  }
  begunSteps_ = std::max(begunSteps_, cursor.step + 1);
  if (setsInUse_ > 0 && cursor.step >= firstSetStep_) {
    cursor.set =
        static_cast<int>(std::min<uint32_t>(cursor.step - firstSetStep_ + 1, static_cast<uint32_t>(setsInUse_)));
    cursor.bytes = sets_[static_cast<size_t>(cursor.set - 1)];
    return;
  }
  const Split split = SplitExposure(exposure_);
  cursor.set = 0;
  cursor.exposure = split.shutter * split.fine * split.coarse / 16;
  cursor.bytes = {static_cast<uint8_t>(split.shutter >> 16),
                  static_cast<uint8_t>(split.shutter >> 8),
                  static_cast<uint8_t>(split.shutter),
                  static_cast<uint8_t>(kMeasuringRows >> 8),
                  static_cast<uint8_t>(kMeasuringRows & 0xFF),
                  static_cast<uint8_t>(split.coarse - 1),
                  static_cast<uint8_t>(0x80 | (split.fine & 0x0F) << 3),
                  0};
}

uint8_t SceneMeter::Fetch(Cursor& cursor, int index, Step* finished) {
  if (!cursor.open) BeginStep(cursor);
  const uint8_t value = cursor.bytes[static_cast<size_t>(index)];
  if (index == kEndMark) {
    *finished = Step{.number = cursor.step, .exposure = cursor.exposure};
    if (cursor.set > 0) {
      finished->bracket = cursor.set - 1;
      finished->last = cursor.set == setsInUse_;
      finished->spent = cursor.step - firstSetStep_ >= static_cast<uint32_t>(setsInUse_);
    }
    cursor.step++;
    cursor.open = false;
  }
  return value;
}

void SceneMeter::FrameBegins(const Step& step) { sums_[step.number].begun++; }

void SceneMeter::FrameEnds(const Step& step, double signal) {
  const auto found = sums_.find(step.number);
  if (found == sums_.end()) return;
  Sum& sum = found->second;
  sum.signal += signal;
  if (++sum.ended < sum.begun) return;
  Publish(step.exposure, sum.signal / sum.begun);
  sums_.erase(sums_.begin(), std::next(found));  // older ones were left behind by sensors that stopped
}

void SceneMeter::Publish(uint32_t exposure, double signal) {
  int average = static_cast<int>(std::lround(std::clamp(signal, 0.0, 1.0) * 255));
  if (const auto effect = faults_.average.Ask()) {
    average = effect->kind == Effect::Kind::Value ? static_cast<int>(effect->value & 0xFF) : 0;
  }
  count_++;
  if (exposure == 0) return;  // nothing to go on from
  average_ = static_cast<uint8_t>(average);
  measuredExposure_ = exposure;
  const uint32_t wanted =
      average == 0 ? exposure * kStepRatio
                   : static_cast<uint32_t>(static_cast<uint64_t>(exposure) * kTarget / static_cast<uint32_t>(average));
  exposure_ =
      std::clamp(std::clamp(wanted, exposure / kStepRatio, exposure * kStepRatio), kLeastExposure, kMostExposure);
}

}  // namespace twin

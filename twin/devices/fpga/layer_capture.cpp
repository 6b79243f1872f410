#include "twin/devices/fpga/layer_capture.h"

#include <algorithm>
#include <utility>

namespace twin {

LayerCapture::LayerCapture(int layer, int groups, LayerParts& parts)
    : layer_(layer), groups_(groups), parts_(parts), frames_(static_cast<size_t>(Cameras())) {}

void LayerCapture::Reset() {
  Prepare();
  prepared_ = false;
  lineLengthHigh_ = 0;
  frameStartLimit_ = 0;
}

void LayerCapture::Start() {
  if (!std::exchange(prepared_, false)) return parts_.complain("a capture starts that is not prepared");
  capturing_ = true;
}

void LayerCapture::Prepare() {
  parts_.kernel.Cancel(saveEvent_);
  for (CameraFrames& frames : frames_) frames = {};
  store_ = {};
  prepared_ = true;
  capturing_ = false;
  groupsDone_ = 0;
  brackets_ = 0;
  configured_ = false;
  saved_ = false;
  bracketStarts_ = 0;
  rowErrors_ = 0;
}

void LayerCapture::StepEnds(int group, int firstCamera, int cameras, const SceneMeter::Step& step) {
  if (!capturing_ || step.spent) return;
  const Tag tag{step.bracket < 0 ? Tag::Kind::Measure : Tag::Kind::Bracket, step};
  for (int camera = firstCamera; camera < firstCamera + cameras; camera++) {
    frames_[static_cast<size_t>(camera)].next = tag;
  }
  if (!step.last) return;
  groupsDone_ |= 1u << group;
  if (groupsDone_ == (1u << groups_) - 1) FinishConfiguration(step.bracket + 1);
}

void LayerCapture::FinishConfiguration(int brackets) {
  if (const auto effect = parts_.faults.rowErrors.Ask(layer_)) {
    rowErrors_ += effect->kind == Effect::Kind::Value ? static_cast<uint32_t>(effect->value) : 1;
  }
  if (parts_.faults.conf.Ask(layer_)) return;
  configured_ = true;
  brackets_ = brackets;
}

void LayerCapture::FrameStarts(int camera) {
  CameraFrames& frames = frames_[static_cast<size_t>(camera)];
  frames.present = std::exchange(frames.next, Tag{});
  if (frames.present.kind == Tag::Kind::Bracket) bracketStarts_++;
  if (frames.present.kind == Tag::Kind::Measure && layer_ == kMeasuringLayer) {
    parts_.meter.FrameBegins(frames.present.step);
  }
  if (frames.present.kind == Tag::Kind::Bracket && bracketStarts_ > frameStartLimit_) frames.present = Tag{};
}

void LayerCapture::FrameEnds(int camera, const Sensor::Exposure& taken) {
  constexpr uint32_t kMostRowErrors = 0xFFFF;
  const Tag tag = std::exchange(frames_[static_cast<size_t>(camera)].present, Tag{});
  if (tag.kind == Tag::Kind::None) return;
  if (taken.lineLength >> 8 != lineLengthHigh_ || !taken.wholeRows) {
    rowErrors_ = std::min(kMostRowErrors, rowErrors_ + static_cast<uint32_t>(HeightOf(PictureSize::Full)));
  }
  if (tag.kind == Tag::Kind::Bracket) {
    Store(camera, tag.step.bracket, taken);
  } else if (layer_ == kMeasuringLayer) {
    const int image = ImageNumber(layer_, camera);
    parts_.meter.FrameEnds(tag.step,
                           parts_.pictures.MeanSignal(image, taken.seconds * taken.gain * parts_.pictures.Light()));
  }
}

void LayerCapture::Store(int camera, int bracket, const Sensor::Exposure& taken) {
  StoredFrame frame;
  frame.camera = ImageNumber(layer_, camera);
  frame.bracket = bracket;
  frame.shot = parts_.shot();
  frame.seconds = taken.seconds;
  frame.gain = taken.gain;
  frame.mirror = taken.mirror;
  frame.flip = taken.flip;
  frame.light = parts_.pictures.Light();
  frame.stance = parts_.pictures.HeldAs();
  frame.pairsExchanged = PairsExchanged(frame.camera);
  store_[static_cast<size_t>(camera * kBrackets + bracket)] = frame;
  LookIfSaved();
}

void LayerCapture::LookIfSaved() {
  if (!configured_) return;
  for (int camera = 0; camera < Cameras(); camera++) {
    for (int bracket = 0; bracket < brackets_; bracket++) {
      if (!Slot(camera * kBrackets + bracket)) return;
    }
  }
  parts_.kernel.Cancel(saveEvent_);
  saveEvent_ = parts_.kernel.After(kSaveTail, [this] {
    if (parts_.faults.save.Ask(layer_)) return;
    saved_ = true;
    parts_.saved();
  });
}

std::vector<StoredFrame> LayerCapture::FramesInReplayOrder() const {
  std::vector<StoredFrame> frames;
  for (int bracket = 0; bracket < kBrackets; bracket++) {
    for (int camera = 0; camera < Cameras(); camera++) {
      if (const auto& frame = Slot(camera * kBrackets + bracket)) frames.push_back(*frame);
    }
  }
  return frames;
}

const char* LayerCapture::StateName() const {
  if (saved_) return "saved";
  if (configured_) return "saving";
  if (!capturing_) return "idle";
  return parts_.meter.SetsInUse() > 0 ? "bracketing" : "measuring";
}

}  // namespace twin

#include "twin/devices/media/bayer_dump.h"

#include <algorithm>
#include <array>
#include <utility>

#include "twin/light/bayer.h"

namespace twin {

namespace {

constexpr VI_DEV kDevice = 0;
constexpr size_t kWidth = WidthOf(PictureSize::Full), kHeight = HeightOf(PictureSize::Full);
constexpr size_t kSamples = kWidth * kHeight;

HI_S32 Error(Refusal reason) { return MediaError(MediaUnit::Input, reason); }

void ExchangePairs(std::span<uint16_t> samples) {
  for (size_t i = 0; i + 4 <= samples.size(); i += 4) {
    std::swap(samples[i], samples[i + 2]);
    std::swap(samples[i + 1], samples[i + 3]);
  }
}

// What the unit writes for a frame whose first `missed` rows went by before.
void Write(PictureSource& pictures, const StoredFrame& frame, const Treatment& treatment, size_t missed,
           std::span<uint16_t> memory) {
  std::vector<uint16_t> whole(missed > 0 ? memory.size() : 0);
  const std::span<uint16_t> levels = missed > 0 ? whole : memory;
  pictures.ReadOut(frame, levels);
  if (frame.pairsExchanged) ExchangePairs(levels);
  std::array<uint16_t, fullLevel + 1> words;
  for (uint16_t level = 0; level < words.size(); level++) {
    const uint16_t sample = treatment.Sample(level);
    words[level] = static_cast<uint16_t>(sample << 6 | sample >> 4);
  }
  for (size_t i = missed * kWidth; i < memory.size(); i++) memory[i] = words[levels[i] % words.size()];
}

}  // namespace

// --- bus ---

HI_S32 BayerDump::Enable(VI_DEV device, bool deviceOn) {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (!deviceOn) return Error(Refusal::NotPermitted);
  if (!std::exchange(enabled_, true)) Open();
  return HI_SUCCESS;
}

HI_S32 BayerDump::Disable(VI_DEV device) {
  if (device != kDevice) return Error(Refusal::BadDevice);
  enabled_ = false;
  while (!queue_.empty()) DropOldest();
  changed_.Notify();
  return HI_SUCCESS;
}

void BayerDump::SetRoute(HI_U32 route) {
  const bool led = Leads();
  route_ = route;
  if (!led && Leads()) Open();
}

void BayerDump::Open() {
  if (enabled_ && Leads()) openSince_ = kernel_.Now();
}

HI_S32 BayerDump::SetDepth(VI_CHN channel, HI_U32 depth) {
  if (channel != kChannel) return Error(Refusal::BadChannel);
  if (depth > kMostDepth) return Error(Refusal::BadParameter);
  depth_ = depth;
  while (queue_.size() > depth_) DropOldest();
  return HI_SUCCESS;
}

HI_S32 BayerDump::GetFrame(VI_CHN channel, VIDEO_FRAME_INFO_S* frame, HI_S32 milliseconds) {
  if (channel != kChannel) return Error(Refusal::BadChannel);
  if (frame == nullptr) return Error(Refusal::NullPointer);
  if (milliseconds < -1) return Error(Refusal::BadParameter);
  const Time end = kernel_.Now() + std::chrono::milliseconds(milliseconds);
  while (enabled_ && depth_ > 0 && queue_.empty()) {
    if (milliseconds < 0) {
      changed_.Wait();
    } else if (kernel_.Now() >= end || !changed_.Wait(end - kernel_.Now())) {
      if (queue_.empty()) return Error(Refusal::BufferEmpty);
    }
  }
  if (!enabled_ || depth_ == 0) return Error(Refusal::NotConfigured);
  *frame = queue_.front();
  queue_.pop_front();
  held_.push_back(frame->stVFrame.u32PhyAddr[0]);
  return HI_SUCCESS;
}

HI_S32 BayerDump::ReleaseFrame(VI_CHN channel, const VIDEO_FRAME_INFO_S* frame) {
  if (channel != kChannel) return Error(Refusal::BadChannel);
  if (frame == nullptr) return Error(Refusal::NullPointer);
  const auto held = std::find(held_.begin(), held_.end(), frame->stVFrame.u32PhyAddr[0]);
  if (held == held_.end()) return Error(Refusal::BadParameter);
  system_.GiveBlock(*held);
  held_.erase(held);
  return HI_SUCCESS;
}

// --- frames ---

void BayerDump::FrameArrives(const StoredFrame& frame, Duration took, const Treatment& treatment) {
  if (!enabled_ || depth_ == 0) return;
  while (queue_.size() >= depth_) {
    DropOldest();
    counts_.replaced++;
  }
  const auto block = system_.TakeBlock(kSamples * sizeof(uint16_t));
  if (!block) {
    counts_.noBlock++;
    return;
  }
  const Duration late = std::clamp(openSince_ - (kernel_.Now() - took), Duration{0}, took);
  const auto missed = static_cast<size_t>(int64_t{kHeight} * late.count() / took.count());
  memory_.Put(block->address, kSamples, [this, frame, treatment, missed](std::span<uint16_t> memory) {
    Write(pictures_, frame, treatment, missed, memory);
  });
  VIDEO_FRAME_INFO_S info = {};
  info.stVFrame.u32Width = kWidth;
  info.stVFrame.u32Height = kHeight;
  info.stVFrame.u32Stride[0] = kWidth;
  info.stVFrame.u32PhyAddr[0] = block->address;
  info.stVFrame.u64pts = static_cast<HI_U64>(kernel_.Now() / 1us);
  info.u32PoolId = block->pool;
  queue_.push_back(info);
  counts_.kept++;
  changed_.Notify();
}

void BayerDump::DropOldest() {
  system_.GiveBlock(queue_.front().stVFrame.u32PhyAddr[0]);
  queue_.pop_front();
}

void BayerDump::Forget() {
  Disable(kDevice);
  for (const HI_U32 address : held_) system_.GiveBlock(address);
  held_.clear();
  depth_ = 0;
}

}  // namespace twin

#include "twin/devices/media/media_pipeline.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace twin {

namespace {

MediaPipeline* current = nullptr;

constexpr MPP_CHN_S InputEnd() { return {HI_ID_VIU, 0, 0}; }
constexpr MPP_CHN_S GroupEnd() { return {HI_ID_VPSS, 0, 0}; }
constexpr MPP_CHN_S VpssEnd(int channel) { return {HI_ID_VPSS, 0, channel}; }
constexpr MPP_CHN_S EncoderEnd(int channel) { return {HI_ID_VENC, 0, channel}; }

}  // namespace

MediaPipeline::MediaPipeline(Kernel& kernel, Faults& faults, PictureSource& pictures, Descriptors& descriptors)
    : memory(faults),
      lanes(kernel, faults),
      dump(kernel, pictures, system, memory),
      isp(kernel),
      kernel_(kernel),
      calls_(faults),
      dropped_(faults, "frame.dropped", "any effect: the input loses the frame; detail: camera x 6 + bracket"),
      encoders_{{{kernel, pictures, descriptors, system},
                 {kernel, pictures, descriptors, system},
                 {kernel, pictures, descriptors, system},
                 {kernel, pictures, descriptors, system}}} {
  if (current != nullptr) throw std::logic_error("one media pipeline at a time");
  current = this;
  descriptors.AddNode("/dev/hi_mipi", lanes);
  descriptors.AddNode("/dev/mem", memory);
  isp.SetComplaints([this](const std::string& what) { ComplainOnce(what); });
}

MediaPipeline::~MediaPipeline() { current = nullptr; }

MediaPipeline& MediaPipeline::Current() {
  if (current == nullptr) throw std::logic_error("the media library was called without a board");
  return *current;
}

// --- bus ---

std::optional<HI_S32> MediaPipeline::Broken(MediaCall call, int64_t detail) {
  const MediaCallRow& row = RowOf(call);
  if (const auto effect = calls_.Ask(call, detail)) {
    excused_ = excused_ || effect->kind == Effect::Kind::Fail || effect->kind == Effect::Kind::Value ||
               effect->kind == Effect::Kind::Silence;
    switch (effect->kind) {
      case Effect::Kind::Fail: return MediaError(row.unit, Refusal::NotPermitted);
      case Effect::Kind::Value: return static_cast<HI_S32>(effect->value);
      case Effect::Kind::Silence: return HI_SUCCESS;
      case Effect::Kind::Delay: kernel_.Spend(effect->delay); break;
      case Effect::Kind::PowerCut: break;
    }
  }
  return std::nullopt;
}

// To wait in vain is no mistake, nor to end an ISP that was never begun: who failed before it does so.
HI_S32 MediaPipeline::Judged(MediaCall call, int64_t detail, HI_S32 result) {
  const bool waited = (result & 0x1FFF) == static_cast<int>(Refusal::BufferEmpty);
  const bool ended = call == MediaCall::IspExit && !isp.InUse();
  if (result < 0 && !waited && !ended) {
    ComplainOnce("a call is refused: " + ToldCall(call, {std::to_string(detail)}, result));
  }
  return result;
}

// A signal's handler ends everything at once, whoever uses it.
void MediaPipeline::ComplainOnce(const std::string& what) {
  if (excused_ || kernel_.Dying() || kernel_.FiberName() == "signal") return;
  if (complained_.insert(what).second) complain_(what);
}

// The ISP counts on frames of its rate, and its exposure on their lines.
void MediaPipeline::JudgeTiming() {
  if (std::abs(timing.Rate() / double{isp.Rate()} - 1) > 0.01)
    ComplainOnce("the sensor's timing has not the ISP's rate");
  if (std::abs(int64_t{timing.Lines()} - int64_t{isp.Sensor().Exposure().u32FullLinesStd}) > 1) {
    ComplainOnce("the sensor's timing has other lines than the exposure counts on");
  }
  if (timing.Mapped() > 0) ComplainOnce("mappings of the chip's registers are never given back");
}

std::string MediaPipeline::StillUp() const {
  if (std::any_of(encoders_.begin(), encoders_.end(), [](const EncoderChannel& e) { return e.Exists(); })) {
    return "an encoder";
  }
  if (vpss.Exists(0)) return "the VPSS";
  if (input.DeviceOn()) return "the video input";
  if (isp.InUse()) return isp.InRun() ? "HI_MPI_ISP_Run" : "the ISP";
  return "";
}

// Whatever is still up goes down with the system.
HI_S32 MediaPipeline::ExitSystem() {
  if (const std::string up = StillUp(); !up.empty()) ComplainOnce("the media system ends while " + up + " is still up");
  held_.reset();
  isp.Exit(0);
  TakeDown();
  return HI_SUCCESS;
}

void MediaPipeline::TakeDown() {
  for (EncoderChannel& encoder : encoders_) encoder.Forget();
  vpss.Reset();
  dump.Forget();
  input.Reset();
  system.Exit();
}

HI_S32 MediaPipeline::ExitIsp(ISP_DEV device) {
  if (input.DeviceOn()) ComplainOnce("the ISP ends while the video input is still up");
  held_.reset();
  return isp.Exit(device);
}

HI_S32 MediaPipeline::Bind(const MPP_CHN_S* source, const MPP_CHN_S* destination) {
  if (source == nullptr || destination == nullptr) return MediaError(MediaUnit::System, Refusal::NullPointer);
  for (const MPP_CHN_S* end : {source, destination}) {
    if (end->enModId == HI_ID_VPSS && !vpss.Exists(end->s32DevId)) {
      return MediaError(MediaUnit::Vpss, Refusal::DoesNotExist);
    }
    if (end->enModId != HI_ID_VENC) continue;
    const EncoderChannel* encoder = Encoder(end->s32ChnId);
    if (encoder == nullptr || !encoder->Exists()) return MediaError(MediaUnit::Encoder, Refusal::DoesNotExist);
  }
  return system.Bind(*source, *destination);
}

HI_S32 MediaPipeline::Unbind(const MPP_CHN_S* source, const MPP_CHN_S* destination) {
  if (source == nullptr || destination == nullptr) return MediaError(MediaUnit::System, Refusal::NullPointer);
  return system.Unbind(*source, *destination);
}

HI_S32 MediaPipeline::GetRegister(HI_U32 address, HI_U32* value) const {
  if (value == nullptr) return MediaError(MediaUnit::System, Refusal::NullPointer);
  if (address != BayerDump::kRouteRegister) return MediaError(MediaUnit::System, Refusal::BadParameter);
  *value = dump.Route();
  return HI_SUCCESS;
}

HI_S32 MediaPipeline::SetRegister(HI_U32 address, HI_U32 value) {
  if (address != BayerDump::kRouteRegister) return MediaError(MediaUnit::System, Refusal::BadParameter);
  dump.SetRoute(value);
  return HI_SUCCESS;
}

EncoderChannel* MediaPipeline::Encoder(VENC_CHN channel) {
  return channel >= 0 && channel < kEncoders ? &encoders_[static_cast<size_t>(channel)] : nullptr;
}

// --- frames ---

void MediaPipeline::FrameArrives(const StoredFrame& frame) {
  counts_.arrived++;
  if (dropped_.Ask(frame.camera * 6 + frame.bracket)) {
    counts_.dropped++;
    return;
  }
  const bool comesIn = lanes.Understands(kArrayStream) && timing.Carries(kArrayStream.height);
  if (comesIn && dump.Leads() && input.DeviceTakes(kArrayStream)) {
    counts_.led++;
    dump.FrameArrives(frame, kArrayStream.frameTime, input.Treats());
    return;
  }
  if (!comesIn || !input.Takes(kArrayStream) || !isp.Running() || !isp.Takes(input.DeviceSize())) {
    counts_.unseen++;
    held_.reset();
    return;
  }
  JudgeTiming();
  Treatment treatment = input.Treats();
  isp.Treat(treatment);
  const auto pushedOut = std::exchange(held_, ProcessedFrame{frame, isp.Settings(), kernel_.Now(), treatment});
  if (pushedOut) PushOut(*pushedOut);
}

void MediaPipeline::PushOut(const ProcessedFrame& picture) {
  bool taken = false;
  const SIZE_S incoming = {picture.treatment.window.u32Width, picture.treatment.window.u32Height};
  if (system.Bound(InputEnd(), GroupEnd()) && vpss.Takes(incoming)) {
    for (int from = 0; from < VpssUnit::kChannels; from++) {
      const auto size = vpss.Output(from);
      if (!size) continue;
      for (int to = 0; to < kEncoders; to++) {
        if (!system.Bound(VpssEnd(from), EncoderEnd(to))) continue;
        ProcessedFrame turned = picture;
        vpss.Treat(from, turned.treatment);
        if (!encoders_[static_cast<size_t>(to)].Offer(turned, *size)) continue;
        for (const std::string& wrong : turned.treatment.Wrongs()) ComplainOnce("the pictures come out " + wrong);
        delivered_.push_back({picture.frame, to, picture.settings, kernel_.Now()});
        taken = true;
      }
    }
  }
  if (!taken) counts_.untaken++;
}

void MediaPipeline::Reset() {
  held_.reset();
  TakeDown();
  isp.Reset();
  timing.Reset();
  lanes.Reset();
  system.Reset();
  dump.SetRoute(0);
  memory.Forget();
  excused_ = false;
  complained_.clear();
}

void MediaPipeline::ProcessEnds() {
  if (system.Ready() || system.PoolsUp()) ComplainOnce("the process ends and leaves the media system up");
}

}  // namespace twin

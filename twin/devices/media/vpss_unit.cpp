#include "twin/devices/media/vpss_unit.h"

#include <algorithm>

namespace twin {

namespace {

constexpr size_t kBlocks = 3;  // of pictures on their way through a channel

HI_S32 Error(Refusal reason) { return MediaError(MediaUnit::Vpss, reason); }

}  // namespace

HI_S32 VpssUnit::Create(VPSS_GRP group, const VPSS_GRP_ATTR_S* attr) {
  if (group != 0) return Error(Refusal::BadDevice);
  if (attr == nullptr) return Error(Refusal::NullPointer);
  if (group_) return Error(Refusal::Exists);
  if (attr->u32MaxW == 0 || attr->u32MaxH == 0) return Error(Refusal::BadParameter);
  if (attr->enPixFmt != PIXEL_FORMAT_YUV_SEMIPLANAR_420 || attr->bIeEn != HI_FALSE || attr->bHistEn != HI_FALSE ||
      attr->enDieMode != VPSS_DIE_MODE_NODIE) {
    return Error(Refusal::NotSupported);
  }
  group_ = *attr;
  return HI_SUCCESS;
}

HI_S32 VpssUnit::Destroy(VPSS_GRP group, const SystemUnit& system) {
  if (group != 0) return Error(Refusal::BadDevice);
  if (!group_) return Error(Refusal::DoesNotExist);
  if (started_) return Error(Refusal::NotPermitted);
  if (system.BoundTo({HI_ID_VPSS, group, 0})) return Error(Refusal::Busy);
  Reset();
  return HI_SUCCESS;
}

HI_S32 VpssUnit::Start(VPSS_GRP group) {
  if (group != 0) return Error(Refusal::BadDevice);
  if (!group_) return Error(Refusal::DoesNotExist);
  started_ = true;
  return HI_SUCCESS;
}

HI_S32 VpssUnit::Stop(VPSS_GRP group, const SystemUnit& system) {
  if (group != 0) return Error(Refusal::BadDevice);
  if (!group_) return Error(Refusal::DoesNotExist);
  const bool used = std::any_of(channels_.begin(), channels_.end(), [](const Channel& channel) { return channel.on; });
  if (used || system.BoundTo({HI_ID_VPSS, group, 0})) return Error(Refusal::Busy);
  started_ = false;
  return HI_SUCCESS;
}

HI_S32 VpssUnit::Check(VPSS_GRP group, VPSS_CHN channel) const {
  if (group != 0) return Error(Refusal::BadDevice);
  if (channel < 0 || channel >= kChannels) return Error(Refusal::BadChannel);
  return group_ ? HI_SUCCESS : Error(Refusal::DoesNotExist);
}

HI_S32 VpssUnit::SetChnAttr(VPSS_GRP group, VPSS_CHN channel, const VPSS_CHN_ATTR_S* attr) {
  if (const HI_S32 result = Check(group, channel); result != HI_SUCCESS) return result;
  if (attr == nullptr) return Error(Refusal::NullPointer);
  if (attr->s32SrcFrameRate != -1 || attr->s32DstFrameRate != -1 || attr->bSpEn != HI_FALSE ||
      attr->bBorderEn != HI_FALSE) {
    return Error(Refusal::NotSupported);
  }
  channels_[static_cast<size_t>(channel)].attr = *attr;
  return HI_SUCCESS;
}

HI_S32 VpssUnit::SetChnMode(VPSS_GRP group, VPSS_CHN channel, const VPSS_CHN_MODE_S* mode) {
  if (const HI_S32 result = Check(group, channel); result != HI_SUCCESS) return result;
  if (mode == nullptr) return Error(Refusal::NullPointer);
  if (mode->enChnMode != VPSS_CHN_MODE_USER || mode->enPixelFormat != PIXEL_FORMAT_YUV_SEMIPLANAR_420 ||
      mode->bDouble != HI_FALSE || mode->enCompressMode != COMPRESS_MODE_NONE) {
    return Error(Refusal::NotSupported);
  }
  if (mode->u32Width == 0 || mode->u32Height == 0 || mode->u32Width > group_->u32MaxW ||
      mode->u32Height > group_->u32MaxH) {
    return Error(Refusal::BadParameter);
  }
  channels_[static_cast<size_t>(channel)].mode = *mode;
  return HI_SUCCESS;
}

HI_S32 VpssUnit::EnableChn(VPSS_GRP group, VPSS_CHN channel, SystemUnit& system) {
  if (const HI_S32 result = Check(group, channel); result != HI_SUCCESS) return result;
  Channel& it = channels_[static_cast<size_t>(channel)];
  if (!it.attr || !it.mode) return Error(Refusal::NotConfigured);
  if (!system.Reserve(&it, kBlocks, BytesOf420({it.mode->u32Width, it.mode->u32Height})))
    return Error(Refusal::NoMemory);
  it.on = true;
  return HI_SUCCESS;
}

HI_S32 VpssUnit::DisableChn(VPSS_GRP group, VPSS_CHN channel, SystemUnit& system) {
  if (const HI_S32 result = Check(group, channel); result != HI_SUCCESS) return result;
  Channel& it = channels_[static_cast<size_t>(channel)];
  if (it.on && system.BoundFrom({HI_ID_VPSS, group, channel})) return Error(Refusal::Busy);
  system.EndReservation(&it);
  it.on = false;
  return HI_SUCCESS;
}

bool VpssUnit::Takes(const SIZE_S& picture) const {
  return group_ && picture.u32Width <= group_->u32MaxW && picture.u32Height <= group_->u32MaxH;
}

void VpssUnit::Treat(VPSS_CHN channel, Treatment& treatment) const {
  const VPSS_CHN_ATTR_S& attr = *channels_[static_cast<size_t>(channel)].attr;
  treatment.mirrored = treatment.mirrored != (attr.bMirror != HI_FALSE);
  treatment.flipped = treatment.flipped != (attr.bFlip != HI_FALSE);
  treatment.noisy = treatment.noisy || group_->bNrEn == HI_FALSE;
  treatment.contrast = treatment.contrast || group_->bDciEn != HI_FALSE;
}

std::optional<SIZE_S> VpssUnit::Output(VPSS_CHN channel) const {
  const Channel& it = channels_[static_cast<size_t>(channel)];
  if (!started_ || !it.on) return std::nullopt;
  return SIZE_S{it.mode->u32Width, it.mode->u32Height};
}

}  // namespace twin

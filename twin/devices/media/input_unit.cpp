#include "twin/devices/media/input_unit.h"

namespace twin {

namespace {

constexpr HI_S32 kDevice = 0, kChannel = 0;
constexpr size_t kBlocks = 3;  // of pictures on their way through the channel

HI_S32 Error(Refusal reason) { return MediaError(MediaUnit::Input, reason); }

bool Empty(const RECT_S& rect) { return rect.u32Width == 0 || rect.u32Height == 0; }

bool Inside(const RECT_S& rect, uint32_t width, uint32_t height) {
  return rect.s32X >= 0 && rect.s32Y >= 0 && uint64_t(rect.s32X) + rect.u32Width <= width &&
         uint64_t(rect.s32Y) + rect.u32Height <= height;
}

}  // namespace

HI_S32 InputUnit::SetDevAttr(VI_DEV device, const VI_DEV_ATTR_S* attr) {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (attr == nullptr) return Error(Refusal::NullPointer);
  if (devOn_) return Error(Refusal::NotPermitted);
  if (Empty(attr->stDevRect) || attr->au32CompMask[0] == 0) return Error(Refusal::BadParameter);
  // Raw data has one component and no order of colours, and LVDS no converter whose channels could be numbered.
  if (attr->au32CompMask[1] != 0 || attr->enDataSeq != VI_INPUT_DATA_YUYV) return Error(Refusal::NotSupported);
  for (const HI_S32 channel : attr->s32AdChnId) {
    if (channel != -1) return Error(Refusal::BadParameter);
  }
  devAttr_ = *attr;
  return HI_SUCCESS;
}

HI_S32 InputUnit::SetWdrAttr(VI_DEV device, const VI_WDR_ATTR_S* attr) {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (attr == nullptr) return Error(Refusal::NullPointer);
  if (!devAttr_) return Error(Refusal::NotConfigured);
  if (devOn_) return Error(Refusal::NotPermitted);
  if (attr->enWDRMode != WDR_MODE_NONE || attr->bCompress != HI_FALSE) return Error(Refusal::NotSupported);
  wdrAttr_ = *attr;
  return HI_SUCCESS;
}

HI_S32 InputUnit::EnableDev(VI_DEV device) {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (!devAttr_) return Error(Refusal::NotConfigured);
  devOn_ = true;
  return HI_SUCCESS;
}

HI_S32 InputUnit::DisableDev(VI_DEV device) {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (chnOn_) return Error(Refusal::NotPermitted);
  devOn_ = false;
  devAttr_.reset();
  return HI_SUCCESS;
}

HI_S32 InputUnit::SetChnAttr(VI_CHN channel, const VI_CHN_ATTR_S* attr) {
  if (channel != kChannel) return Error(Refusal::BadChannel);
  if (attr == nullptr) return Error(Refusal::NullPointer);
  if (!devAttr_) return Error(Refusal::NotConfigured);
  const RECT_S& device = devAttr_->stDevRect;
  if (Empty(attr->stCapRect) || !Inside(attr->stCapRect, device.u32Width, device.u32Height)) {
    return Error(Refusal::BadParameter);
  }
  const bool whole = attr->stDestSize.u32Width == attr->stCapRect.u32Width &&
                     attr->stDestSize.u32Height == attr->stCapRect.u32Height && attr->enCapSel == VI_CAPSEL_BOTH &&
                     attr->s32SrcFrameRate == -1 && attr->s32DstFrameRate == -1;
  if (!whole || attr->enPixFormat != PIXEL_FORMAT_YUV_SEMIPLANAR_420 || attr->enCompressMode != COMPRESS_MODE_NONE) {
    return Error(Refusal::NotSupported);
  }
  chnAttr_ = *attr;
  return HI_SUCCESS;
}

HI_S32 InputUnit::EnableChn(VI_CHN channel, SystemUnit& system) {
  if (channel != kChannel) return Error(Refusal::BadChannel);
  if (!chnAttr_) return Error(Refusal::NotConfigured);
  if (!devOn_) return Error(Refusal::NotPermitted);
  const SIZE_S size = chnAttr_->stDestSize;
  if (!system.Reserve(this, kBlocks, BytesOf420(size))) return Error(Refusal::NoMemory);
  chnOn_ = true;
  return HI_SUCCESS;
}

HI_S32 InputUnit::DisableChn(VI_CHN channel, SystemUnit& system) {
  if (channel != kChannel) return Error(Refusal::BadChannel);
  if (chnOn_ && system.BoundFrom({HI_ID_VIU, kDevice, kChannel})) return Error(Refusal::Busy);
  system.EndReservation(this);
  chnOn_ = false;
  return HI_SUCCESS;
}

HI_S32 InputUnit::GetDci(VI_DEV device, VI_DCI_PARAM_S* param) const {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (param == nullptr) return Error(Refusal::NullPointer);
  if (!devOn_) return Error(Refusal::NotConfigured);
  *param = dci_;
  return HI_SUCCESS;
}

HI_S32 InputUnit::SetDci(VI_DEV device, const VI_DCI_PARAM_S* param) {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (param == nullptr) return Error(Refusal::NullPointer);
  if (!devOn_) return Error(Refusal::NotConfigured);
  dci_ = *param;
  return HI_SUCCESS;
}

HI_S32 InputUnit::GetCsc(VI_DEV device, VI_CSC_ATTR_S* attr) const {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (attr == nullptr) return Error(Refusal::NullPointer);
  if (!devOn_) return Error(Refusal::NotConfigured);
  *attr = csc_;
  return HI_SUCCESS;
}

HI_S32 InputUnit::SetCsc(VI_DEV device, const VI_CSC_ATTR_S* attr) {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (attr == nullptr) return Error(Refusal::NullPointer);
  if (!devOn_) return Error(Refusal::NotConfigured);
  csc_ = *attr;
  return HI_SUCCESS;
}

bool InputUnit::DeviceTakes(const LaneStream& stream) const {
  if (!devOn_) return false;
  return devAttr_->enIntfMode == VI_MODE_LVDS && devAttr_->enDataPath == VI_PATH_ISP &&
         devAttr_->enInputDataType == VI_DATA_TYPE_RGB && devAttr_->enScanMode == VI_SCAN_PROGRESSIVE &&
         Inside(devAttr_->stDevRect, stream.width, stream.height);
}

Treatment InputUnit::Treats() const {
  Treatment treatment;
  treatment.sampleBits = static_cast<uint16_t>(devAttr_->au32CompMask[0] >> 22);  // ten bits at the top of the bus
  treatment.bitsReversed = devAttr_->bDataRev != HI_FALSE;
  if (!chnAttr_) return treatment;
  treatment.mirrored = chnAttr_->bMirror == HI_FALSE;
  treatment.flipped = chnAttr_->bFlip != HI_FALSE;
  treatment.window = chnAttr_->stCapRect;
  treatment.window.s32X += devAttr_->stDevRect.s32X;
  treatment.window.s32Y += devAttr_->stDevRect.s32Y;
  treatment.contrast = dci_.bEnable != HI_FALSE;
  treatment.matrix = csc_.enViCscType;
  return treatment;
}

}  // namespace twin

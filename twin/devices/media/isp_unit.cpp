#include "twin/devices/media/isp_unit.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace twin {

namespace {

constexpr ISP_DEV kDevice = 0;
constexpr HI_U32 kChip = 0x3519A;
constexpr std::array<std::string_view, IspUnit::kLibraries> libraryNames = {"hisi_ae_lib", "hisi_awb_lib",
                                                                            "hisi_af_lib"};
constexpr ISP_REG_ATTR_S kLayout = {0x12000000, 0x20000, 0x10000, 0x8000, 0x20000, 0x2000, 0x22000, 0x2000};
constexpr Duration kFrame = 33ms;  // the loop looks for its end once a frame

HI_S32 Error(Refusal reason) { return MediaError(MediaUnit::Isp, reason); }
HI_S32 TuningError(Refusal reason) { return MediaError(MediaUnit::Tuning, reason); }

}  // namespace

HI_S32 IspUnit::CheckLibrary(ISP_DEV device, Library library, const ALG_LIB_S* lib) const {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (lib == nullptr) return Error(Refusal::NullPointer);
  const std::string_view name(lib->acLibName, strnlen(lib->acLibName, sizeof lib->acLibName));
  return name == libraryNames[library] ? HI_SUCCESS : Error(Refusal::BadParameter);
}

HI_S32 IspUnit::Register(ISP_DEV device, Library library, const ALG_LIB_S* lib) {
  const HI_S32 result = CheckLibrary(device, library, lib);
  if (result == HI_SUCCESS) registered_[library] = true;
  return result;
}

HI_S32 IspUnit::RegisterSensor(ISP_DEV device, SENSOR_ID sensor, const ISP_SENSOR_REGISTER_S* callbacks) {
  return device == kDevice ? sensor_.Register(sensor, callbacks) : Error(Refusal::BadDevice);
}
HI_S32 IspUnit::RegisterSensor(ISP_DEV device, const ALG_LIB_S* lib, SENSOR_ID sensor,
                               const AE_SENSOR_REGISTER_S* callbacks) {
  const HI_S32 result = CheckLibrary(device, kExposure, lib);
  return result == HI_SUCCESS ? sensor_.Register(sensor, callbacks) : result;
}
HI_S32 IspUnit::RegisterSensor(ISP_DEV device, const ALG_LIB_S* lib, SENSOR_ID sensor,
                               const AWB_SENSOR_REGISTER_S* callbacks) {
  const HI_S32 result = CheckLibrary(device, kWhiteBalance, lib);
  return result == HI_SUCCESS ? sensor_.Register(sensor, callbacks) : result;
}
HI_S32 IspUnit::UnregisterSensor(ISP_DEV device, SENSOR_ID sensor) {
  if (device != kDevice) return Error(Refusal::BadDevice);
  return initialised_ ? Error(Refusal::NotPermitted) : sensor_.UnregisterIsp(sensor);
}
HI_S32 IspUnit::UnregisterSensor(ISP_DEV device, Library library, const ALG_LIB_S* lib, SENSOR_ID sensor) {
  const HI_S32 result = CheckLibrary(device, library, lib);
  if (result != HI_SUCCESS) return result;
  if (initialised_) return Error(Refusal::NotPermitted);
  return library == kExposure ? sensor_.UnregisterExposure(sensor) : sensor_.UnregisterWhiteBalance(sensor);
}

HI_S32 IspUnit::MemInit(ISP_DEV device) {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (!registered_[kExposure] || !registered_[kWhiteBalance]) return Error(Refusal::NotConfigured);
  memory_ = true;
  return HI_SUCCESS;
}

HI_S32 IspUnit::SetWdrMode(ISP_DEV device, const ISP_WDR_MODE_S* mode) {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (mode == nullptr) return Error(Refusal::NullPointer);
  if (!memory_) return Error(Refusal::NotConfigured);
  if (mode->enWDRMode != WDR_MODE_NONE) return Error(Refusal::NotSupported);
  wdrMode_ = *mode;
  return HI_SUCCESS;
}

HI_S32 IspUnit::GetWdrMode(ISP_DEV device, ISP_WDR_MODE_S* mode) const {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (mode == nullptr) return Error(Refusal::NullPointer);
  if (!wdrMode_) return Error(Refusal::NotConfigured);
  *mode = *wdrMode_;
  return HI_SUCCESS;
}

HI_S32 IspUnit::SetPubAttr(ISP_DEV device, const ISP_PUB_ATTR_S* attr) {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (attr == nullptr) return Error(Refusal::NullPointer);
  if (!memory_) return Error(Refusal::NotConfigured);
  if (!(attr->f32FrameRate > 0) || attr->stWndRect.u32Width == 0 || attr->stWndRect.u32Height == 0) {
    return Error(Refusal::BadParameter);
  }
  if (attr->enBayer < BAYER_RGGB || attr->enBayer > BAYER_BGGR) return Error(Refusal::BadParameter);
  pubAttr_ = *attr;
  if (initialised_) sensor_.Change(*attr, wdrMode_->enWDRMode);
  return HI_SUCCESS;
}

HI_S32 IspUnit::Init(ISP_DEV device) {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (!memory_ || !wdrMode_ || !pubAttr_) return Error(Refusal::NotConfigured);
  if (initialised_) return Error(Refusal::Exists);
  const HI_S32 result = sensor_.Start(*pubAttr_, wdrMode_->enWDRMode);
  initialised_ = result == HI_SUCCESS;
  return result;
}

HI_S32 IspUnit::Run(ISP_DEV device) {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (!initialised_ || running_) return Error(Refusal::NotPermitted);
  running_ = inRun_ = true;
  sensor_.BeginToRun(pubAttr_->f32FrameRate);
  if (running_) ended_.Wait();  // its end may have come while the sensor was told
  kernel_.Spend(kFrame);
  inRun_ = false;
  return HI_SUCCESS;
}

HI_S32 IspUnit::Exit(ISP_DEV device) {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (!memory_) return Error(Refusal::NotPermitted);
  if (initialised_) sensor_.End();
  Forget();
  ended_.Notify();
  return HI_SUCCESS;
}

HI_S32 IspUnit::GetRegAttr(ISP_DEV device, ISP_REG_ATTR_S* attr) const {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (attr == nullptr) return Error(Refusal::NullPointer);
  if (!memory_) return Error(Refusal::NotConfigured);
  *attr = kLayout;
  return HI_SUCCESS;
}

HI_S32 IspUnit::CheckSettings(ISP_DEV device, const void* attr) const {
  if (device != kDevice) return Error(Refusal::BadDevice);
  if (attr == nullptr) return Error(Refusal::NullPointer);
  return initialised_ ? HI_SUCCESS : Error(Refusal::NotConfigured);
}

HI_S32 IspUnit::InitTuning(const PQ_BIN_MODULE_S* module) {
  if (module == nullptr) return TuningError(Refusal::NullPointer);
  const PQ_BIN_ISP_S& isp = module->stPqBinIsp;
  static_assert(sizeof isp == sizeof kLayout);
  if (module->enChip != kChip || std::memcmp(&isp, &kLayout, sizeof isp) != 0) {
    return TuningError(Refusal::BadParameter);
  }
  tuningReady_ = true;
  return HI_SUCCESS;
}

HI_S32 IspUnit::Tune(const HI_U8* data, HI_U32 size) {
  if (data == nullptr) return TuningError(Refusal::NullPointer);
  if (!tuningReady_) return TuningError(Refusal::NotConfigured);
  if (size == 0) return TuningError(Refusal::BadParameter);
  tunings_++;
  return HI_SUCCESS;
}

bool IspUnit::Takes(const SIZE_S& picture) const {
  const RECT_S& window = pubAttr_->stWndRect;
  return window.s32X == 0 && window.s32Y == 0 && window.u32Width == picture.u32Width &&
         window.u32Height == picture.u32Height;
}

void IspUnit::Treat(Treatment& treatment) const {
  treatment.bayer = pubAttr_->enBayer;
  for (const HI_U16 level : sensor_.BlackLevel().au16BlackLevel) treatment.black = std::max(treatment.black, level);
  treatment.noisy = settings_.nr.bEnable == HI_FALSE;
  treatment.soft = settings_.bayerSharpen.bEnable == HI_FALSE || settings_.yuvSharpen.bEnable == HI_FALSE;
}

void IspUnit::Forget() {
  registered_ = {};
  memory_ = false;
  wdrMode_.reset();
  pubAttr_.reset();
  initialised_ = false;
  running_ = false;
  tuningReady_ = false;
  settings_ = {};
}

void IspUnit::Reset() {
  Forget();
  sensor_.Forget();
  tunings_ = 0;
  inRun_ = false;
}

}  // namespace twin

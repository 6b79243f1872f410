#include "twin/devices/media/sensor_description.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>

namespace twin {

namespace {

constexpr HI_U32 kUnityGain = 1024;
constexpr HI_U16 kNotGiven = 0x200;  // a black level of what nobody filled in

HI_S32 Error(Refusal reason) { return MediaError(MediaUnit::Isp, reason); }

// The records of callbacks are pointers and nothing else.
template <class Callbacks>
bool AllThere(const Callbacks& callbacks) {
  std::array<void*, sizeof callbacks / sizeof(void*)> pointers;
  static_assert(sizeof pointers == sizeof callbacks);
  std::memcpy(pointers.data(), &callbacks, sizeof callbacks);
  return std::find(pointers.begin(), pointers.end(), nullptr) == pointers.end();
}

// Each table is there, and does not make a picture black, gray or worse.
bool CanBeMeant(const ISP_CMOS_DEFAULT_S& d) {
  const auto there = [](HI_BOOL valid, const auto& values, auto least) {
    return valid == HI_TRUE && std::all_of(std::begin(values), std::end(values), [=](auto v) { return v >= least; });
  };
  const auto& gamma = d.stGamma.au16Gamma;
  return there(d.stAgcTbl.bValid, d.stAgcTbl.au8Saturation, 1) &&
         there(d.stNoiseTbl.bValid, d.stNoiseTbl.au8Thresh, 1) && d.stDemosaic.bValid == HI_TRUE &&
         d.stDemosaic.u8EdgeSlope != 0 && d.stGamma.bValid == HI_TRUE &&
         std::is_sorted(std::begin(gamma), std::end(gamma)) && *std::begin(gamma) == 0 && *std::rbegin(gamma) == 4095 &&
         there(d.stRadial.bValid, d.stRadial.au16Gain, 256) && d.stBayerSharpen.bValid == HI_TRUE &&
         d.stYuvSharpen.bValid == HI_TRUE;
}

}  // namespace

template <class Callbacks>
HI_S32 SensorDescription::Keep(std::optional<Registration<Callbacks>>& place, SENSOR_ID sensor,
                               const Callbacks* callbacks) {
  if (callbacks == nullptr || !AllThere(*callbacks)) return Error(Refusal::NullPointer);
  if (place && place->sensor != sensor) return Error(Refusal::Exists);
  place = {sensor, *callbacks};
  return HI_SUCCESS;
}

template <class Callbacks>
HI_S32 SensorDescription::Drop(std::optional<Registration<Callbacks>>& place, SENSOR_ID sensor) {
  if (!place || place->sensor != sensor) return Error(Refusal::DoesNotExist);
  place.reset();
  return HI_SUCCESS;
}

HI_S32 SensorDescription::Register(SENSOR_ID sensor, const ISP_SENSOR_REGISTER_S* callbacks) {
  const HI_S32 result = Keep(isp_, sensor, callbacks);
  if (result == HI_SUCCESS) callbacks->pfn_sensor_global_init();
  return result;
}
HI_S32 SensorDescription::Register(SENSOR_ID sensor, const AE_SENSOR_REGISTER_S* callbacks) {
  return Keep(ae_, sensor, callbacks);
}
HI_S32 SensorDescription::Register(SENSOR_ID sensor, const AWB_SENSOR_REGISTER_S* callbacks) {
  return Keep(awb_, sensor, callbacks);
}
HI_S32 SensorDescription::UnregisterIsp(SENSOR_ID sensor) { return Drop(isp_, sensor); }
HI_S32 SensorDescription::UnregisterExposure(SENSOR_ID sensor) { return Drop(ae_, sensor); }
HI_S32 SensorDescription::UnregisterWhiteBalance(SENSOR_ID sensor) { return Drop(awb_, sensor); }

bool SensorDescription::Complete() const {
  return isp_ && ae_ && awb_ && ae_->sensor == isp_->sensor && awb_->sensor == isp_->sensor;
}

HI_S32 SensorDescription::Start(const ISP_PUB_ATTR_S& picture, WDR_MODE_E wdr) {
  if (!Complete()) return Error(Refusal::NotConfigured);
  const ISP_SENSOR_REGISTER_S isp = isp_->callbacks;
  const ISP_CMOS_SENSOR_IMAGE_MODE_S mode = {picture.stWndRect.u32Width, picture.stWndRect.u32Height,
                                             picture.f32FrameRate};
  if (isp.pfn_cmos_set_image_mode(&mode) != HI_SUCCESS) return Error(Refusal::NotSupported);
  if (isp.pfn_cmos_set_wdr_mode(static_cast<HI_U8>(wdr)) != HI_SUCCESS) return Error(Refusal::NotSupported);

  const auto defaults = std::make_unique<ISP_CMOS_DEFAULT_S>();
  blackLevel_ = {HI_TRUE, {kNotGiven, kNotGiven, kNotGiven, kNotGiven}};
  exposure_ = {};
  whiteBalance_ = {};
  if (isp.pfn_cmos_get_isp_default(defaults.get()) != HI_SUCCESS ||
      isp.pfn_cmos_get_isp_black_level(&blackLevel_) != HI_SUCCESS ||
      ae_->callbacks.pfn_cmos_get_ae_default(&exposure_) != HI_SUCCESS ||
      awb_->callbacks.pfn_cmos_get_awb_default(&whiteBalance_) != HI_SUCCESS) {
    return Error(Refusal::NotConfigured);
  }
  if (!CanBeMeant(*defaults)) return Error(Refusal::NotConfigured);
  if (!ExposureFits(picture.stWndRect.u32Height) || whiteBalance_.u16WbRefTemp < 2000 ||
      whiteBalance_.u16WbRefTemp > 10000) {
    return Error(Refusal::BadParameter);
  }
  isp.pfn_sensor_init();
  return HI_SUCCESS;
}

bool SensorDescription::ExposureFits(HI_U32 height) const {
  const AE_SENSOR_DEFAULT_S& e = exposure_;
  return e.u32FullLinesStd >= height && e.u32MaxIntTime < e.u32FullLinesStd && e.u32MinIntTime != 0 &&
         e.u32MinIntTime <= e.u32MaxIntTime && e.u32MinAgain >= kUnityGain && e.u32MinAgain <= e.u32MaxAgain &&
         e.u32MinDgain >= kUnityGain && e.u32MinDgain <= e.u32MaxDgain;
}

void SensorDescription::Change(const ISP_PUB_ATTR_S& picture, WDR_MODE_E wdr) {
  const AE_SENSOR_REGISTER_S ae = ae_->callbacks;
  if (Start(picture, wdr) == HI_SUCCESS) ae.pfn_cmos_fps_set(picture.f32FrameRate, &exposure_);
}

void SensorDescription::BeginToRun(HI_FLOAT rate) {
  if (!Complete()) return;
  const ISP_SENSOR_REGISTER_S isp = isp_->callbacks;
  const AE_SENSOR_REGISTER_S ae = ae_->callbacks;
  if (ae.pfn_cmos_fps_set(rate, &exposure_) != HI_SUCCESS || exposure_.f32Fps != rate) {
    complain_("the sensor did not take the rate of its pictures");
  }
  // Half a second of lines, by which the exposure is fitted to lamps.
  const double halfSecond = exposure_.u32FullLinesStd * double{rate} / 2;
  if (std::abs(exposure_.u32LinesPer500ms - halfSecond) > rate) {
    complain_("the sensor's lines of half a second do not go with its lines and rate");
  }
  HI_U32 analog = exposure_.u32MinAgain, digital = exposure_.u32MinDgain, analogValue = 0, digitalValue = 0;
  if (ae.pfn_cmos_again_calc_table(&analog, &analogValue) != HI_SUCCESS ||
      ae.pfn_cmos_dgain_calc_table(&digital, &digitalValue) != HI_SUCCESS || analog < kUnityGain ||
      analog > exposure_.u32MinAgain || digital < kUnityGain || digital > exposure_.u32MinDgain) {
    complain_("the sensor does not have its own lowest gain");
    return;
  }
  ae.pfn_cmos_inttime_update(exposure_.u32MaxIntTime);
  ae.pfn_cmos_gains_update(analogValue, digitalValue);
  const auto list = std::make_unique<ISP_SNS_REGS_INFO_S>();
  if (isp.pfn_cmos_get_sns_regs_info(list.get()) != HI_SUCCESS) return;
  for (HI_U32 i = 0; i < std::min<HI_U32>(list->u32RegNum, ISP_MAX_SNS_REGS); i++) {
    const ISP_SNS_REG_S& reg = list->astRegs[i];
    if (!reg.bUpdate) continue;
    if (sensor_write_register(reg.u32RegAddr, reg.u32Data) != 0) {
      complain_("the sensor did not take register " + std::to_string(reg.u32RegAddr));
      return;
    }
    sent_.push_back(reg);
  }
}

void SensorDescription::End() {
  if (isp_) isp_->callbacks.pfn_sensor_exit();
}

void SensorDescription::Forget() {
  auto complain = std::move(complain_);
  *this = SensorDescription{};
  complain_ = std::move(complain);
}

}  // namespace twin

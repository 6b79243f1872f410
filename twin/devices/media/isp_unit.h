// Image signal processor 0: its start, its loop, and the settings that a frame takes along when it enters.
// Modelled: the order of calls, the settings, the sensor's description without which it does not start, and what order
// of colours, black level and switched off noise reduction or sharpening do to a picture (treatment.h). Not modelled:
// how strong noise reduction and sharpening are set; exposure and white balance algorithms; the content of tuning data.
// Not judged: a focus library that is missing, for there is no lens to focus.
#pragma once

#include <array>
#include <optional>

#include "sdk/hi_mpi_isp.h"
#include "twin/devices/media/media_error.h"
#include "twin/devices/media/sensor_description.h"
#include "twin/devices/media/treatment.h"
#include "twin/kernel/kernel.h"

namespace twin {

struct IspSettings {
  ISP_NR_ATTR_S nr{HI_TRUE, OP_TYPE_AUTO, {}};
  ISP_BAYER_SHARPEN_ATTR_S bayerSharpen{HI_TRUE, OP_TYPE_AUTO, {}};
  ISP_YUV_SHARPEN_ATTR_S yuvSharpen{HI_TRUE, OP_TYPE_AUTO, {}};
};

class IspUnit {
 public:
  explicit IspUnit(Kernel& kernel) : kernel_(kernel), ended_(kernel) {}

  enum Library { kExposure, kWhiteBalance, kFocus, kLibraries };
  HI_S32 Register(ISP_DEV device, Library library, const ALG_LIB_S* lib);
  // The sensor's callbacks for ISP, exposure or white balance, by the kind of `callbacks`.
  HI_S32 RegisterSensor(ISP_DEV device, SENSOR_ID sensor, const ISP_SENSOR_REGISTER_S* callbacks);
  HI_S32 RegisterSensor(ISP_DEV device, const ALG_LIB_S* lib, SENSOR_ID sensor, const AE_SENSOR_REGISTER_S* callbacks);
  HI_S32 RegisterSensor(ISP_DEV device, const ALG_LIB_S* lib, SENSOR_ID sensor, const AWB_SENSOR_REGISTER_S* callbacks);
  HI_S32 UnregisterSensor(ISP_DEV device, SENSOR_ID sensor);
  HI_S32 UnregisterSensor(ISP_DEV device, Library library, const ALG_LIB_S* lib, SENSOR_ID sensor);
  HI_S32 MemInit(ISP_DEV device);
  HI_S32 SetWdrMode(ISP_DEV device, const ISP_WDR_MODE_S* mode);
  HI_S32 GetWdrMode(ISP_DEV device, ISP_WDR_MODE_S* mode) const;
  HI_S32 SetPubAttr(ISP_DEV device, const ISP_PUB_ATTR_S* attr);
  HI_S32 Init(ISP_DEV device);
  HI_S32 Run(ISP_DEV device);   // for fibers; until Exit
  HI_S32 Exit(ISP_DEV device);  // from another fiber, or on the way out
  HI_S32 GetRegAttr(ISP_DEV device, ISP_REG_ATTR_S* attr) const;

  // Read or write one of the three records of settings.
  template <class Attr>
  HI_S32 Get(ISP_DEV device, Attr IspSettings::*which, Attr* attr) const {
    const HI_S32 result = CheckSettings(device, attr);
    if (result == HI_SUCCESS) *attr = settings_.*which;
    return result;
  }
  template <class Attr>
  HI_S32 Set(ISP_DEV device, Attr IspSettings::*which, const Attr* attr) {
    const HI_S32 result = CheckSettings(device, attr);
    if (result == HI_SUCCESS) settings_.*which = *attr;
    return result;
  }

  HI_S32 InitTuning(const PQ_BIN_MODULE_S* module);
  HI_S32 Tune(const HI_U8* data, HI_U32 size);

  bool Running() const { return running_; }
  bool InUse() const { return memory_ || inRun_; }
  bool InRun() const { return inRun_; }  // HI_MPI_ISP_Run has not returned
  bool Takes(const SIZE_S& picture) const;
  void Treat(Treatment& treatment) const;  // adds what is done to a picture that enters now
  HI_FLOAT Rate() const { return pubAttr_ ? pubAttr_->f32FrameRate : 0; }
  const IspSettings& Settings() const { return settings_; }
  uint32_t Tunings() const { return tunings_; }  // tuning files taken since power-on
  const SensorDescription& Sensor() const { return sensor_; }

  void SetComplaints(std::function<void(const std::string&)> sink) { sensor_.SetComplaints(std::move(sink)); }
  void Reset();

 private:
  HI_S32 CheckLibrary(ISP_DEV device, Library library, const ALG_LIB_S* lib) const;
  HI_S32 CheckSettings(ISP_DEV device, const void* attr) const;
  void Forget();

  Kernel& kernel_;
  WaitQueue ended_;
  SensorDescription sensor_;
  std::array<bool, kLibraries> registered_{};
  bool memory_ = false;
  std::optional<ISP_WDR_MODE_S> wdrMode_;
  std::optional<ISP_PUB_ATTR_S> pubAttr_;
  bool initialised_ = false;
  bool running_ = false;
  bool inRun_ = false;
  bool tuningReady_ = false;
  uint32_t tunings_ = 0;
  IspSettings settings_;
};

}  // namespace twin

// What a program has told the ISP about the sensor at its input, as callbacks, and what they have answered.
//
// Modelled: the questions in their order, at the ISP's start and when it begins to run, one decision of the exposure
// control, and the sending of the register list. Judged: that each default is given and can be meant, that lines, rate
// and exposures go together, that rate, gains and registers are taken. Not modelled: exposure and white balance that go
// on deciding; how strong the defaults are; which registers a sensor has, for there is none. Registrations last until
// they are taken back or the process ends.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "sdk/hi_mpi_sensor.h"
#include "twin/devices/media/media_error.h"

namespace twin {

class SensorDescription {
 public:
  // A registration of the same sensor takes the place of the earlier one; another sensor is refused while one is there.
  HI_S32 Register(SENSOR_ID sensor, const ISP_SENSOR_REGISTER_S* callbacks);  // in a fiber: begins to ask
  HI_S32 Register(SENSOR_ID sensor, const AE_SENSOR_REGISTER_S* callbacks);
  HI_S32 Register(SENSOR_ID sensor, const AWB_SENSOR_REGISTER_S* callbacks);
  HI_S32 UnregisterIsp(SENSOR_ID sensor);
  HI_S32 UnregisterExposure(SENSOR_ID sensor);
  HI_S32 UnregisterWhiteBalance(SENSOR_ID sensor);

  // All for fibers: the callbacks may wait.
  // Asks for all that the ISP needs and starts the sensor. Refused: NotConfigured if a registration is missing or a
  // default is not given, NotSupported for a picture or WDR mode that the sensor does not have, BadParameter if a frame
  // of it has fewer lines than the picture or limits that do not go together.
  HI_S32 Start(const ISP_PUB_ATTR_S& picture, WDR_MODE_E wdr);
  // Another picture while the ISP runs. A sensor that wants no new start goes on as it is.
  void Change(const ISP_PUB_ATTR_S& picture, WDR_MODE_E wdr);
  // Sets the rate, decides on an exposure, and sends the register list.
  void BeginToRun(HI_FLOAT rate);
  void End();

  void Forget();
  void SetComplaints(std::function<void(const std::string&)> sink) { complain_ = std::move(sink); }

  // --- what was answered ---
  const AE_SENSOR_DEFAULT_S& Exposure() const { return exposure_; }
  const AWB_SENSOR_DEFAULT_S& WhiteBalance() const { return whiteBalance_; }
  const ISP_CMOS_BLACK_LEVEL_S& BlackLevel() const { return blackLevel_; }
  const std::vector<ISP_SNS_REG_S>& Sent() const { return sent_; }  // registers that were sent, in their order

 private:
  template <class Callbacks>
  struct Registration {
    SENSOR_ID sensor;
    Callbacks callbacks;
  };
  template <class Callbacks>
  static HI_S32 Keep(std::optional<Registration<Callbacks>>& place, SENSOR_ID sensor, const Callbacks* callbacks);
  template <class Callbacks>
  static HI_S32 Drop(std::optional<Registration<Callbacks>>& place, SENSOR_ID sensor);
  bool Complete() const;
  bool ExposureFits(HI_U32 height) const;

  std::optional<Registration<ISP_SENSOR_REGISTER_S>> isp_;
  std::optional<Registration<AE_SENSOR_REGISTER_S>> ae_;
  std::optional<Registration<AWB_SENSOR_REGISTER_S>> awb_;
  AE_SENSOR_DEFAULT_S exposure_{};
  AWB_SENSOR_DEFAULT_S whiteBalance_{};
  ISP_CMOS_BLACK_LEVEL_S blackLevel_{};
  std::vector<ISP_SNS_REG_S> sent_;
  std::function<void(const std::string&)> complain_ = [](const std::string&) {};
};

}  // namespace twin

// Video input: device 0 behind the lane receiver, channel 0 behind the device.
// Modelled: the order of calls, the rectangles, the blocks for pictures on their way, and what device and channel do to
// a picture (treatment.h): turning, cutting, bits of a sample, matrix, contrast. A stored frame's picture stands for
// what comes out of a channel that mirrors. Refused, as nothing here could make use of it: single fields, a share of
// the frames, scaling, compression, another order of colour data, a converter's channels. Not judged: bits of the bus
// below a sample's ten.
#pragma once

#include <optional>

#include "sdk/hi_mpi_vi.h"
#include "twin/devices/media/lane_receiver.h"
#include "twin/devices/media/media_error.h"
#include "twin/devices/media/system_unit.h"
#include "twin/devices/media/treatment.h"

namespace twin {

class InputUnit {
 public:
  HI_S32 SetDevAttr(VI_DEV device, const VI_DEV_ATTR_S* attr);
  HI_S32 SetWdrAttr(VI_DEV device, const VI_WDR_ATTR_S* attr);
  HI_S32 EnableDev(VI_DEV device);
  HI_S32 DisableDev(VI_DEV device);
  HI_S32 SetChnAttr(VI_CHN channel, const VI_CHN_ATTR_S* attr);
  HI_S32 EnableChn(VI_CHN channel, SystemUnit& system);
  HI_S32 DisableChn(VI_CHN channel, SystemUnit& system);
  HI_S32 GetDci(VI_DEV device, VI_DCI_PARAM_S* param) const;
  HI_S32 SetDci(VI_DEV device, const VI_DCI_PARAM_S* param);
  HI_S32 GetCsc(VI_DEV device, VI_CSC_ATTR_S* attr) const;
  HI_S32 SetCsc(VI_DEV device, const VI_CSC_ATTR_S* attr);

  // Whether a frame of `stream` comes in at the device, and whether it goes on to the ISP, and from there to what is
  // bound to the channel.
  bool DeviceTakes(const LaneStream& stream) const;
  bool Takes(const LaneStream& stream) const { return chnOn_ && DeviceTakes(stream); }
  bool DeviceOn() const { return devOn_; }
  SIZE_S DeviceSize() const { return {devAttr_->stDevRect.u32Width, devAttr_->stDevRect.u32Height}; }
  // What is done to a picture; of a device that is on.
  Treatment Treats() const;

  void Reset() { *this = InputUnit{}; }

 private:
  std::optional<VI_DEV_ATTR_S> devAttr_;
  VI_WDR_ATTR_S wdrAttr_{};
  bool devOn_ = false;
  std::optional<VI_CHN_ATTR_S> chnAttr_;
  bool chnOn_ = false;
  VI_DCI_PARAM_S dci_{HI_TRUE};
  VI_CSC_ATTR_S csc_{VI_CSC_TYPE_709};
};

}  // namespace twin

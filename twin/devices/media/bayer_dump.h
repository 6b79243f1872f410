// Sensor data for the user: frames as they come in on the lanes, kept in blocks of the buffer pools, in channel 17.
//
// Register 0x11380210 says where the input leads its data: 0 to the ISP, 1 to memory, which is this unit. Its meaning
// is chosen so, since the part's maker is silent: without it set no frame comes here, and while it is set none goes on
// to the ISP and the encoders. It is 0 after power-on and keeps its value over the end of the system.
//
// A sample is a word with the level's ten bits at its top and the highest of them again below, as the part widens it.
// Of a frame that was already coming in when the way to memory was opened, the rows before that moment are not written:
// their place keeps what it held. Modelled: the order of calls, the queue, blocks and their lack. Not modelled:
// compression, frames of other sizes.
#pragma once

#include <deque>
#include <vector>

#include "sdk/hi_mpi_vi.h"
#include "twin/devices/media/media_error.h"
#include "twin/devices/media/pool_memory.h"
#include "twin/devices/media/system_unit.h"
#include "twin/devices/media/treatment.h"
#include "twin/kernel/kernel.h"
#include "twin/light/picture_source.h"

namespace twin {

class BayerDump {
 public:
  static constexpr HI_U32 kRouteRegister = 0x11380210;
  static constexpr VI_CHN kChannel = 17;
  static constexpr HI_U32 kMostDepth = 8;

  BayerDump(Kernel& kernel, PictureSource& pictures, SystemUnit& system, PoolMemory& memory)
      : kernel_(kernel), pictures_(pictures), system_(system), memory_(memory), changed_(kernel) {}

  // --- bus ---
  HI_S32 Enable(VI_DEV device, bool deviceOn);
  HI_S32 Disable(VI_DEV device);
  HI_S32 SetDepth(VI_CHN channel, HI_U32 depth);
  HI_S32 GetFrame(VI_CHN channel, VIDEO_FRAME_INFO_S* frame, HI_S32 milliseconds);  // for fibers
  HI_S32 ReleaseFrame(VI_CHN channel, const VIDEO_FRAME_INFO_S* frame);
  HI_U32 Route() const { return route_; }
  void SetRoute(HI_U32 route);

  // --- from the pipeline ---
  bool Leads() const { return (route_ & 1) != 0; }
  // A frame has come in, whose first line was `took` before its last.
  void FrameArrives(const StoredFrame& frame, Duration took, const Treatment& treatment);
  void Forget();  // the system ends: frames and settings are gone

  // --- for tests ---
  struct Counts {
    uint64_t kept = 0;      // frames that came to wait
    uint64_t replaced = 0;  // of them, by a newer one
    uint64_t noBlock = 0;   // frames lost for lack of a block
  };
  const Counts& counts() const { return counts_; }
  size_t Held() const { return held_.size(); }  // by the user

 private:
  void Open();
  void DropOldest();

  Kernel& kernel_;
  PictureSource& pictures_;
  SystemUnit& system_;
  PoolMemory& memory_;
  WaitQueue changed_;

  HI_U32 route_ = 0;
  bool enabled_ = false;
  Time openSince_{0};  // of the way to memory
  HI_U32 depth_ = 0;
  std::deque<VIDEO_FRAME_INFO_S> queue_;
  std::vector<HI_U32> held_;  // addresses
  Counts counts_;
};

}  // namespace twin

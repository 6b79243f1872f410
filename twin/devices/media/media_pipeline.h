// The processor's media units, from the video lanes to the JPEG streams: receiver, input, ISP, VPSS, encoders, and the
// system with its pools and bindings under them.
//
// Bus face: the HI_MPI_* and HI_PQ_BIN_* functions (hi_mpi_*.cpp), /dev/hi_mipi, the encoders' descriptors, the
// registers of the frame timing, the pools' memory in /dev/mem.
// World face: frames that arrive on the lanes. Fault face: one point for each kind of call (media_calls.cpp), the
// receiver's, and "frame.dropped".
//
// The pipeline is one frame deep: a frame stays in it until the next one pushes it out. Its settings are those that
// stood when it came in.
#pragma once

#include <array>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "twin/devices/media/bayer_dump.h"
#include "twin/devices/media/encoder_channel.h"
#include "twin/devices/media/frame_timing.h"
#include "twin/devices/media/input_unit.h"
#include "twin/devices/media/isp_unit.h"
#include "twin/devices/media/lane_receiver.h"
#include "twin/devices/media/media_calls.h"
#include "twin/devices/media/pool_memory.h"
#include "twin/devices/media/system_unit.h"
#include "twin/devices/media/vpss_unit.h"

namespace twin {

// A picture that an encoder channel has taken.
struct DeliveredFrame {
  StoredFrame frame;
  int channel;  // encoder channel
  IspSettings settings;
  Time at;
};

class MediaPipeline final : public VideoInput {
 public:
  static constexpr int kEncoders = 4;

  // One at a time in a process; all are outlived by `pictures` and `descriptors`.
  MediaPipeline(Kernel& kernel, Faults& faults, PictureSource& pictures, Descriptors& descriptors);
  ~MediaPipeline();
  static MediaPipeline& Current();  // the one that exists

  // --- bus ---
  // One call of the library: its time, its faults, its record, and `body`, which gives its result.
  //   Fail: refused. Value v: v is returned. Silence: success is reported. In all three nothing is done. Delay: later.
  // `given`: its arguments, for the transcript, whose line is made when the call returns.
  template <class Body, class... Given>
  HI_S32 Call(MediaCall call, int64_t detail, Body body, const Given&... given) {
    kernel_.Spend(RowOf(call).cost);
    const auto broken = Broken(call, detail);
    const HI_S32 result = broken ? *broken : Judged(call, detail, ReadyFor(call) ? body(*this) : NotReady(call));
    if (Transcript::Hears("media")) Transcript::Note("media", ToldCall(call, {Told(given)...}, result));
    return result;
  }
  HI_S32 ExitSystem();
  HI_S32 ExitIsp(ISP_DEV device);
  HI_S32 Bind(const MPP_CHN_S* source, const MPP_CHN_S* destination);
  HI_S32 Unbind(const MPP_CHN_S* source, const MPP_CHN_S* destination);
  // Of the chip's registers this library reaches one: where the input leads its data.
  HI_S32 GetRegister(HI_U32 address, HI_U32* value) const;
  HI_S32 SetRegister(HI_U32 address, HI_U32 value);
  // Null for a channel that does not exist on this chip.
  EncoderChannel* Encoder(VENC_CHN channel);

  SystemUnit system;
  PoolMemory memory;
  LaneReceiver lanes;
  FrameTiming timing;
  InputUnit input;
  BayerDump dump;
  IspUnit isp;
  VpssUnit vpss;

  // What a board could not do or nobody could mean, once each: a call that a unit refuses by its own rules (one that a
  // fault breaks is not the caller's doing, nor is what follows from it until the power goes), a picture that is not
  // what it stands for, an end before its users'.
  void SetComplaints(std::function<void(std::string)> sink) { complain_ = std::move(sink); }

  // --- world ---
  void FrameArrives(const StoredFrame& frame) override;
  void Reset();  // the power is gone, and all that was set up with it
  void ProcessEnds();

  // --- for tests ---
  const std::vector<DeliveredFrame>& Delivered() const { return delivered_; }
  struct Counts {
    uint64_t arrived = 0;  // frames on the lanes
    uint64_t unseen = 0;   // of them, while receiver, timing, input or ISP were not ready
    uint64_t dropped = 0;  // of them, by fault
    uint64_t led = 0;      // of them, away from the ISP to memory
    uint64_t untaken = 0;  // pictures that came out of the ISP and reached no encoder that took them
  };
  const Counts& counts() const { return counts_; }

 private:
  std::optional<HI_S32> Broken(MediaCall call, int64_t detail);
  bool ReadyFor(MediaCall call) const { return !RowOf(call).needsSystem || system.Ready(); }
  static HI_S32 NotReady(MediaCall call) { return MediaError(RowOf(call).unit, Refusal::SystemNotReady); }
  HI_S32 Judged(MediaCall call, int64_t detail, HI_S32 result);
  void ComplainOnce(const std::string& what);
  void JudgeTiming();
  std::string StillUp() const;
  void TakeDown();
  void PushOut(const ProcessedFrame& picture);

  Kernel& kernel_;
  MediaCalls calls_;
  FaultPoint dropped_;
  bool excused_ = false;  // a fault has broken a call
  std::array<EncoderChannel, kEncoders> encoders_;
  std::optional<ProcessedFrame> held_;
  std::vector<DeliveredFrame> delivered_;
  Counts counts_;
  std::function<void(std::string)> complain_ = [](const std::string&) {};
  std::set<std::string> complained_;
};

}  // namespace twin

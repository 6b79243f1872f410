// The road of a stored frame: layer 0 to layer 1 to layer 2 to the processor's video input.
//
// A layer sends from its own store (source 0) or passes on what the layer before it sends (source 1); its parallel
// link to the next layer is on or off. Layer 2 feeds the video input directly. A frame arrives if every switch on its
// way is right when it starts and when it ends; otherwise it is lost, and its sending takes its time all the same.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "twin/devices/fpga/array_faults.h"
#include "twin/devices/fpga/array_timing.h"
#include "twin/kernel/kernel.h"
#include "twin/light/picture_source.h"

namespace twin {

class VideoChain {
 public:
  VideoChain(Kernel& kernel, ArrayFaults& faults) : kernel_(kernel), faults_(faults) {}
  void SetVideoInput(VideoInput& input) { input_ = &input; }

  void Reset(int layer);
  void SelectPassOn(int layer, bool passOn) { links_[static_cast<size_t>(layer)].passOn = passOn; }
  void SetParallel(int layer, bool on) { links_[static_cast<size_t>(layer)].parallel = on; }

  void Send(int layer, const StoredFrame& frame);
  bool Busy(int layer) const { return links_[static_cast<size_t>(layer)].sending; }

  uint64_t Sent() const { return sent_; }        // frames that a layer has begun to send
  uint64_t Arrived() const { return arrived_; }  // at the video input

 private:
  struct Link {
    bool passOn = false;
    bool parallel = false;
    bool sending = false;
    Kernel::EventId end = 0, extra = 0;
  };
  bool Open(int layer) const;
  void Deliver(const StoredFrame& frame);

  Kernel& kernel_;
  ArrayFaults& faults_;
  VideoInput* input_ = nullptr;
  std::array<Link, kLayers> links_;
  uint64_t sent_ = 0;
  uint64_t arrived_ = 0;
};

}  // namespace twin

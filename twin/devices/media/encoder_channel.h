// One JPEG encoder channel: takes so many of the pictures that reach it, makes a stream of each, hands the streams out.
//
// Bus face: HI_MPI_VENC_*, and a descriptor that select finds readable while a stream waits.
// Modelled: the order of calls, the count of pictures, encoding time, a queue of waiting pictures, the stream buffer
// with its size and its ring, streams of one or two packs, the treatment of the pictures on their road. Refused: a
// buffer that a picture without compression would not fit in or that is no multiple of 64 bytes, and thumbnails inside
// of a stream (bSupportDCF), which here nobody could make. Not judged: the quality; a buffer that is too large. Not
// modelled: sizes other than the full and the half picture, slices (bByFrame 0), rate control, other codecs. Chosen,
// since the part's maker is silent: streams that nobody took are gone when the channel is started anew.
#pragma once

#include <deque>
#include <functional>
#include <optional>

#include "sdk/hi_mpi_venc.h"
#include "twin/device_file.h"
#include "twin/devices/media/isp_unit.h"
#include "twin/devices/media/media_error.h"
#include "twin/devices/media/stream_buffer.h"
#include "twin/devices/media/system_unit.h"
#include "twin/devices/media/treatment.h"
#include "twin/light/picture_source.h"
#include "twin/seam/descriptors.h"

namespace twin {

// A frame that has come out of the ISP, with the settings that it went in with.
struct ProcessedFrame {
  StoredFrame frame;
  IspSettings settings;
  Time at;  // when its last line came in
  Treatment treatment;
};

class EncoderChannel final : public DeviceFile {
 public:
  static constexpr size_t kQueue = 4;  // pictures taken and not yet encoded

  EncoderChannel(Kernel& kernel, PictureSource& pictures, Descriptors& descriptors, SystemUnit& system)
      : kernel_(kernel), pictures_(pictures), descriptors_(descriptors), system_(system), changed_(kernel) {}

  // --- bus ---
  HI_S32 Create(const VENC_CHN_ATTR_S* attr);
  HI_S32 Destroy(bool bound);
  HI_S32 GetJpegParam(VENC_PARAM_JPEG_S* param) const;
  HI_S32 SetJpegParam(const VENC_PARAM_JPEG_S* param);
  HI_S32 Start(const VENC_RECV_PIC_PARAM_S* param);
  HI_S32 Stop();
  HI_S32 GetFd();
  HI_S32 Query(VENC_CHN_STAT_S* stat);
  HI_S32 GetStream(VENC_STREAM_S* stream, HI_S32 milliseconds);  // for fibers
  HI_S32 ReleaseStream(const VENC_STREAM_S* stream);
  bool Readable() const override { return buffer_ && buffer_->Pictures() > taken_; }
  WaitQueue* ReadableChanged() override { return &changed_; }

  // --- from the pipeline ---
  bool Exists() const { return attr_.has_value(); }
  bool Receiving() const { return receiving_; }
  // A picture of `size` has come out of the VPSS channel that is bound to this one. Whether it was taken.
  bool Offer(const ProcessedFrame& picture, const SIZE_S& size);
  void Forget();  // everything is gone, memory and descriptor with it

  // --- world ---
  // Called when the application gives a stream back, having done with it what it wanted: with the picture and its JPEG.
  // For the life of the channel; must not wait.
  void OnTaken(std::function<void(const StoredFrame& frame, const Jpeg& jpeg)> listener) {
    takenListener_ = std::move(listener);
  }

  // --- for tests ---
  struct Counts {
    uint64_t taken = 0;      // pictures
    uint64_t encoded = 0;    // streams that came to wait
    uint64_t queueFull = 0;  // pictures refused because encoding lagged behind
    uint64_t noRoom = 0;     // streams lost for lack of room in the stream buffer
    uint64_t wrongSize = 0;  // pictures refused for a size that is not the channel's
  };
  const Counts& counts() const { return counts_; }

 private:
  void StartNext();
  void Encoded();
  void StopEncoding();
  PictureSize Size() const;

  Kernel& kernel_;
  PictureSource& pictures_;
  Descriptors& descriptors_;
  SystemUnit& system_;
  WaitQueue changed_;

  std::optional<VENC_ATTR_JPEG_S> attr_;
  HI_U32 quality_ = 0;
  bool receiving_ = false;
  HI_S32 left_ = 0;  // pictures still to take; -1: no end
  std::deque<ProcessedFrame> queue_;
  std::optional<Kernel::EventId> encoding_;  // of the front of queue_
  std::optional<StreamBuffer> buffer_;
  struct Waiting {
    Time cameIn;
    StoredFrame frame;
    Jpeg jpeg;  // kept for the listener alone
  };
  std::deque<Waiting> waiting_;  // of each picture in buffer_
  std::function<void(const StoredFrame&, const Jpeg&)> takenListener_;
  size_t taken_ = 0;     // of the pictures in buffer_, handed out and not yet released
  HI_U32 sequence_ = 0;  // number of the oldest picture in buffer_
  int descriptor_ = -1;
  Counts counts_;
};

}  // namespace twin

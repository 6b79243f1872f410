#include "twin/devices/media/encoder_channel.h"

namespace twin {

namespace {

constexpr HI_U32 kFirstQuality = 90;
constexpr HI_U32 kAlign = 64;  // of the stream buffer
constexpr Duration kEncodeStart = 1ms;
constexpr uint64_t kPixelsPerSecond = 333'000'000;  // 25 ms for a full picture, 7 ms for a half one

HI_S32 Error(Refusal reason) { return MediaError(MediaUnit::Encoder, reason); }

bool Is(const VENC_ATTR_JPEG_S& attr, PictureSize size) {
  return attr.u32PicWidth == static_cast<HI_U32>(WidthOf(size)) &&
         attr.u32PicHeight == static_cast<HI_U32>(HeightOf(size));
}

}  // namespace

// --- bus: life of a channel ---

HI_S32 EncoderChannel::Create(const VENC_CHN_ATTR_S* attr) {
  if (attr == nullptr) return Error(Refusal::NullPointer);
  if (attr_) return Error(Refusal::Exists);
  const VENC_ATTR_JPEG_S& jpeg = attr->stVeAttr.stAttrJpeg;
  if (attr->stVeAttr.enType != PT_JPEG || !jpeg.bByFrame || jpeg.bSupportDCF != HI_FALSE) {
    return Error(Refusal::NotSupported);
  }
  const SIZE_S largest = {jpeg.u32MaxPicWidth, jpeg.u32MaxPicHeight};
  if (jpeg.u32PicWidth > jpeg.u32MaxPicWidth || jpeg.u32PicHeight > jpeg.u32MaxPicHeight ||
      jpeg.u32BufSize < BytesOf420(largest) || jpeg.u32BufSize % kAlign != 0) {
    return Error(Refusal::BadParameter);
  }
  if (!Is(jpeg, PictureSize::Full) && !Is(jpeg, PictureSize::Half)) return Error(Refusal::NotSupported);
  if (!system_.TakeMemory(jpeg.u32BufSize)) return Error(Refusal::NoMemory);
  attr_ = jpeg;
  quality_ = kFirstQuality;
  buffer_.emplace(jpeg.u32BufSize);
  taken_ = 0;
  sequence_ = 0;
  return HI_SUCCESS;
}

HI_S32 EncoderChannel::Destroy(bool bound) {
  if (!attr_) return Error(Refusal::DoesNotExist);
  if (receiving_) return Error(Refusal::NotPermitted);
  if (bound) return Error(Refusal::Busy);
  Forget();
  return HI_SUCCESS;
}

HI_S32 EncoderChannel::GetJpegParam(VENC_PARAM_JPEG_S* param) const {
  if (param == nullptr) return Error(Refusal::NullPointer);
  if (!attr_) return Error(Refusal::DoesNotExist);
  param->u32Qfactor = quality_;
  return HI_SUCCESS;
}

HI_S32 EncoderChannel::SetJpegParam(const VENC_PARAM_JPEG_S* param) {
  if (param == nullptr) return Error(Refusal::NullPointer);
  if (!attr_) return Error(Refusal::DoesNotExist);
  if (param->u32Qfactor < 1 || param->u32Qfactor > 99) return Error(Refusal::BadParameter);
  quality_ = param->u32Qfactor;
  return HI_SUCCESS;
}

HI_S32 EncoderChannel::Start(const VENC_RECV_PIC_PARAM_S* param) {
  if (param == nullptr) return Error(Refusal::NullPointer);
  if (!attr_) return Error(Refusal::DoesNotExist);
  if (receiving_) return Error(Refusal::NotPermitted);
  if (param->s32RecvPicNum == 0 || param->s32RecvPicNum < -1) return Error(Refusal::BadParameter);
  StopEncoding();
  sequence_ += static_cast<HI_U32>(buffer_->Pictures());
  buffer_->Clear();
  waiting_.clear();
  taken_ = 0;
  receiving_ = true;
  left_ = param->s32RecvPicNum;
  return HI_SUCCESS;
}

HI_S32 EncoderChannel::Stop() {
  if (!attr_) return Error(Refusal::DoesNotExist);
  receiving_ = false;
  return HI_SUCCESS;
}

// --- bus: streams ---

HI_S32 EncoderChannel::GetFd() {
  if (!attr_) return Error(Refusal::DoesNotExist);
  if (descriptor_ < 0) descriptor_ = descriptors_.Install(*this);
  return descriptor_ >= 0 ? descriptor_ : Error(Refusal::NoMemory);
}

HI_S32 EncoderChannel::Query(VENC_CHN_STAT_S* stat) {
  if (stat == nullptr) return Error(Refusal::NullPointer);
  if (!attr_) return Error(Refusal::DoesNotExist);
  *stat = {};
  stat->u32LeftPics = static_cast<HI_U32>(queue_.size());
  stat->u32LeftRecvPics = receiving_ && left_ > 0 ? static_cast<HI_U32>(left_) : 0;
  stat->u32LeftStreamFrames = static_cast<HI_U32>(buffer_->Pictures() - taken_);
  for (size_t i = taken_; i < buffer_->Pictures(); i++) {
    for (const StreamBuffer::Piece& piece : buffer_->Pieces(i)) stat->u32LeftStreamBytes += piece.size;
  }
  if (Readable()) stat->u32CurPacks = static_cast<HI_U32>(buffer_->Pieces(taken_).size());
  return HI_SUCCESS;
}

HI_S32 EncoderChannel::GetStream(VENC_STREAM_S* stream, HI_S32 milliseconds) {
  if (stream == nullptr || stream->pstPack == nullptr) return Error(Refusal::NullPointer);
  if (milliseconds < -1) return Error(Refusal::BadParameter);
  const Time end = kernel_.Now() + std::chrono::milliseconds(milliseconds);
  while (attr_ && !Readable()) {
    if (milliseconds < 0) {
      changed_.Wait();
    } else if (kernel_.Now() >= end || !changed_.Wait(end - kernel_.Now())) {
      if (!Readable()) return Error(Refusal::BufferEmpty);
    }
  }
  if (!attr_) return Error(Refusal::DoesNotExist);

  const auto pieces = buffer_->Pieces(taken_);
  if (stream->u32PackCount < pieces.size()) return Error(Refusal::BadParameter);
  for (size_t i = 0; i < pieces.size(); i++) {
    VENC_PACK_S& pack = stream->pstPack[i];
    pack = {};
    pack.pu8Addr = pieces[i].start;
    pack.u32Offset = pieces[i].offset;
    pack.u32Len = pieces[i].offset + pieces[i].size;
    pack.u64PTS = static_cast<HI_U64>(waiting_[taken_].cameIn / 1us);
    pack.bFrameEnd = i + 1 == pieces.size() ? HI_TRUE : HI_FALSE;
  }
  stream->u32PackCount = static_cast<HI_U32>(pieces.size());
  stream->u32Seq = sequence_ + static_cast<HI_U32>(taken_);
  taken_++;
  return HI_SUCCESS;
}

HI_S32 EncoderChannel::ReleaseStream(const VENC_STREAM_S* stream) {
  if (stream == nullptr || stream->pstPack == nullptr) return Error(Refusal::NullPointer);
  if (!attr_) return Error(Refusal::DoesNotExist);
  if (taken_ == 0) return Error(Refusal::NotPermitted);
  if (stream->u32Seq != sequence_ || stream->pstPack[0].pu8Addr != buffer_->Pieces(0)[0].start) {
    return Error(Refusal::BadParameter);
  }
  buffer_->Release();
  const Waiting done = std::move(waiting_.front());
  waiting_.pop_front();
  taken_--;
  sequence_++;
  if (takenListener_ && done.jpeg) takenListener_(done.frame, done.jpeg);
  return HI_SUCCESS;
}

// --- pictures ---

PictureSize EncoderChannel::Size() const {
  return Is(*attr_, PictureSize::Full) ? PictureSize::Full : PictureSize::Half;
}

bool EncoderChannel::Offer(const ProcessedFrame& picture, const SIZE_S& size) {
  if (!attr_ || !receiving_) return false;
  if (size.u32Width != attr_->u32PicWidth || size.u32Height != attr_->u32PicHeight) {
    counts_.wrongSize++;
    return false;
  }
  if (queue_.size() >= kQueue) {
    counts_.queueFull++;
    return false;
  }
  counts_.taken++;
  if (left_ > 0 && --left_ == 0) receiving_ = false;
  queue_.push_back(picture);
  if (!encoding_) StartNext();
  return true;
}

void EncoderChannel::StartNext() {
  encoding_.reset();
  if (queue_.empty()) return;
  const uint64_t pixels = uint64_t{attr_->u32PicWidth} * attr_->u32PicHeight;
  const Duration takes = kEncodeStart + Duration(pixels * 1'000'000'000 / kPixelsPerSecond);
  encoding_ = kernel_.After(takes, [this] { Encoded(); });
}

void EncoderChannel::Encoded() {
  const ProcessedFrame picture = queue_.front();
  queue_.pop_front();
  const int quality = static_cast<int>(quality_);
  const Jpeg jpeg = picture.treatment.Apply(pictures_.Encode(picture.frame, Size(), quality), Size(), quality);
  if (buffer_->Put(*jpeg)) {
    waiting_.push_back({picture.at, picture.frame, takenListener_ ? jpeg : nullptr});
    counts_.encoded++;
    changed_.Notify();
  } else {
    counts_.noRoom++;
  }
  StartNext();
}

void EncoderChannel::StopEncoding() {
  if (encoding_) kernel_.Cancel(*encoding_);
  encoding_.reset();
  queue_.clear();
}

void EncoderChannel::Forget() {
  StopEncoding();
  // The process may have closed the descriptor, and its number may be another's by now.
  if (descriptors_.Find(descriptor_) == this) descriptors_.Remove(descriptor_);
  descriptor_ = -1;
  if (attr_) system_.GiveBack(attr_->u32BufSize);
  attr_.reset();
  buffer_.reset();
  waiting_.clear();
  receiving_ = false;
  taken_ = 0;
  changed_.Notify();
}

}  // namespace twin

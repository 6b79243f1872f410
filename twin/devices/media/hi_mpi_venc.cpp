// The library's functions for the encoder channels.
#include "sdk/hi_mpi_venc.h"
#include "twin/devices/media/media_pipeline.h"

using twin::EncoderChannel;
using twin::MediaCall;
using twin::MediaPipeline;

namespace {

// A call on a channel that the chip has; another is refused.
template <class Body>
HI_S32 OnChannel(MediaCall call, VENC_CHN channel, Body body) {
  return MediaPipeline::Current().Call(call, channel, [=](MediaPipeline& m) {
    EncoderChannel* encoder = m.Encoder(channel);
    return encoder == nullptr ? twin::MediaError(twin::MediaUnit::Encoder, twin::Refusal::BadChannel) : body(*encoder);
  });
}

}  // namespace

extern "C" {

HI_S32 HI_MPI_VENC_CreateChn(VENC_CHN channel, const VENC_CHN_ATTR_S* attr) {
  return OnChannel(MediaCall::VencCreateChn, channel, [=](EncoderChannel& e) { return e.Create(attr); });
}
HI_S32 HI_MPI_VENC_DestroyChn(VENC_CHN channel) {
  return OnChannel(MediaCall::VencDestroyChn, channel, [](EncoderChannel& e) { return e.Destroy(); });
}
HI_S32 HI_MPI_VENC_GetJpegParam(VENC_CHN channel, VENC_PARAM_JPEG_S* param) {
  return OnChannel(MediaCall::VencGetJpegParam, channel, [=](EncoderChannel& e) { return e.GetJpegParam(param); });
}
HI_S32 HI_MPI_VENC_SetJpegParam(VENC_CHN channel, const VENC_PARAM_JPEG_S* param) {
  return OnChannel(MediaCall::VencSetJpegParam, channel, [=](EncoderChannel& e) { return e.SetJpegParam(param); });
}
HI_S32 HI_MPI_VENC_StartRecvPicEx(VENC_CHN channel, const VENC_RECV_PIC_PARAM_S* param) {
  return OnChannel(MediaCall::VencStart, channel, [=](EncoderChannel& e) { return e.Start(param); });
}
HI_S32 HI_MPI_VENC_StopRecvPic(VENC_CHN channel) {
  return OnChannel(MediaCall::VencStop, channel, [](EncoderChannel& e) { return e.Stop(); });
}
HI_S32 HI_MPI_VENC_GetFd(VENC_CHN channel) {
  return OnChannel(MediaCall::VencGetFd, channel, [](EncoderChannel& e) { return e.GetFd(); });
}
HI_S32 HI_MPI_VENC_Query(VENC_CHN channel, VENC_CHN_STAT_S* stat) {
  return OnChannel(MediaCall::VencQuery, channel, [=](EncoderChannel& e) { return e.Query(stat); });
}
HI_S32 HI_MPI_VENC_GetStream(VENC_CHN channel, VENC_STREAM_S* stream, HI_S32 milliseconds) {
  return OnChannel(MediaCall::VencGetStream, channel,
                   [=](EncoderChannel& e) { return e.GetStream(stream, milliseconds); });
}
HI_S32 HI_MPI_VENC_ReleaseStream(VENC_CHN channel, VENC_STREAM_S* stream) {
  return OnChannel(MediaCall::VencReleaseStream, channel, [=](EncoderChannel& e) { return e.ReleaseStream(stream); });
}

}  // extern "C"

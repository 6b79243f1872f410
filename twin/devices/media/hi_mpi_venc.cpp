// The library's functions for the encoder channels.
#include "sdk/hi_mpi_venc.h"
#include "twin/devices/media/media_pipeline.h"

using twin::EncoderChannel;
using twin::MediaCall;
using twin::MediaPipeline;

namespace {

// A call on a channel that the chip has; another is refused.
template <class Body, class... Given>
HI_S32 OnChannel(MediaCall call, VENC_CHN channel, Body body, const Given&... given) {
  return MediaPipeline::Current().Call(
      call, channel,
      [=](MediaPipeline& m) {
        EncoderChannel* encoder = m.Encoder(channel);
        return encoder == nullptr ? twin::MediaError(twin::MediaUnit::Encoder, twin::Refusal::BadChannel)
                                  : body(*encoder);
      },
      given...);
}

}  // namespace

extern "C" {

HI_S32 HI_MPI_VENC_CreateChn(VENC_CHN channel, const VENC_CHN_ATTR_S* attr) {
  return OnChannel(
      MediaCall::VencCreateChn, channel, [=](EncoderChannel& e) { return e.Create(attr); }, channel, attr);
}
HI_S32 HI_MPI_VENC_DestroyChn(VENC_CHN channel) {
  const bool bound = MediaPipeline::Current().system.BoundTo({HI_ID_VENC, 0, channel});
  return OnChannel(
      MediaCall::VencDestroyChn, channel, [=](EncoderChannel& e) { return e.Destroy(bound); }, channel);
}
HI_S32 HI_MPI_VENC_GetJpegParam(VENC_CHN channel, VENC_PARAM_JPEG_S* param) {
  return OnChannel(
      MediaCall::VencGetJpegParam, channel, [=](EncoderChannel& e) { return e.GetJpegParam(param); }, channel, param);
}
HI_S32 HI_MPI_VENC_SetJpegParam(VENC_CHN channel, const VENC_PARAM_JPEG_S* param) {
  return OnChannel(
      MediaCall::VencSetJpegParam, channel, [=](EncoderChannel& e) { return e.SetJpegParam(param); }, channel, param);
}
HI_S32 HI_MPI_VENC_StartRecvPicEx(VENC_CHN channel, const VENC_RECV_PIC_PARAM_S* param) {
  return OnChannel(
      MediaCall::VencStart, channel, [=](EncoderChannel& e) { return e.Start(param); }, channel, param);
}
HI_S32 HI_MPI_VENC_StopRecvPic(VENC_CHN channel) {
  return OnChannel(
      MediaCall::VencStop, channel, [](EncoderChannel& e) { return e.Stop(); }, channel);
}
HI_S32 HI_MPI_VENC_GetFd(VENC_CHN channel) {
  return OnChannel(
      MediaCall::VencGetFd, channel, [](EncoderChannel& e) { return e.GetFd(); }, channel);
}
HI_S32 HI_MPI_VENC_Query(VENC_CHN channel, VENC_CHN_STAT_S* stat) {
  return OnChannel(
      MediaCall::VencQuery, channel, [=](EncoderChannel& e) { return e.Query(stat); }, channel, stat);
}
HI_S32 HI_MPI_VENC_GetStream(VENC_CHN channel, VENC_STREAM_S* stream, HI_S32 milliseconds) {
  return OnChannel(
      MediaCall::VencGetStream, channel, [=](EncoderChannel& e) { return e.GetStream(stream, milliseconds); }, channel,
      stream, milliseconds);
}
HI_S32 HI_MPI_VENC_ReleaseStream(VENC_CHN channel, VENC_STREAM_S* stream) {
  return OnChannel(
      MediaCall::VencReleaseStream, channel, [=](EncoderChannel& e) { return e.ReleaseStream(stream); }, channel,
      stream);
}

}  // extern "C"

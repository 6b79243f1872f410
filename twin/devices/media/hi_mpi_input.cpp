// The library's functions for video input and video processing.
#include "sdk/hi_mpi.h"
#include "twin/devices/media/media_pipeline.h"

using twin::MediaCall;
using twin::MediaPipeline;

namespace {

MediaPipeline& Media() { return MediaPipeline::Current(); }

}  // namespace

extern "C" {

HI_S32 HI_MPI_VI_SetDevAttr(VI_DEV device, const VI_DEV_ATTR_S* attr) {
  return Media().Call(
      MediaCall::ViSetDevAttr, device, [=](MediaPipeline& m) { return m.input.SetDevAttr(device, attr); }, device,
      attr);
}
HI_S32 HI_MPI_VI_SetWDRAttr(VI_DEV device, const VI_WDR_ATTR_S* attr) {
  return Media().Call(
      MediaCall::ViSetWdrAttr, device, [=](MediaPipeline& m) { return m.input.SetWdrAttr(device, attr); }, device,
      attr);
}
HI_S32 HI_MPI_VI_EnableDev(VI_DEV device) {
  return Media().Call(
      MediaCall::ViEnableDev, device, [=](MediaPipeline& m) { return m.input.EnableDev(device); }, device);
}
HI_S32 HI_MPI_VI_DisableDev(VI_DEV device) {
  return Media().Call(
      MediaCall::ViDisableDev, device, [=](MediaPipeline& m) { return m.input.DisableDev(device); }, device);
}
HI_S32 HI_MPI_VI_SetChnAttr(VI_CHN channel, const VI_CHN_ATTR_S* attr) {
  return Media().Call(
      MediaCall::ViSetChnAttr, channel, [=](MediaPipeline& m) { return m.input.SetChnAttr(channel, attr); }, channel,
      attr);
}
HI_S32 HI_MPI_VI_EnableChn(VI_CHN channel) {
  return Media().Call(
      MediaCall::ViEnableChn, channel, [=](MediaPipeline& m) { return m.input.EnableChn(channel, m.system); }, channel);
}
HI_S32 HI_MPI_VI_DisableChn(VI_CHN channel) {
  return Media().Call(
      MediaCall::ViDisableChn, channel, [=](MediaPipeline& m) { return m.input.DisableChn(channel, m.system); },
      channel);
}
HI_S32 HI_MPI_VI_GetDCIParam(VI_DEV device, VI_DCI_PARAM_S* param) {
  return Media().Call(
      MediaCall::ViGetDci, device, [=](MediaPipeline& m) { return m.input.GetDci(device, param); }, device, param);
}
HI_S32 HI_MPI_VI_SetDCIParam(VI_DEV device, const VI_DCI_PARAM_S* param) {
  return Media().Call(
      MediaCall::ViSetDci, device, [=](MediaPipeline& m) { return m.input.SetDci(device, param); }, device, param);
}
HI_S32 HI_MPI_VI_GetCSCAttr(VI_DEV device, VI_CSC_ATTR_S* attr) {
  return Media().Call(
      MediaCall::ViGetCsc, device, [=](MediaPipeline& m) { return m.input.GetCsc(device, attr); }, device, attr);
}
HI_S32 HI_MPI_VI_SetCSCAttr(VI_DEV device, const VI_CSC_ATTR_S* attr) {
  return Media().Call(
      MediaCall::ViSetCsc, device, [=](MediaPipeline& m) { return m.input.SetCsc(device, attr); }, device, attr);
}

HI_S32 HI_MPI_VI_EnableBayerDump(VI_DEV device) {
  return Media().Call(
      MediaCall::ViEnableDump, device, [=](MediaPipeline& m) { return m.dump.Enable(device, m.input.DeviceOn()); },
      device);
}
HI_S32 HI_MPI_VI_DisableBayerDump(VI_DEV device) {
  return Media().Call(
      MediaCall::ViDisableDump, device, [=](MediaPipeline& m) { return m.dump.Disable(device); }, device);
}
HI_S32 HI_MPI_VI_SetFrameDepth(VI_CHN channel, HI_U32 depth) {
  return Media().Call(
      MediaCall::ViSetDepth, channel, [=](MediaPipeline& m) { return m.dump.SetDepth(channel, depth); }, channel,
      depth);
}
HI_S32 HI_MPI_VI_GetFrame(VI_CHN channel, VIDEO_FRAME_INFO_S* frame, HI_S32 milliseconds) {
  return Media().Call(
      MediaCall::ViGetFrame, channel, [=](MediaPipeline& m) { return m.dump.GetFrame(channel, frame, milliseconds); },
      channel, frame, milliseconds);
}
HI_S32 HI_MPI_VI_ReleaseFrame(VI_CHN channel, const VIDEO_FRAME_INFO_S* frame) {
  return Media().Call(
      MediaCall::ViReleaseFrame, channel, [=](MediaPipeline& m) { return m.dump.ReleaseFrame(channel, frame); },
      channel, frame);
}

HI_S32 HI_MPI_VPSS_CreateGrp(VPSS_GRP group, const VPSS_GRP_ATTR_S* attr) {
  return Media().Call(
      MediaCall::VpssCreateGrp, group, [=](MediaPipeline& m) { return m.vpss.Create(group, attr); }, group, attr);
}
HI_S32 HI_MPI_VPSS_DestroyGrp(VPSS_GRP group) {
  return Media().Call(
      MediaCall::VpssDestroyGrp, group, [=](MediaPipeline& m) { return m.vpss.Destroy(group, m.system); }, group);
}
HI_S32 HI_MPI_VPSS_StartGrp(VPSS_GRP group) {
  return Media().Call(
      MediaCall::VpssStartGrp, group, [=](MediaPipeline& m) { return m.vpss.Start(group); }, group);
}
HI_S32 HI_MPI_VPSS_StopGrp(VPSS_GRP group) {
  return Media().Call(
      MediaCall::VpssStopGrp, group, [=](MediaPipeline& m) { return m.vpss.Stop(group, m.system); }, group);
}
HI_S32 HI_MPI_VPSS_SetChnAttr(VPSS_GRP group, VPSS_CHN channel, const VPSS_CHN_ATTR_S* attr) {
  return Media().Call(
      MediaCall::VpssSetChnAttr, channel, [=](MediaPipeline& m) { return m.vpss.SetChnAttr(group, channel, attr); },
      group, channel, attr);
}
HI_S32 HI_MPI_VPSS_SetChnMode(VPSS_GRP group, VPSS_CHN channel, const VPSS_CHN_MODE_S* mode) {
  return Media().Call(
      MediaCall::VpssSetChnMode, channel, [=](MediaPipeline& m) { return m.vpss.SetChnMode(group, channel, mode); },
      group, channel, mode);
}
HI_S32 HI_MPI_VPSS_EnableChn(VPSS_GRP group, VPSS_CHN channel) {
  return Media().Call(
      MediaCall::VpssEnableChn, channel, [=](MediaPipeline& m) { return m.vpss.EnableChn(group, channel, m.system); },
      group, channel);
}
HI_S32 HI_MPI_VPSS_DisableChn(VPSS_GRP group, VPSS_CHN channel) {
  return Media().Call(
      MediaCall::VpssDisableChn, channel, [=](MediaPipeline& m) { return m.vpss.DisableChn(group, channel, m.system); },
      group, channel);
}

}  // extern "C"

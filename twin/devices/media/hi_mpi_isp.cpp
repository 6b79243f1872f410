// The library's functions for the image signal processor.
#include "sdk/hi_mpi.h"
#include "twin/devices/media/media_pipeline.h"

using twin::IspSettings;
using twin::IspUnit;
using twin::MediaCall;
using twin::MediaPipeline;

namespace {

MediaPipeline& Media() { return MediaPipeline::Current(); }

HI_S32 Register(MediaCall call, ISP_DEV device, IspUnit::Library library, const ALG_LIB_S* lib) {
  return Media().Call(
      call, device, [=](MediaPipeline& m) { return m.isp.Register(device, library, lib); }, device, lib);
}

template <class Attr>
HI_S32 Get(MediaCall call, ISP_DEV device, Attr IspSettings::*which, Attr* attr) {
  return Media().Call(
      call, device, [=](MediaPipeline& m) { return m.isp.Get(device, which, attr); }, device, attr);
}

template <class Attr>
HI_S32 Set(MediaCall call, ISP_DEV device, Attr IspSettings::*which, const Attr* attr) {
  return Media().Call(
      call, device, [=](MediaPipeline& m) { return m.isp.Set(device, which, attr); }, device, attr);
}

}  // namespace

extern "C" {

HI_S32 HI_MPI_AE_Register(ISP_DEV device, ALG_LIB_S* lib) {
  return Register(MediaCall::AeRegister, device, IspUnit::kExposure, lib);
}
HI_S32 HI_MPI_AWB_Register(ISP_DEV device, ALG_LIB_S* lib) {
  return Register(MediaCall::AwbRegister, device, IspUnit::kWhiteBalance, lib);
}
HI_S32 HI_MPI_AF_Register(ISP_DEV device, ALG_LIB_S* lib) {
  return Register(MediaCall::AfRegister, device, IspUnit::kFocus, lib);
}
HI_S32 HI_MPI_ISP_SensorRegCallBack(ISP_DEV device, SENSOR_ID sensor, const ISP_SENSOR_REGISTER_S* callbacks) {
  return Media().Call(
      MediaCall::IspRegisterSensor, device,
      [=](MediaPipeline& m) { return m.isp.RegisterSensor(device, sensor, callbacks); }, device, sensor);
}
HI_S32 HI_MPI_ISP_SensorUnRegCallBack(ISP_DEV device, SENSOR_ID sensor) {
  return Media().Call(
      MediaCall::IspUnregisterSensor, device, [=](MediaPipeline& m) { return m.isp.UnregisterSensor(device, sensor); },
      device, sensor);
}
HI_S32 HI_MPI_AE_SensorRegCallBack(ISP_DEV device, const ALG_LIB_S* lib, SENSOR_ID sensor,
                                   const AE_SENSOR_REGISTER_S* callbacks) {
  return Media().Call(
      MediaCall::AeRegisterSensor, device,
      [=](MediaPipeline& m) { return m.isp.RegisterSensor(device, lib, sensor, callbacks); }, device, lib, sensor);
}
HI_S32 HI_MPI_AE_SensorUnRegCallBack(ISP_DEV device, const ALG_LIB_S* lib, SENSOR_ID sensor) {
  return Media().Call(
      MediaCall::AeUnregisterSensor, device,
      [=](MediaPipeline& m) { return m.isp.UnregisterSensor(device, IspUnit::kExposure, lib, sensor); }, device, lib,
      sensor);
}
HI_S32 HI_MPI_AWB_SensorRegCallBack(ISP_DEV device, const ALG_LIB_S* lib, SENSOR_ID sensor,
                                    const AWB_SENSOR_REGISTER_S* callbacks) {
  return Media().Call(
      MediaCall::AwbRegisterSensor, device,
      [=](MediaPipeline& m) { return m.isp.RegisterSensor(device, lib, sensor, callbacks); }, device, lib, sensor);
}
HI_S32 HI_MPI_AWB_SensorUnRegCallBack(ISP_DEV device, const ALG_LIB_S* lib, SENSOR_ID sensor) {
  return Media().Call(
      MediaCall::AwbUnregisterSensor, device,
      [=](MediaPipeline& m) { return m.isp.UnregisterSensor(device, IspUnit::kWhiteBalance, lib, sensor); }, device,
      lib, sensor);
}
HI_S32 HI_MPI_ISP_MemInit(ISP_DEV device) {
  return Media().Call(
      MediaCall::IspMemInit, device, [=](MediaPipeline& m) { return m.isp.MemInit(device); }, device);
}
HI_S32 HI_MPI_ISP_SetWDRMode(ISP_DEV device, const ISP_WDR_MODE_S* mode) {
  return Media().Call(
      MediaCall::IspSetWdrMode, device, [=](MediaPipeline& m) { return m.isp.SetWdrMode(device, mode); }, device, mode);
}
HI_S32 HI_MPI_ISP_GetWDRMode(ISP_DEV device, ISP_WDR_MODE_S* mode) {
  return Media().Call(
      MediaCall::IspGetWdrMode, device, [=](MediaPipeline& m) { return m.isp.GetWdrMode(device, mode); }, device, mode);
}
HI_S32 HI_MPI_ISP_SetPubAttr(ISP_DEV device, const ISP_PUB_ATTR_S* attr) {
  return Media().Call(
      MediaCall::IspSetPubAttr, device, [=](MediaPipeline& m) { return m.isp.SetPubAttr(device, attr); }, device, attr);
}
HI_S32 HI_MPI_ISP_Init(ISP_DEV device) {
  return Media().Call(
      MediaCall::IspInit, device, [=](MediaPipeline& m) { return m.isp.Init(device); }, device);
}
HI_S32 HI_MPI_ISP_Run(ISP_DEV device) {
  return Media().Call(
      MediaCall::IspRun, device, [=](MediaPipeline& m) { return m.isp.Run(device); }, device);
}
HI_S32 HI_MPI_ISP_Exit(ISP_DEV device) {
  return Media().Call(
      MediaCall::IspExit, device, [=](MediaPipeline& m) { return m.ExitIsp(device); }, device);
}
HI_S32 HI_MPI_ISP_GetISPRegAttr(ISP_DEV device, ISP_REG_ATTR_S* attr) {
  return Media().Call(
      MediaCall::IspGetRegAttr, device, [=](MediaPipeline& m) { return m.isp.GetRegAttr(device, attr); }, device, attr);
}

HI_S32 HI_MPI_ISP_GetNRAttr(ISP_DEV device, ISP_NR_ATTR_S* attr) {
  return Get(MediaCall::IspGetNr, device, &IspSettings::nr, attr);
}
HI_S32 HI_MPI_ISP_SetNRAttr(ISP_DEV device, const ISP_NR_ATTR_S* attr) {
  return Set(MediaCall::IspSetNr, device, &IspSettings::nr, attr);
}
HI_S32 HI_MPI_ISP_GetBayerSharpenAttr(ISP_DEV device, ISP_BAYER_SHARPEN_ATTR_S* attr) {
  return Get(MediaCall::IspGetBayerSharpen, device, &IspSettings::bayerSharpen, attr);
}
HI_S32 HI_MPI_ISP_SetBayerSharpenAttr(ISP_DEV device, const ISP_BAYER_SHARPEN_ATTR_S* attr) {
  return Set(MediaCall::IspSetBayerSharpen, device, &IspSettings::bayerSharpen, attr);
}
HI_S32 HI_MPI_ISP_GetYuvSharpenAttr(ISP_DEV device, ISP_YUV_SHARPEN_ATTR_S* attr) {
  return Get(MediaCall::IspGetYuvSharpen, device, &IspSettings::yuvSharpen, attr);
}
HI_S32 HI_MPI_ISP_SetYuvSharpenAttr(ISP_DEV device, const ISP_YUV_SHARPEN_ATTR_S* attr) {
  return Set(MediaCall::IspSetYuvSharpen, device, &IspSettings::yuvSharpen, attr);
}

}  // extern "C"

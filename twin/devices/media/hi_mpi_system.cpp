// The library's functions for system, pools and tuning data.
#include "sdk/hi_mpi.h"
#include "twin/devices/media/media_pipeline.h"

using twin::MediaCall;
using twin::MediaError;
using twin::MediaPipeline;
using twin::MediaUnit;
using twin::Refusal;

namespace {

// Of a binding, for faults and records: its destination's channel.
int64_t Detail(const MPP_CHN_S* destination) { return destination == nullptr ? -1 : destination->s32ChnId; }

MediaPipeline& Media() { return MediaPipeline::Current(); }

}  // namespace

extern "C" {

HI_S32 HI_MPI_SYS_SetConf(const MPP_SYS_CONF_S* conf) {
  return Media().Call(
      MediaCall::SysSetConf, 0, [=](MediaPipeline& m) { return m.system.SetConf(conf); }, conf);
}
HI_S32 HI_MPI_SYS_Init(void) {
  return Media().Call(MediaCall::SysInit, 0, [](MediaPipeline& m) { return m.system.Init(); });
}
HI_S32 HI_MPI_SYS_Exit(void) {
  return Media().Call(MediaCall::SysExit, 0, [](MediaPipeline& m) { return m.ExitSystem(); });
}
HI_S32 HI_MPI_SYS_Bind(MPP_CHN_S* source, MPP_CHN_S* destination) {
  return Media().Call(
      MediaCall::SysBind, Detail(destination), [=](MediaPipeline& m) { return m.Bind(source, destination); }, source,
      destination);
}
HI_S32 HI_MPI_SYS_UnBind(MPP_CHN_S* source, MPP_CHN_S* destination) {
  return Media().Call(
      MediaCall::SysUnBind, Detail(destination), [=](MediaPipeline& m) { return m.Unbind(source, destination); },
      source, destination);
}

void* HI_MPI_SYS_Mmap(HI_U32 address, HI_U32 size) {
  void* mapped = nullptr;
  Media().Call(
      MediaCall::SysMmap, 0,
      [=, &mapped](MediaPipeline& m) {
        mapped = m.timing.Map(address, size);
        return mapped == nullptr ? MediaError(MediaUnit::System, Refusal::BadParameter) : HI_SUCCESS;
      },
      address, size);
  return mapped;
}
// For the transcript: what has been written there.
HI_S32 HI_MPI_SYS_Munmap(void* mapped, HI_U32 size) {
  const bool there = Media().timing.Holds(mapped, size);
  const std::string left = there ? "[" + twin::WordsOf(mapped, size) + "]" : "nothing";
  return Media().Call(
      MediaCall::SysMunmap, 0,
      [=](MediaPipeline& m) {
        return m.timing.Unmap(mapped, size) ? HI_SUCCESS : MediaError(MediaUnit::System, Refusal::BadParameter);
      },
      left);
}
HI_S32 HI_MPI_SYS_GetReg(HI_U32 address, HI_U32* value) {
  return Media().Call(
      MediaCall::SysGetReg, address, [=](MediaPipeline& m) { return m.GetRegister(address, value); }, address, value);
}
HI_S32 HI_MPI_SYS_SetReg(HI_U32 address, HI_U32 value) {
  return Media().Call(
      MediaCall::SysSetReg, address, [=](MediaPipeline& m) { return m.SetRegister(address, value); }, address, value);
}

HI_S32 HI_MPI_VB_SetConf(const VB_CONF_S* conf) {
  return Media().Call(
      MediaCall::VbSetConf, 0, [=](MediaPipeline& m) { return m.system.SetPools(conf); }, conf);
}
HI_S32 HI_MPI_VB_Init(void) {
  return Media().Call(MediaCall::VbInit, 0, [](MediaPipeline& m) { return m.system.InitPools(); });
}
HI_S32 HI_MPI_VB_Exit(void) {
  return Media().Call(MediaCall::VbExit, 0, [](MediaPipeline& m) { return m.system.ExitPools(); });
}

HI_S32 HI_PQ_BIN_Init(PQ_BIN_MODULE_S* module) {
  return Media().Call(
      MediaCall::PqInit, 0, [=](MediaPipeline& m) { return m.isp.InitTuning(module); }, module);
}
HI_S32 HI_PQ_BIN_ParseBinData(HI_U8* data, HI_U32 size) {
  return Media().Call(
      MediaCall::PqParse, 0, [=](MediaPipeline& m) { return m.isp.Tune(data, size); }, size);
}

}  // extern "C"

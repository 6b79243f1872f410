// The calls of the media library as one table: what each is named, how it can break, what it costs, and the record of
// those that were made.
#pragma once

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "twin/devices/media/media_error.h"
#include "twin/faults/faults.h"
#include "twin/kernel/kernel.h"

namespace twin {

enum class MediaCall {
  SysSetConf,
  SysInit,
  SysExit,
  SysBind,
  SysUnBind,
  SysMmap,
  SysMunmap,
  SysGetReg,
  SysSetReg,
  VbSetConf,
  VbInit,
  VbExit,
  ViSetDevAttr,
  ViSetWdrAttr,
  ViEnableDev,
  ViDisableDev,
  ViSetChnAttr,
  ViEnableChn,
  ViDisableChn,
  ViGetDci,
  ViSetDci,
  ViGetCsc,
  ViSetCsc,
  ViEnableDump,
  ViDisableDump,
  ViSetDepth,
  ViGetFrame,
  ViReleaseFrame,
  AeRegister,
  AwbRegister,
  AfRegister,
  IspRegisterSensor,
  IspUnregisterSensor,
  AeRegisterSensor,
  AeUnregisterSensor,
  AwbRegisterSensor,
  AwbUnregisterSensor,
  IspMemInit,
  IspSetWdrMode,
  IspGetWdrMode,
  IspSetPubAttr,
  IspInit,
  IspRun,
  IspExit,
  IspGetRegAttr,
  IspGetNr,
  IspSetNr,
  IspGetBayerSharpen,
  IspSetBayerSharpen,
  IspGetYuvSharpen,
  IspSetYuvSharpen,
  PqInit,
  PqParse,
  VpssCreateGrp,
  VpssDestroyGrp,
  VpssStartGrp,
  VpssStopGrp,
  VpssSetChnAttr,
  VpssSetChnMode,
  VpssEnableChn,
  VpssDisableChn,
  VencCreateChn,
  VencDestroyChn,
  VencGetJpegParam,
  VencSetJpegParam,
  VencStart,
  VencStop,
  VencGetFd,
  VencQuery,
  VencGetStream,
  VencReleaseStream,
  Count,
};

struct MediaCallRow {
  MediaCall call;
  const char* name;
  MediaUnit unit;
  const char* fault;  // its fault point; calls of one kind share one
  Duration cost;      // board time
  bool needsSystem;   // refused before HI_MPI_SYS_Init
};

const MediaCallRow& RowOf(MediaCall call);

// One call that was made.
struct MadeCall {
  Time at;  // when it returned
  const char* name;
  int64_t detail;  // device, group or channel
  HI_S32 result;
};

class MediaCalls {
 public:
  explicit MediaCalls(Faults& faults);

  // What breaks this call now, if a rule says so.
  std::optional<Effect> Ask(MediaCall call, int64_t detail);
  void Record(MediaCall call, int64_t detail, HI_S32 result, Time at);
  const std::vector<MadeCall>& Made() const { return made_; }
  void Forget() { made_.clear(); }

 private:
  std::map<std::string_view, std::unique_ptr<FaultPoint>> points_;
  std::array<FaultPoint*, static_cast<size_t>(MediaCall::Count)> pointOf_{};
  std::vector<MadeCall> made_;
};

}  // namespace twin

// The calls of the media library as one table: what each is named, how it can break, what it costs, and how it is
// written down.
#pragma once

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/hi_mpi.h"
#include "twin/devices/media/media_error.h"
#include "twin/faults/faults.h"
#include "twin/kernel/kernel.h"
#include "twin/transcript/transcript.h"

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

// A call's arguments for the transcript: numbers as they are, a record's words in brackets, a library by its name. Of a
// stream its packs and number, since where they lie says nothing.
std::string Told(int64_t number);
inline std::string Told(const std::string& text) { return text; }
std::string Told(const ALG_LIB_S* library);
std::string Told(const VENC_STREAM_S* stream);
template <class Record>
std::string Told(const Record* record) {
  return record == nullptr ? "null" : "[" + WordsOf(record, sizeof *record) + "]";
}
std::string ToldCall(MediaCall call, const std::vector<std::string>& arguments, HI_S32 result);

class MediaCalls {
 public:
  explicit MediaCalls(Faults& faults);

  // What breaks this call now, if a rule says so.
  std::optional<Effect> Ask(MediaCall call, int64_t detail);

 private:
  std::map<std::string_view, std::unique_ptr<FaultPoint>> points_;
  std::array<FaultPoint*, static_cast<size_t>(MediaCall::Count)> pointOf_{};
};

}  // namespace twin

#include "twin/devices/media/media_calls.h"

namespace twin {

namespace {

constexpr Duration kShort = 10us;  // into the driver and back

constexpr std::array<MediaCallRow, static_cast<size_t>(MediaCall::Count)> callRows = {{
    {MediaCall::SysSetConf, "HI_MPI_SYS_SetConf", MediaUnit::System, "sys.conf", kShort, false},
    {MediaCall::SysInit, "HI_MPI_SYS_Init", MediaUnit::System, "sys.init", 20ms, false},
    {MediaCall::SysExit, "HI_MPI_SYS_Exit", MediaUnit::System, "sys.exit", 20ms, false},
    {MediaCall::SysBind, "HI_MPI_SYS_Bind", MediaUnit::System, "sys.bind", kShort, true},
    {MediaCall::SysUnBind, "HI_MPI_SYS_UnBind", MediaUnit::System, "sys.unbind", kShort, true},
    {MediaCall::SysMmap, "HI_MPI_SYS_Mmap", MediaUnit::System, "sys.map", kShort, false},
    {MediaCall::SysMunmap, "HI_MPI_SYS_Munmap", MediaUnit::System, "sys.unmap", kShort, false},
    {MediaCall::SysGetReg, "HI_MPI_SYS_GetReg", MediaUnit::System, "sys.get-reg", kShort, true},
    {MediaCall::SysSetReg, "HI_MPI_SYS_SetReg", MediaUnit::System, "sys.set-reg", kShort, true},
    {MediaCall::VbSetConf, "HI_MPI_VB_SetConf", MediaUnit::Pools, "vb.conf", kShort, false},
    {MediaCall::VbInit, "HI_MPI_VB_Init", MediaUnit::Pools, "vb.init", 5ms, false},
    {MediaCall::VbExit, "HI_MPI_VB_Exit", MediaUnit::Pools, "vb.exit", 5ms, false},
    {MediaCall::ViSetDevAttr, "HI_MPI_VI_SetDevAttr", MediaUnit::Input, "vi.attr", kShort, true},
    {MediaCall::ViSetWdrAttr, "HI_MPI_VI_SetWDRAttr", MediaUnit::Input, "vi.attr", kShort, true},
    {MediaCall::ViEnableDev, "HI_MPI_VI_EnableDev", MediaUnit::Input, "vi.enable", 1ms, true},
    {MediaCall::ViDisableDev, "HI_MPI_VI_DisableDev", MediaUnit::Input, "vi.disable", 1ms, true},
    {MediaCall::ViSetChnAttr, "HI_MPI_VI_SetChnAttr", MediaUnit::Input, "vi.chn-attr", kShort, true},
    {MediaCall::ViEnableChn, "HI_MPI_VI_EnableChn", MediaUnit::Input, "vi.chn-enable", 1ms, true},
    {MediaCall::ViDisableChn, "HI_MPI_VI_DisableChn", MediaUnit::Input, "vi.chn-disable", 1ms, true},
    {MediaCall::ViGetDci, "HI_MPI_VI_GetDCIParam", MediaUnit::Input, "vi.picture", kShort, true},
    {MediaCall::ViSetDci, "HI_MPI_VI_SetDCIParam", MediaUnit::Input, "vi.picture", kShort, true},
    {MediaCall::ViGetCsc, "HI_MPI_VI_GetCSCAttr", MediaUnit::Input, "vi.picture", kShort, true},
    {MediaCall::ViSetCsc, "HI_MPI_VI_SetCSCAttr", MediaUnit::Input, "vi.picture", kShort, true},
    {MediaCall::ViEnableDump, "HI_MPI_VI_EnableBayerDump", MediaUnit::Input, "vi.dump", kShort, true},
    {MediaCall::ViDisableDump, "HI_MPI_VI_DisableBayerDump", MediaUnit::Input, "vi.dump-end", kShort, true},
    {MediaCall::ViSetDepth, "HI_MPI_VI_SetFrameDepth", MediaUnit::Input, "vi.depth", kShort, true},
    {MediaCall::ViGetFrame, "HI_MPI_VI_GetFrame", MediaUnit::Input, "vi.frame", kShort, true},
    {MediaCall::ViReleaseFrame, "HI_MPI_VI_ReleaseFrame", MediaUnit::Input, "vi.release", kShort, true},
    {MediaCall::AeRegister, "HI_MPI_AE_Register", MediaUnit::Isp, "isp.register", kShort, true},
    {MediaCall::AwbRegister, "HI_MPI_AWB_Register", MediaUnit::Isp, "isp.register", kShort, true},
    {MediaCall::AfRegister, "HI_MPI_AF_Register", MediaUnit::Isp, "isp.register", kShort, true},
    {MediaCall::IspRegisterSensor, "HI_MPI_ISP_SensorRegCallBack", MediaUnit::Isp, "isp.sensor", kShort, true},
    {MediaCall::IspUnregisterSensor, "HI_MPI_ISP_SensorUnRegCallBack", MediaUnit::Isp, "isp.sensor", kShort, true},
    {MediaCall::AeRegisterSensor, "HI_MPI_AE_SensorRegCallBack", MediaUnit::Isp, "ae.sensor", kShort, true},
    {MediaCall::AeUnregisterSensor, "HI_MPI_AE_SensorUnRegCallBack", MediaUnit::Isp, "ae.sensor", kShort, true},
    {MediaCall::AwbRegisterSensor, "HI_MPI_AWB_SensorRegCallBack", MediaUnit::Isp, "awb.sensor", kShort, true},
    {MediaCall::AwbUnregisterSensor, "HI_MPI_AWB_SensorUnRegCallBack", MediaUnit::Isp, "awb.sensor", kShort, true},
    {MediaCall::IspMemInit, "HI_MPI_ISP_MemInit", MediaUnit::Isp, "isp.memory", 1ms, true},
    {MediaCall::IspSetWdrMode, "HI_MPI_ISP_SetWDRMode", MediaUnit::Isp, "isp.attr", kShort, true},
    {MediaCall::IspGetWdrMode, "HI_MPI_ISP_GetWDRMode", MediaUnit::Isp, "isp.attr", kShort, true},
    {MediaCall::IspSetPubAttr, "HI_MPI_ISP_SetPubAttr", MediaUnit::Isp, "isp.attr", kShort, true},
    {MediaCall::IspInit, "HI_MPI_ISP_Init", MediaUnit::Isp, "isp.init", 50ms, true},
    {MediaCall::IspRun, "HI_MPI_ISP_Run", MediaUnit::Isp, "isp.run", kShort, true},
    {MediaCall::IspExit, "HI_MPI_ISP_Exit", MediaUnit::Isp, "isp.exit", 1ms, true},
    {MediaCall::IspGetRegAttr, "HI_MPI_ISP_GetISPRegAttr", MediaUnit::Isp, "isp.layout", kShort, true},
    {MediaCall::IspGetNr, "HI_MPI_ISP_GetNRAttr", MediaUnit::Isp, "isp.settings", kShort, true},
    {MediaCall::IspSetNr, "HI_MPI_ISP_SetNRAttr", MediaUnit::Isp, "isp.settings", kShort, true},
    {MediaCall::IspGetBayerSharpen, "HI_MPI_ISP_GetBayerSharpenAttr", MediaUnit::Isp, "isp.settings", kShort, true},
    {MediaCall::IspSetBayerSharpen, "HI_MPI_ISP_SetBayerSharpenAttr", MediaUnit::Isp, "isp.settings", kShort, true},
    {MediaCall::IspGetYuvSharpen, "HI_MPI_ISP_GetYuvSharpenAttr", MediaUnit::Isp, "isp.settings", kShort, true},
    {MediaCall::IspSetYuvSharpen, "HI_MPI_ISP_SetYuvSharpenAttr", MediaUnit::Isp, "isp.settings", kShort, true},
    {MediaCall::PqInit, "HI_PQ_BIN_Init", MediaUnit::Tuning, "pq.init", kShort, false},
    {MediaCall::PqParse, "HI_PQ_BIN_ParseBinData", MediaUnit::Tuning, "pq.parse", 2ms, false},
    {MediaCall::VpssCreateGrp, "HI_MPI_VPSS_CreateGrp", MediaUnit::Vpss, "vpss.create", 1ms, true},
    {MediaCall::VpssDestroyGrp, "HI_MPI_VPSS_DestroyGrp", MediaUnit::Vpss, "vpss.destroy", 1ms, true},
    {MediaCall::VpssStartGrp, "HI_MPI_VPSS_StartGrp", MediaUnit::Vpss, "vpss.start", kShort, true},
    {MediaCall::VpssStopGrp, "HI_MPI_VPSS_StopGrp", MediaUnit::Vpss, "vpss.stop", kShort, true},
    {MediaCall::VpssSetChnAttr, "HI_MPI_VPSS_SetChnAttr", MediaUnit::Vpss, "vpss.attr", kShort, true},
    {MediaCall::VpssSetChnMode, "HI_MPI_VPSS_SetChnMode", MediaUnit::Vpss, "vpss.attr", kShort, true},
    {MediaCall::VpssEnableChn, "HI_MPI_VPSS_EnableChn", MediaUnit::Vpss, "vpss.enable", kShort, true},
    {MediaCall::VpssDisableChn, "HI_MPI_VPSS_DisableChn", MediaUnit::Vpss, "vpss.disable", kShort, true},
    {MediaCall::VencCreateChn, "HI_MPI_VENC_CreateChn", MediaUnit::Encoder, "venc.create", 2ms, true},
    {MediaCall::VencDestroyChn, "HI_MPI_VENC_DestroyChn", MediaUnit::Encoder, "venc.destroy", 2ms, true},
    {MediaCall::VencGetJpegParam, "HI_MPI_VENC_GetJpegParam", MediaUnit::Encoder, "venc.quality", kShort, true},
    {MediaCall::VencSetJpegParam, "HI_MPI_VENC_SetJpegParam", MediaUnit::Encoder, "venc.quality", kShort, true},
    {MediaCall::VencStart, "HI_MPI_VENC_StartRecvPicEx", MediaUnit::Encoder, "venc.start", kShort, true},
    {MediaCall::VencStop, "HI_MPI_VENC_StopRecvPic", MediaUnit::Encoder, "venc.stop", kShort, true},
    {MediaCall::VencGetFd, "HI_MPI_VENC_GetFd", MediaUnit::Encoder, "venc.fd", kShort, true},
    {MediaCall::VencQuery, "HI_MPI_VENC_Query", MediaUnit::Encoder, "venc.query", kShort, true},
    {MediaCall::VencGetStream, "HI_MPI_VENC_GetStream", MediaUnit::Encoder, "venc.stream", kShort, true},
    {MediaCall::VencReleaseStream, "HI_MPI_VENC_ReleaseStream", MediaUnit::Encoder, "venc.release", kShort, true},
}};

constexpr bool InOrder() {
  for (size_t i = 0; i < callRows.size(); i++) {
    if (callRows[i].call != static_cast<MediaCall>(i)) return false;
  }
  return true;
}
static_assert(InOrder(), "a row stands where its call's number says");

}  // namespace

const MediaCallRow& RowOf(MediaCall call) { return callRows[static_cast<size_t>(call)]; }

MediaCalls::MediaCalls(Faults& faults) {
  std::map<std::string_view, std::string> calls;
  for (const MediaCallRow& row : callRows) {
    std::string& names = calls[row.fault];
    names += (names.empty() ? "" : ", ") + std::string(row.name);
  }
  for (const auto& [point, names] : calls) {
    points_[point] = std::make_unique<FaultPoint>(
        faults, std::string(point), names + ": fail, value=RESULT, silence, delay; detail: device, group or channel");
  }
  for (const MediaCallRow& row : callRows) pointOf_[static_cast<size_t>(row.call)] = points_[row.fault].get();
}

std::optional<Effect> MediaCalls::Ask(MediaCall call, int64_t detail) {
  return pointOf_[static_cast<size_t>(call)]->Ask(detail);
}

std::string Told(int64_t number) {
  char text[24];
  snprintf(text, sizeof text, number < 10'000 ? "%lld" : "%#llx", static_cast<long long>(number));
  return text;
}

std::string Told(const ALG_LIB_S* library) { return library == nullptr ? "null" : library->acLibName; }

std::string Told(const VENC_STREAM_S* stream) {
  if (stream == nullptr) return "null";
  return "[" + std::to_string(stream->u32PackCount) + " " + std::to_string(stream->u32Seq) + "]";
}

std::string ToldCall(MediaCall call, const std::vector<std::string>& arguments, HI_S32 result) {
  std::string text = RowOf(call).name;
  for (const std::string& argument : arguments) text += " " + argument;
  char code[16];
  snprintf(code, sizeof code, result < -1 ? " = %#x" : " = %d", static_cast<unsigned>(result));
  return text + code;
}

}  // namespace twin

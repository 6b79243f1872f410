// The media pipeline's start and end as the application does it, call by call, and what is undone when a step fails.
#include <gmock/gmock.h>

#include <fstream>

#include "common/sample_comm_isp/picture_settings.h"
#include "common/sample_comm_sys/sample_comm_sys.h"
#include "common/sample_comm_vi/sample_comm_vi.h"
#include "tests/support/on_board.h"
#include "venc/media_pipeline.h"

using namespace std::chrono_literals;
using ::testing::ElementsAreArray;
using ::testing::EndsWith;
using ::testing::HasSubstr;

namespace {

using Calls = std::vector<std::string>;

const Calls kClearing = {"SYS_Exit", "VB_Exit"};
const Calls kSystem = {"VB_SetConf", "VB_Init", "SYS_SetConf", "SYS_Init"};
const Calls kIsp = {
    "ISP_SensorRegCallBack", "AE_SensorRegCallBack", "AWB_SensorRegCallBack", "AE_Register",    "AWB_Register",
    "AF_Register",           "ISP_MemInit",          "ISP_SetWDRMode",        "ISP_SetPubAttr", "ISP_Init"};
const Calls kDevice = {"ISP_GetWDRMode", "VI_SetDevAttr", "VI_SetWDRAttr", "VI_EnableDev"};
const Calls kChannel = {"VI_SetChnAttr", "VI_EnableChn"};
const Calls kQuality = {"ISP_GetISPRegAttr", "PQ_BIN_Init",   "VI_GetDCIParam",
                        "VI_SetDCIParam",    "VI_GetCSCAttr", "VI_SetCSCAttr"};
const Calls kGroup = {"VPSS_CreateGrp", "VPSS_StartGrp"};
const Calls kInputBinding = {"SYS_Bind 0"};
const Calls kVpss0 = {"VPSS_SetChnAttr 0", "VPSS_SetChnMode 0", "VPSS_EnableChn 0"};
const Calls kVpss1 = {"VPSS_SetChnAttr 1", "VPSS_SetChnMode 1", "VPSS_EnableChn 1"};
const Calls kEncoder0 = {"VENC_CreateChn 0", "VENC_GetJpegParam 0", "VENC_SetJpegParam 0"};
const Calls kBinding0 = {"SYS_Bind 0"};
const Calls kEncoder1 = {"VENC_CreateChn 1", "VENC_GetJpegParam 1", "VENC_SetJpegParam 1"};
const Calls kBinding1 = {"SYS_Bind 1"};

const Calls kStopEncoders = {"SYS_UnBind 0", "VENC_StopRecvPic 0", "VENC_DestroyChn 0",
                             "SYS_UnBind 1", "VENC_StopRecvPic 1", "VENC_DestroyChn 1"};
const Calls kStopVpssChannels = {"VPSS_DisableChn 0", "VPSS_DisableChn 1"};
const Calls kStopInputBinding = {"SYS_UnBind 0"};
const Calls kStopGroup = {"VPSS_StopGrp", "VPSS_DestroyGrp"};
const Calls kStopInput = {"VI_DisableChn", "VI_DisableDev", "ISP_Exit"};
const Calls kStopSystem = {"SYS_Exit", "VB_Exit"};

Calls operator+(Calls left, const Calls& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}
Calls WithoutLast(Calls calls, size_t count = 1) {
  calls.resize(calls.size() - count);
  return calls;
}

class SetUp : public ::testing::Test {
 protected:
  // Runs the pipeline with a quit already asked for, so that the snap loop returns at once.
  HI_S32 RunPipeline(const std::function<void()>& whilePoweredOff = nullptr) {
    HI_S32 result = 0;
    board.PowerOff();
    board.media.ForgetCalls();
    if (whilePoweredOff) whilePoweredOff();
    OnBoard(board, [&] {
      static ControlSignals ctrlSigs;
      ctrlSigs.needQuit = 1;
      result = SAMPLE_VENC_1080P_MJPEG_JPEG(&ctrlSigs);
    });
    return result;
  }

  // The calls that were made, in short: without the prefix, with the channel where there is more than one.
  // HI_MPI_ISP_Run belongs to its own thread, and the mappings to the sensor's callbacks, which run in both.
  Calls Made() {
    Calls made;
    for (const twin::MadeCall& call : board.media.Calls()) {
      std::string name = call.name;
      name.erase(0, name.starts_with("HI_MPI_") ? 7 : 3);
      if (name == "ISP_Run" || name == "SYS_Mmap" || name == "SYS_Munmap") continue;
      const bool numbered = name.starts_with("VENC") || name.ends_with("Bind") ||
                            (name.starts_with("VPSS") && name.find("Chn") != std::string::npos);
      made.push_back(numbered ? name + " " + std::to_string(call.detail) : name);
    }
    return made;
  }

  twin::Board board{twin::BoardOptions{}};
};

TEST_F(SetUp, BringsEveryUnitUpInOrderAndDownAgainAndLeavesNothing) {
  EXPECT_EQ(RunPipeline(), 0);
  EXPECT_THAT(Made(),
              ElementsAreArray(kClearing + kSystem + kIsp + kDevice + kChannel + kQuality + kGroup + kInputBinding +
                               kVpss0 + kVpss1 + kEncoder0 + kBinding0 + kEncoder1 + kBinding1 + kStopEncoders +
                               kStopVpssChannels + kStopInputBinding + kStopGroup + kStopInput + kStopSystem));
  for (const twin::MadeCall& call : board.media.Calls()) EXPECT_EQ(call.result, HI_SUCCESS) << call.name;
  EXPECT_EQ(board.LogCount("fixfile.bin nonexist!!!\n"), 1u);
  EXPECT_EQ(board.LogCount("HI_MPI_VENC_GetJpegParam, u32Qfactor = 90\n"), 2u);
  EXPECT_EQ(board.descriptors.OpenCount(), 0u);
  EXPECT_EQ(board.media.timing.Mapped(), 0);
  EXPECT_EQ(board.LogCount("IMX226 12M_10CH_12BIT_35FPS init succuss!\n"), 1u);
  EXPECT_EQ(board.registers.Read(0x113800B0), 2402400u) << "30 frames a second";
  EXPECT_EQ(board.media.isp.Sensor().Exposure().u32FullLinesStd, 3640u);
  EXPECT_EQ(board.media.isp.Sensor().Sent().size(), 11u);
}

struct Failure {
  const char* fault;
  const char* message;
  Calls calls;  // all, from the first to the last
};

TEST_F(SetUp, AFailedStepIsToldAndItsLevelAndAllAboveAreUndone) {
  const Calls upToInput = kClearing + kSystem + kIsp + kDevice + kChannel + kQuality;
  const Calls upToVpss = upToInput + kGroup + kInputBinding + kVpss0 + kVpss1;
  const Calls downFromInput = kStopInput + kStopSystem;
  const Calls downFromGroup = kStopGroup + downFromInput;
  const Calls downFromVpss = kStopVpssChannels + kStopInputBinding + downFromGroup;
  const Calls downFromEncoders = kStopEncoders + downFromVpss;
  const Failure failures[] = {
      {"vb.init fail", "SAMPLE_COMM_SYS_Init error", kClearing + WithoutLast(kSystem, 2) + kStopSystem},
      {"sys.init fail", "SAMPLE_COMM_SYS_Init error", kClearing + kSystem + kStopSystem},
      {"mipi.open fail", "SAMPLE_COMM_VI_StartVi error", kClearing + kSystem + downFromInput},
      {"mipi.attr fail", "SAMPLE_COMM_VI_StartVi error", kClearing + kSystem + downFromInput},
      {"isp.sensor fail", "SAMPLE_COMM_VI_StartVi error", kClearing + kSystem + WithoutLast(kIsp, 9) + downFromInput},
      {"awb.sensor fail", "SAMPLE_COMM_VI_StartVi error", kClearing + kSystem + WithoutLast(kIsp, 7) + downFromInput},
      {"ae.sensor silence", "SAMPLE_COMM_VI_StartVi error", kClearing + kSystem + kIsp + downFromInput},
      {"isp.init fail", "SAMPLE_COMM_VI_StartVi error", kClearing + kSystem + kIsp + downFromInput},
      {"vi.enable fail", "SAMPLE_COMM_VI_StartVi error", kClearing + kSystem + kIsp + kDevice + downFromInput},
      {"vi.chn-enable fail", "SAMPLE_COMM_VI_StartVi error",
       kClearing + kSystem + kIsp + kDevice + kChannel + downFromInput},
      {"vpss.start fail", "SAMPLE_COMM_VPSS_StartGroup error", upToInput + kGroup + downFromGroup},
      {"sys.bind fail", "SAMPLE_COMM_VI_BindVpss error",
       upToInput + kGroup + kInputBinding + kStopInputBinding + downFromGroup},
      {"vpss.enable fail detail=1", "SAMPLE_COMM_VPSS_EnableChn error", upToVpss + downFromVpss},
      {"venc.create fail detail=0", "SAMPLE_COMM_VENC_SnapStart_2 error",
       upToVpss + Calls{"VENC_CreateChn 0"} + downFromEncoders},
      {"sys.bind fail nth=2", "SAMPLE_COMM_VENC_BindVpss error", upToVpss + kEncoder0 + kBinding0 + downFromEncoders},
      {"venc.create fail detail=1", "SAMPLE_COMM_VENC_SnapStart error",
       upToVpss + kEncoder0 + kBinding0 + Calls{"VENC_CreateChn 1"} + downFromEncoders},
      {"sys.bind fail nth=3", "SAMPLE_COMM_VENC_BindVpss error",
       upToVpss + kEncoder0 + kBinding0 + kEncoder1 + kBinding1 + downFromEncoders},
  };
  for (const Failure& failure : failures) {
    SCOPED_TRACE(failure.fault);
    const size_t logBefore = board.Log().size();
    EXPECT_LT(RunPipeline([&] {
                board.faults.Clear();
                board.faults.Add(failure.fault);
              }),
              0);
    EXPECT_EQ(board.faults.Fired(), 1u);
    EXPECT_THAT(Made(), ElementsAreArray(failure.calls));
    const std::string log = board.Log().substr(logBefore);
    EXPECT_THAT(log, ::testing::ContainsRegex("SAMPLE_VENC_1080P_MJPEG_JPEG:[0-9]+: " + std::string(failure.message)));
    EXPECT_FALSE(board.media.system.Ready());
    EXPECT_FALSE(board.media.isp.Running());
  }
  EXPECT_EQ(board.LogCount("sensor register callback function failed!\n"), 1u);
  EXPECT_EQ(board.LogCount("sensor register callback function to awb lib failed!\n"), 1u);
  EXPECT_EQ(board.LogCount("HI_MPI_ISP_Init failed with 0xa01c8007!\n"), 1u) << "a description that is not all there";
  board.faults.Clear();
  EXPECT_EQ(RunPipeline(), 0);
}

TEST_F(SetUp, WhatIsNotTestedDoesNotStopTheStart) {
  EXPECT_EQ(RunPipeline([&] {
              for (const char* fault : {"isp.layout fail", "pq.init fail", "vi.picture fail times=always",
                                        "venc.quality fail times=always"}) {
                board.faults.Add(fault);
              }
            }),
            0);
  EXPECT_EQ(board.faults.Fired(), 10u);
  EXPECT_EQ(board.LogCount("HI_MPI_VENC_GetJpegParam, u32Qfactor = 0\n"), 2u);
}

TEST_F(SetUp, TakesTheTuningFileIfItIsThereAndTellsWhatIsWrongWithIt) {
  const auto file = board.paths.Local() / "fixfile.bin";
  std::ofstream(file) << "tuning";
  EXPECT_EQ(RunPipeline(), 0);
  EXPECT_THAT(Made(), ::testing::Contains("PQ_BIN_ParseBinData"));
  EXPECT_EQ(board.LogCount("fixfile.bin"), 0u);

  EXPECT_EQ(RunPipeline([&] { board.faults.Add("pq.parse value=-5"); }), 0);
  EXPECT_EQ(board.LogCount("HI_PQ_BIN_ParseBinData error! errno(0xfffffffb)\n"), 1u);
  EXPECT_EQ(RunPipeline([&] { board.faults.Add("heap.malloc fail detail=6"); }), 0);
  EXPECT_EQ(board.LogCount("malloc error\n"), 1u);
  std::ofstream(file, std::ios::trunc).close();
  EXPECT_EQ(RunPipeline(), 0);
  EXPECT_EQ(board.LogCount("read erro\n"), 1u);
}

// Both encoders have their quality, and what is set for an exposure reaches the ISP whole.
TEST_F(SetUp, QualityAndSettingsReachTheirUnits) {
  board.PowerOff();
  board.PowerOn([&] {
    static ControlSignals ctrlSigs;
    ctrlSigs.needQuit = 0;
    return SAMPLE_VENC_1080P_MJPEG_JPEG(&ctrlSigs);
  });
  board.Run(10s);
  VENC_PARAM_JPEG_S quality0 = {}, quality1 = {};
  board.kernel.Spawn("test", [&] {
    LUMO_ISP_BAYER_SHARPEN_S sharpen = {1, 2, 300};
    LUMO_ISP_BAYER_SHARPEN_EX_S extended = {4, 5, 6, 7};
    LUMO_ISP_YUV_SHARPEN_MANUAL_ATTR_S manual = {};
    manual.u8DetailCtrl = 77;
    manual.au8LumaWgt[3] = 88;
    EXPECT_EQ(SAMPLE_VENC_1080P_MJPEG_JPEG_set_NR(55), 0);
    EXPECT_EQ(SAMPLE_VENC_1080P_MJPEG_JPEG_set_Sharpen(&sharpen, &extended, &manual), 0);
    HI_MPI_VENC_GetJpegParam(0, &quality0);
    HI_MPI_VENC_GetJpegParam(1, &quality1);
  });
  board.Run(10ms);
  EXPECT_EQ(quality0.u32Qfactor, 95u);
  EXPECT_EQ(quality1.u32Qfactor, 85u);
  const twin::IspSettings& settings = board.media.isp.Settings();
  EXPECT_EQ(settings.nr.stManual.u8Thresh, 55);
  EXPECT_EQ(settings.nr.stManual.u8ThreshLong, 55);
  EXPECT_EQ(settings.bayerSharpen.stManual.stShp.u16LumaThd, 300);
  EXPECT_EQ(settings.bayerSharpen.stManual.stShpEx.u8SadAmplifier, 7);
  EXPECT_EQ(settings.yuvSharpen.enOpType, OP_TYPE_MANUAL);
  EXPECT_EQ(settings.yuvSharpen.stManual.u8DetailCtrl, 77);
  EXPECT_EQ(settings.yuvSharpen.stManual.au8LumaWgt[3], 88);
}

}  // namespace

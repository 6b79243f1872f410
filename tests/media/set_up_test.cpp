// The media pipeline's start and end as the application does it: every call with every field, and for a failure at each
// of them what is undone, in which order, and what is said.
#include <gmock/gmock.h>

#include <cstring>
#include <fstream>
#include <map>
#include <set>

#include "common/sample_comm_isp/picture_settings.h"
#include "tests/support/media_records.h"
#include "tests/support/media_units.h"
#include "tests/support/on_board.h"
#include "tests/support/transcript_match.h"
#include "twin/devices/media/media_calls.h"
#include "twin/transcript/transcript.h"
#include "venc/media_pipeline.h"

using namespace std::chrono_literals;
using twin::Told;

namespace {

using Lines = std::vector<std::string>;

// What is undone together, from the level that was reached down to the first.
enum Level { kSystem, kInput, kGroup, kInputBinding, kVpssChannels, kEncoders };

struct Stage {
  std::string first;  // its first call
  Level level;
  std::string message;  // of a failure; empty: nobody looks at it
};
const Stage kStages[] = {{"HI_MPI_SYS_Exit", kSystem, ""},
                         {"HI_MPI_VB_SetConf", kSystem, "SAMPLE_COMM_SYS_Init"},
                         {"HI_MPI_ISP_SensorRegCallBack", kInput, "SAMPLE_COMM_VI_StartVi"},
                         {"HI_MPI_ISP_GetISPRegAttr", kInput, ""},
                         {"HI_MPI_VPSS_CreateGrp", kGroup, "SAMPLE_COMM_VPSS_StartGroup"},
                         {"HI_MPI_SYS_Bind", kInputBinding, "SAMPLE_COMM_VI_BindVpss"},
                         {"HI_MPI_VPSS_SetChnAttr", kVpssChannels, "SAMPLE_COMM_VPSS_EnableChn"},
                         {"HI_MPI_VENC_CreateChn", kEncoders, "SAMPLE_COMM_VENC_SnapStart_2"},
                         {"HI_MPI_VENC_GetJpegParam", kEncoders, ""},
                         {"HI_MPI_SYS_Bind", kEncoders, "SAMPLE_COMM_VENC_BindVpss"},
                         {"HI_MPI_VENC_CreateChn", kEncoders, "SAMPLE_COMM_VENC_SnapStart"},
                         {"HI_MPI_VENC_GetJpegParam", kEncoders, ""},
                         {"HI_MPI_SYS_Bind", kEncoders, "SAMPLE_COMM_VENC_BindVpss"}};

template <class... Given>
std::string Line(const std::string& name, const Given&... given) {
  std::string line = "media " + name;
  ((line += " " + Told(given)), ...);
  return line + " = 0";
}

// The chip's timing is written: control, frame, line, both widths.
Lines Timing(HI_U32 control, HI_U32 frame, HI_U32 line, HI_U32 width) {
  const HI_U32 periods[] = {frame, line, width, width};
  return {Line("HI_MPI_SYS_Mmap", 0x113800A0, 4), Line("HI_MPI_SYS_Mmap", 0x113800B0, 16),
          Line("HI_MPI_SYS_Munmap", &control), Line("HI_MPI_SYS_Munmap", &periods)};
}

Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// The way up as a program of the test goes it, with what the sensor that is not there does when the ISP begins.
Lines WayUp() {
  MediaUnits units;
  units.thorough = true;
  twin::Transcript transcript(units.board.kernel, "media");
  units.Do([&] { units.StartAll(); });
  Lines road;
  for (const std::string& line : transcript.Texts("test")) {
    if (line.find("map") != line.npos) continue;  // the chip's timing
    const bool begins = line == Line("HI_MPI_ISP_Init", 0);
    if (begins) {
      road = road + Timing(0, 0, 0, 0) + Lines{"sleep 1000", "sleep 2000", "sleep 200000"} +
             Timing(0xC0030000, 2059200, 660, 3);
    }
    road.push_back(line);
    if (begins) road = road + Lines{"thread create", "sleep 1000"};
  }
  return road;
}

Lines Undone(Level from, bool thread) {
  const auto unbind = [](const MPP_CHN_S& source, const MPP_CHN_S& destination) {
    return Line("HI_MPI_SYS_UnBind", &source, &destination);
  };
  Lines lines;
  if (from >= kEncoders) {
    for (const int channel : {0, 1}) {
      lines = lines + Lines{unbind(VpssEnd(channel), EncoderEnd(channel)), Line("HI_MPI_VENC_StopRecvPic", channel),
                            Line("HI_MPI_VENC_DestroyChn", channel)};
    }
  }
  if (from >= kVpssChannels) {
    for (const int channel : {0, 1}) lines.push_back(Line("HI_MPI_VPSS_DisableChn", 0, channel));
  }
  if (from >= kInputBinding) lines.push_back(unbind(kInputEnd, VpssEnd(0)));
  if (from >= kGroup) lines = lines + Lines{Line("HI_MPI_VPSS_StopGrp", 0), Line("HI_MPI_VPSS_DestroyGrp", 0)};
  if (from >= kInput) {
    for (const char* name : {"HI_MPI_VI_DisableChn", "HI_MPI_VI_DisableDev", "HI_MPI_ISP_Exit"}) {
      lines.push_back(Line(name, 0));
    }
    if (thread) lines.push_back("thread join");
  }
  return lines + Lines{Line("HI_MPI_SYS_Exit"), Line("HI_MPI_VB_Exit")};
}

std::string Failed(const std::string& step) { return "log SAMPLE_VENC_1080P_MJPEG_JPEG \"" + step + " error\\n\""; }

// Without results: what is undone is partly not there.
Lines WithoutResults(Lines lines) {
  for (std::string& line : lines) line = line.substr(0, line.find(" = "));
  return lines;
}

const std::string kRest = "sleep 100000";  // with which the array is put to rest

class SetUp : public ::testing::Test {
 protected:
  // Runs the pipeline with a quit already asked for, so that the snap loop returns at once. What main does, and of its
  // log what tells of a failed step.
  HI_S32 RunPipeline(const std::string& fault = "") {
    HI_S32 result = 0;
    board.PowerOff();
    board.faults.Clear();
    if (!fault.empty()) board.faults.Add(fault);
    twin::Transcript transcript(board.kernel, "media thread sleep log file");
    OnBoard(board, [&] {
      static ControlSignals ctrlSigs;
      ctrlSigs.needQuit = 1;
      transcript.Forget();
      const size_t blocks = board.heap.Blocks();
      result = SAMPLE_VENC_1080P_MJPEG_JPEG(&ctrlSigs);
      EXPECT_EQ(board.heap.Blocks(), blocks);
    });
    int filesOpen = 0;
    made.clear();
    ofIspThread.clear();
    for (const twin::Transcript::Line& line : transcript.Lines()) {
      if (line.text.starts_with("file")) {
        filesOpen += line.text.starts_with("file open") && !line.text.ends_with("failed");
        filesOpen -= line.text == "file close";
        continue;
      }
      if (line.text.starts_with("log") && !line.text.starts_with("log SAMPLE_VENC")) continue;
      if (line.text == "sleep 1000" && !made.empty() && made.back() == kRest) continue;  // the array's own
      const bool thread = line.text.starts_with("thread ");                              // its number says nothing
      const std::string text = thread ? line.text.substr(0, line.text.rfind(' ')) : line.text;
      (line.thread == "main" ? made : ofIspThread).push_back(text);
    }
    EXPECT_EQ(filesOpen, 0);
    return result;
  }

  const Lines wayUp = WayUp();  // by units that are gone before the board has its own
  twin::Board board{twin::BoardOptions{}};
  Lines made, ofIspThread;
};

TEST_F(SetUp, BringsEveryUnitUpInOrderAndDownAgainAndLeavesNothing) {
  EXPECT_EQ(RunPipeline(), 0);
  EXPECT_TRUE(SameRoad(wayUp + Lines{kRest} + Undone(kEncoders, true), made));
  EXPECT_TRUE(SameRoad(Timing(0xC0030000, 2402400, 660, 3) + Lines{Line("HI_MPI_ISP_Run", 0)}, ofIspThread));
  EXPECT_THAT(board.Complaints(), ::testing::IsEmpty());
  EXPECT_EQ(board.LogCount("linear mode\n"), 1u);
  EXPECT_EQ(board.LogCount("IMX226 12M_10CH_12BIT_35FPS init succuss!\n"), 1u);
  EXPECT_EQ(board.LogCount("fixfile.bin nonexist!!!\n"), 1u);
  EXPECT_EQ(board.LogCount("HI_MPI_VENC_GetJpegParam, u32Qfactor = 90\n"), 2u);
  EXPECT_EQ(board.descriptors.OpenCount(), 0u);
}

// The fault point of each call, by its name.
std::map<std::string, std::string> FaultPoints() {
  std::map<std::string, std::string> points;
  for (size_t i = 0; i < static_cast<size_t>(twin::MediaCall::Count); i++) {
    const twin::MediaCallRow& row = twin::RowOf(static_cast<twin::MediaCall>(i));
    points[row.name] = row.fault;
  }
  return points;
}

TEST_F(SetUp, AFailureAtAnyCallIsToldAndItsLevelAndAllAboveAreUndone) {
  auto points = FaultPoints();
  std::map<std::string, int> calls;                     // made so far, by fault point
  std::map<std::string, std::set<std::string>> places;  // line numbers, by message
  Lines before;
  const Stage* stage = kStages;
  for (const std::string& line : wayUp) {
    const std::string call = line.substr(6, line.find(' ', 6) - 6);
    const bool ownCall = line.starts_with("media H") && call.find("map") == call.npos;
    if (ownCall) {
      SCOPED_TRACE(line);
      if (stage + 1 != std::end(kStages) && stage[1].first == call) stage++;
      const std::string point = points.at(call), nth = std::to_string(++calls[point]);
      const HI_S32 result = RunPipeline(point + " fail nth=" + nth);
      EXPECT_EQ(board.faults.Fired(), 1u);
      EXPECT_EQ(result < 0, !stage->message.empty());
      if (result < 0) {
        const std::string log = board.Log(), said = ": " + stage->message + " error\n";
        const size_t behind = log.rfind(said), front = log.rfind(':', behind - 1);
        places[stage->message].insert(log.substr(front, behind - front));
        const bool thread = std::ranges::count(before, "thread create") > 0;
        Lines expected = before;
        const auto isTheSensors = [](auto& l) { return l.find("map") != l.npos || l.starts_with("sleep"); };
        while (isTheSensors(expected.back()) && call == "HI_MPI_ISP_Init") expected.pop_back();
        EXPECT_TRUE(
            SameRoad(WithoutResults(expected + Lines{line, Failed(stage->message)} + Undone(stage->level, thread)),
                     WithoutResults(made)));
      }
      EXPECT_FALSE(board.media.system.Ready());
    }
    before.push_back(line);
  }
  EXPECT_EQ(stage + 1, std::end(kStages));
  EXPECT_EQ(places["SAMPLE_COMM_VPSS_EnableChn"].size(), 2u) << "two steps of one name";
  EXPECT_EQ(places["SAMPLE_COMM_VENC_BindVpss"].size(), 2u);
  for (const char* fault : {"mipi.open fail", "mipi.attr fail"}) {
    EXPECT_EQ(RunPipeline(fault), -1);
    EXPECT_EQ(made.back(), "media HI_MPI_VB_Exit = 0") << fault;
    EXPECT_THAT(made, ::testing::Contains(Failed("SAMPLE_COMM_VI_StartVi")));
  }
  for (const char* said : {"sensor register callback function failed!\n", "function to ae lib failed!\n",
                           "function to awb lib failed!\n", "HI_MPI_VENC_CreateChn [1] faild with 0xa0078009!\n"}) {
    EXPECT_EQ(board.LogCount(said), 1u) << said;
  }
  EXPECT_EQ(RunPipeline(), 0) << "nothing of it stays";
  EXPECT_THAT(board.Complaints(), ::testing::IsEmpty()) << "nobody is to blame for a fault";
}

TEST_F(SetUp, TakesTheTuningFileIfItIsThereAndTellsWhatIsWrongWithIt) {
  const auto file = board.paths.Local() / "fixfile.bin";
  std::ofstream(file) << "tuning";
  EXPECT_EQ(RunPipeline(), 0);
  EXPECT_THAT(made, ::testing::Contains("media HI_PQ_BIN_ParseBinData 6 = 0"));
  EXPECT_EQ(board.LogCount("fixfile.bin"), 0u);
  EXPECT_EQ(RunPipeline("pq.parse value=-5"), 0);
  EXPECT_EQ(board.LogCount("HI_PQ_BIN_ParseBinData error! errno(0xfffffffb)\n"), 1u);
  EXPECT_EQ(RunPipeline("heap.malloc fail detail=6"), 0);
  EXPECT_EQ(board.LogCount("malloc error\n"), 1u);
  std::ofstream(file, std::ios::trunc).close();
  EXPECT_EQ(RunPipeline(), 0);
  EXPECT_EQ(board.LogCount("read erro\n"), 1u);
}

// What is set for an exposure reaches the ISP whole, beside what stood there.
TEST(PictureSettings, ReachTheIsp) {
  const LUMO_ISP_BAYER_SHARPEN_S sharpen = {1, 2, 300};
  const LUMO_ISP_BAYER_SHARPEN_EX_S extended = {4, 5, 6, 7};
  LUMO_ISP_YUV_SHARPEN_MANUAL_ATTR_S manual = {};
  manual.u8DetailCtrl = 77;
  manual.au8LumaWgt[3] = 88;
  Lines made;
  MediaUnits units;
  units.Do([&] {
    units.StartAll();
    const twin::Transcript transcript(units.board.kernel, "media");
    EXPECT_EQ(SAMPLE_VENC_1080P_MJPEG_JPEG_set_NR(55), 0);
    EXPECT_EQ(SAMPLE_VENC_1080P_MJPEG_JPEG_set_Sharpen(&sharpen, &extended, &manual), 0);
    made = transcript.Texts("test");
  });
  const ISP_NR_ATTR_S noise[] = {{HI_TRUE, OP_TYPE_AUTO, {}}, {HI_TRUE, OP_TYPE_AUTO, {55, 55}}};
  const ISP_BAYER_SHARPEN_ATTR_S bayer[] = {{HI_TRUE, OP_TYPE_AUTO, {}},
                                            {HI_TRUE, OP_TYPE_AUTO, {{1, 2, 300}, {4, 5, 6, 7}}}};
  ISP_YUV_SHARPEN_ATTR_S yuv[] = {{HI_TRUE, OP_TYPE_AUTO, {}}, {HI_TRUE, OP_TYPE_MANUAL, {}}};
  std::memcpy(&yuv[1].stManual, &manual, sizeof manual);
  Lines expected;
  const auto changes = [&](const std::string& what, const auto& records) {
    expected.push_back(Line("HI_MPI_ISP_Get" + what, 0, &records[0]));
    expected.push_back(Line("HI_MPI_ISP_Set" + what, 0, &records[1]));
  };
  changes("NRAttr", noise);
  changes("BayerSharpenAttr", bayer);
  changes("YuvSharpenAttr", yuv);
  EXPECT_TRUE(SameRoad(expected, made));
}

}  // namespace

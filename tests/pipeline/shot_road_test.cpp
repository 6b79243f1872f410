// The road of a shot through the main thread, from the exposed array to its rest: each wait, file call and line of the
// log, as the order of the frames has it (polls of a millisecond are left out), and what then stands in the file.
#include <gmock/gmock.h>

#include <numeric>
#include <optional>
#include <set>

#include "common/fpga_ctrl/capture/isp_params.h"
#include "tests/support/file_bytes.h"
#include "tests/support/marked_shot.h"
#include "tests/support/snap_loop.h"
#include "tests/support/transcript_match.h"
#include "tools/lumora-shot/shot_file.h"
#include "twin/light/read_mark.h"
#include "twin/transcript/transcript.h"

namespace {

using namespace std::chrono_literals;
using testing::Pair;

using Bytes = std::vector<uint8_t>;

constexpr std::string_view kFirstHalf = "1100111100011110001111011";
constexpr std::array<int, 3> kPositions = {9, 8, 8};
int CameraAt(int layer, int position) {
  return layer == 0 ? position : layer == 2 ? 16 + position : position == 7 ? 24 : 9 + position;
}

// Which picture a frame is; nothing if it is thrown away.
using Frame = std::optional<std::pair<int, int>>;  // camera, exposure

// The pipeline is one frame deep, so a frame stands in front of all; runs have a throwaway at both ends.
std::vector<Frame> FramesOf(int exposures) {
  std::vector<Frame> frames = {std::nullopt};
  for (int layer = 0; layer < 3; layer++) {
    for (int exposure = 0; exposure < exposures; exposure++) {
      frames.push_back(std::nullopt);
      for (int position = 0; position < kPositions[layer]; position++) {
        frames.push_back(std::pair{CameraAt(layer, position), exposure});
      }
      frames.push_back(std::nullopt);
    }
  }
  return frames;
}

struct Mode {
  const char* name;
  int captureMode = 0;
  int saveSingle = 0;
  std::optional<int> logo = std::nullopt;
  bool remote = false;
  int halves = 1;
  bool shortCalibration = false;
};

class Road {
 public:
  std::vector<std::string> lines;

  void Add(const std::string& line) { lines.push_back(line); }
  void Log(const std::string& function, const std::string& text) { Add("log " + function + " \"" + text + "\\n\""); }
  void Loop(const std::string& text) { Log("LumoVencSnapProcess", text); }
  void Write(std::initializer_list<int64_t> sizes) {
    for (const int64_t size : sizes) Add("file write " + std::to_string(size));
  }
  void Flushed(int64_t size) {
    Write({size});
    Add("file flush");
  }

  void Prime(int loads) {
    for (int i = 0; i < loads; i++) Add("sleep 40000");
    Add("sleep 30000");
  }
  void OpenFile(const std::string& path) { Add("file open \"" + path + "\" wb"); }
  void Head(const std::string& path, int indexSize, std::optional<int> logo, bool shortCalibration) {
    Add("file open \"CameraConf_800\" rb");
    Add(shortCalibration ? "file read 100" : "file read 800");
    for (const char* line : {"file close", "file open \"CameraVignet_800\" rb"}) Add(line);
    OpenFile(path);
    Write({2, 2, 4, 256, 2, 4, 800, 2, 4});
    for (int camera = 0; camera < 25; camera++) {
      Add(shortCalibration && camera >= 2 ? "file read 0" : "file read 3080");
      Write({3080});
    }
    Add(std::string("file open \"logo.jpg\" rb") + (logo ? "" : " failed"));
    if (logo) {
      for (const char* line : {"file seek 0 2", "file seek 0 0"}) Add(line);
      Write({2, 4});
      for (int left = *logo; left > 0; left -= 1024) {
        Add("file read " + std::to_string(std::min(left, 1024)));
        Write({std::min(left, 1024)});
      }
      for (const char* line : {"file flush", "file close"}) Add(line);
    }
    Write({2, 4, indexSize, 2});
    Flushed(4);
    for (const char* line : {"file sync", "file close"}) Add(line);
  }
  void End(int64_t indexAt, int indexSize, int64_t thumbnail, const std::string& oldPath, const std::string& path) {
    Add("file seek " + std::to_string(indexAt) + " 0");
    Flushed(indexSize);
    Add("file seek " + std::to_string(indexAt + indexSize + 2) + " 0");
    Flushed(4);
    Add("file seek 0 2");
    Write({2, 4});
    Flushed(thumbnail);
    Name(oldPath, path);
  }
  void Name(const std::string& oldPath, const std::string& path) {
    for (const char* line : {"file close", "file sync"}) Add(line);
    Add("file rename \"" + oldPath + "\" \"" + path + '"');
    Add("file sync");
  }
  void Rest() { Add("sleep 100000"); }
};

struct ShotRoad : SnapLoop, testing::WithParamInterface<Mode> {
  ShotRoad() : SnapLoop(0.02) {}  // so dark that the exposures of a bracket have gains of their own
  std::filesystem::path Local(const std::string& name) const { return board.paths.Local() / name; }
  // What the main thread did from the moment when the array had exposed, without its polls.
  static std::vector<std::string> FromThePriming(const twin::Transcript& transcript) {
    std::vector<std::string> lines;
    for (const std::string& line : transcript.Texts("main")) {
      if (line == "sleep 1000" || (lines.empty() && line != "sleep 40000")) continue;
      lines.push_back(line);
      // A JPEG at the end of the encoder's ring comes in two packs.
      const size_t end = lines.size();
      if (end < 5 || line != "file flush" || lines[end - 3] != "file flush" || !lines[end - 5].ends_with('"')) continue;
      const int both = std::stoi(lines[end - 4].substr(11)) + std::stoi(lines[end - 2].substr(11));
      lines.resize(end - 4);
      lines.push_back("file write " + std::to_string(both));
      lines.push_back("file flush");
    }
    return lines;
  }
  // A change of the ISP's settings shows a frame late, and yet each kept frame has those of its own exposure's gain.
  void ExpectSettingsOfEachExposure(const std::vector<Frame>& frames, const shot::Record& record) const {
    std::set<int> used;
    size_t numbers[2] = {};
    for (const twin::DeliveredFrame& one : board.media.Delivered()) {
      const size_t number = numbers[one.channel]++ % frames.size();
      if (!frames[number]) continue;
      BYTE expected;
      LUMO_ISP_BAYER_SHARPEN_S shp;
      LUMO_ISP_BAYER_SHARPEN_EX_S shpEx;
      LUMO_ISP_YUV_SHARPEN_MANUAL_ATTR_S manual;
      LumoCalcIspParas(&expected, &shp, &shpEx, &manual, record.Exposure(frames[number]->second).gain);
      used.insert(expected);
      EXPECT_EQ(one.settings.nr.stManual.u8Thresh, expected) << "frame " << number;
      EXPECT_EQ(one.settings.yuvSharpen.stManual.u8EdgeSt, manual.u8EdgeSt) << "frame " << number;
    }
    EXPECT_GE(used.size(), 2u) << "all exposures have the same gain: nothing was proved";
  }
};

TEST_P(ShotRoad, GoesThroughEachFrameInOrder) {
  const Mode& mode = GetParam();
  const int exposures = mode.captureMode < 2 ? 3 : 6, indexSize = exposures * 1000;
  ctrl->captureMode = static_cast<BYTE>(mode.captureMode);
  ctrl->saveSingle = static_cast<BYTE>(mode.saveSingle);
  Bytes logo(static_cast<size_t>(mode.logo.value_or(0)));
  std::iota(logo.begin(), logo.end(), 0);
  if (mode.logo) PutBytes(Local("logo.jpg"), logo);
  if (mode.remote) ctrl->serialFd = 77;
  if (mode.halves == 2) ctrl->thumbCamIdx = 3;  // of the second half
  if (mode.shortCalibration) {
    std::filesystem::resize_file(Local("CameraConf_800"), 100);
    std::filesystem::resize_file(Local("CameraVignet_800"), 2 * 3080);
  }
  Start();
  if (mode.saveSingle != 0) {  // needs no calibration, and has no raw frames
    ctrl->saveRaw = 1;
    for (const char* file : {"CameraConf_800", "CameraVignet_800"}) std::filesystem::remove(Local(file));
  }
  std::vector<std::vector<std::string>> made;
  for (int half = 1; half <= mode.halves; half++) {
    ctrl->twoHalfIdx = static_cast<BYTE>(mode.halves == 1 ? 0 : half);
    const twin::Transcript transcript{board.kernel, "sleep file log"};
    ASSERT_TRUE(Shoot());
    ASSERT_THAT(Outcome(), Pair(0, 0));
    made.push_back(FromThePriming(transcript));
  }
  EXPECT_THAT(board.Complaints(), testing::IsEmpty());
  ASSERT_EQ(Files().size(), 1u);
  const std::string path = "/mnt/udisk/DCIM/" + Files().at(0);
  const std::string oldPath = path.substr(0, path.size() - 3) + "tmp";
  EXPECT_EQ(path.substr(path.size() - 3), mode.saveSingle != 0 ? "jpg" : mode.remote ? "dwo" : "ori");

  if (mode.saveSingle != 0) {
    const int camera = std::min(mode.saveSingle, 25) - 1;
    char name[16];
    std::snprintf(name, sizeof name, "%02d.jpg", camera);
    EXPECT_EQ(Files().at(0), name);
    Road road;
    road.Prime(1 + (camera >= 16 && camera <= 23 ? 1 : 0) + 7);
    road.OpenFile(oldPath);
    road.Log("LumoVencCapture", "Finish Cap   ShootIdx:1");
    road.Loop("Recv Frame Ch1 0");
    road.Loop("Recv Frame Ch0 0");
    road.Flushed(static_cast<int64_t>(std::filesystem::file_size(Dcim() / name)));
    road.Log("LumoVencCaptureEnd", "End Cap");
    road.Name(oldPath, path);
    road.Rest();
    EXPECT_TRUE(SameRoad(road.lines, made[0]));
    const auto found = twin::ReadMark(FileBytes(Dcim() / name));
    ASSERT_TRUE(found);
    EXPECT_THAT(std::pair(found->mark.camera, found->mark.bracket), Pair(camera, 1));
    const twin::IspSettings& settings = board.media.Delivered().back().settings;
    EXPECT_EQ(settings.nr.stManual.u8Thresh, 128);
    EXPECT_EQ(settings.yuvSharpen.stManual.u8TextureThd, 56);  // of gain 32
    return;
  }

  const shot::File file((Dcim() / Files().at(0)).string());
  const shot::Shot& shot = file.Get();
  ASSERT_TRUE(shot.Whole());
  const shot::ExposureSet& middle = shot.record.Exposure(exposures == 3 ? 1 : 3);
  EXPECT_EQ(ctrl->lastExposure, static_cast<int>(int64_t{middle.totalRows} * middle.shutterLines / 120));
  EXPECT_EQ(ctrl->lastIso, middle.gain * 100 / 16);
  const std::vector<Frame> frames = FramesOf(exposures);
  for (int half = 1; half <= mode.halves; half++) {
    Road road;
    road.Prime(8);
    if (half == 1) road.Head(oldPath, indexSize, mode.logo, mode.shortCalibration);
    road.Log("LumoVencCapture", "Finish Cap   ShootIdx:1");
    for (size_t number = 0; number < frames.size(); number++) {
      for (const int channel : {1, 0}) {
        road.Loop("Recv Frame Ch" + std::to_string(channel) + " " + std::to_string(number));
        if (!frames[number]) continue;
        const auto [camera, exposure] = *frames[number];
        if (mode.halves == 2 && (kFirstHalf[static_cast<size_t>(camera)] == '1') != (half == 1)) continue;
        const auto size = channel == 0 ? shot::PictureSize::Full : shot::PictureSize::Half;
        road.Flushed(shot.entries.at(static_cast<size_t>(shot.NumberOf({size, camera, exposure}))).jpgFileSize);
      }
      if (number + 1 < frames.size()) road.Loop("Load Next");
    }
    road.Log("LumoVencCaptureEnd", "End Cap");
    if (half == mode.halves) {
      road.End(shot.Find(shot::Part::Index)->body.offset, indexSize, shot.Find(shot::Part::Thumbnail)->body.size,
               oldPath, path);
    }
    road.Rest();
    EXPECT_TRUE(SameRoad(road.lines, made[static_cast<size_t>(half - 1)])) << "half " << half;
  }

  ExpectSettingsOfEachExposure(frames, shot.record);
  const auto shotOf = [&](int camera) { return mode.halves == 2 && kFirstHalf[size_t(camera)] == '0' ? 2u : 1u; };
  ExpectMarkedShot(file.Path(), {.exposures = exposures, .shotOf = shotOf, .thumbCamera = ctrl->thumbCamIdx});
  // What is missing of the calibration is zeros, and the last of the vignetting records again.
  Bytes conf = FileBytes(Local("CameraConf_800")), vignetting = FileBytes(Local("CameraVignet_800"));
  conf.resize(800);
  while (vignetting.size() < 25 * 3080) vignetting.insert(vignetting.end(), vignetting.end() - 3080, vignetting.end());
  EXPECT_EQ(file.Read(shot::Part::Cameras), conf);
  EXPECT_EQ(file.Read(shot::Part::Vignetting), vignetting);
  EXPECT_EQ(file.Read(shot::Part::Logo), logo);
}

// Single pictures from the ends of the layers, of the camera of layer 1 that is counted last, and of none.
INSTANTIATE_TEST_SUITE_P(
    Modes, ShotRoad,
    testing::Values(Mode{.name = "Three", .shortCalibration = true},
                    Mode{.name = "SixWithLogo", .captureMode = 2, .logo = 2500},
                    Mode{.name = "Remote", .logo = 0, .remote = true},
                    Mode{.name = "TwoHalves", .captureMode = 4, .halves = 2}, Mode{.name = "Camera0", .saveSingle = 1},
                    Mode{.name = "Camera15", .saveSingle = 16}, Mode{.name = "Camera16", .saveSingle = 17},
                    Mode{.name = "Camera23", .saveSingle = 24}, Mode{.name = "Camera24", .saveSingle = 25},
                    Mode{.name = "NoCamera", .saveSingle = 255}),
    [](const auto& mode) { return mode.param.name; });

// --- frames that stay out ---

struct LostFrames : SnapLoop {
  // A shot in which camera 4's middle exposure, in the middle of a run, is lost so often: what the loop says of it, its
  // rests, and what it takes off the disk. It is asked for again every 300 ms and what the array takes to be ready.
  std::vector<std::string> ShootWithout(int times, int nth = 1) {
    board.faults.Clear();
    board.faults.Add("frame.lost silence detail=25 nth=" + std::to_string(nth) + " times=" + std::to_string(times));
    const twin::Transcript transcript{board.kernel, "sleep file log"};
    EXPECT_TRUE(Shoot());
    std::vector<std::string> lines;
    std::string open;
    twin::Time asked{0};
    for (const auto& [at, thread, line] : transcript.Lines()) {
      if (thread != "main") continue;
      const auto has = [&](const char* text) { return line.find(text) != std::string::npos; };
      if (has("open \"/mnt/udisk")) open = line.substr(11, line.size() - 15);
      if (has("\"Retry")) {
        EXPECT_THAT((at - asked) / 1ms, testing::AllOf(testing::Ge(300), testing::Le(340))) << line;
        asked = at;
      }
      if (has("Load Next")) asked = at;
      if (has("Retry") || has("Restart") || line == "sleep 100000") lines.push_back(line);
      if (has("file remove")) lines.push_back(has(open.c_str()) ? "the open file is gone" : line);
    }
    return lines;
  }
  // At each eighth loss a new shot, unless there may be none; at the 32nd it is given up.
  static std::vector<std::string> Expected(int times, bool mayRestart = true) {
    Road road;
    for (int i = 1; i <= times; i++) {
      road.Loop("Retry LumoLoadNew");
      if (i % 8 != 0 || (!mayRestart && i != 32)) continue;
      road.Loop(i == 32 ? "Too many Retry LumoLoadNew" : "Restart LumoLoadNew");
      road.Rest();
      road.Add("the open file is gone");
    }
    if (times != 32) road.Rest();
    return road.lines;
  }
};

// The count goes on over restarts, and begins anew after an end, good or bad.
TEST_F(LostFrames, EachEighthTakesAWholeNewShotAndTheThirtySecondGivesUp) {
  Start();
  uint32_t exposed = 0;
  for (const int times : {3, 8, 32, 17}) {
    SCOPED_TRACE(times);
    EXPECT_TRUE(SameRoad(Expected(times), ShootWithout(times)));
    exposed += 1 + static_cast<uint32_t>(std::min(times / 8, 3));
    EXPECT_THAT(Outcome(), Pair(0, times == 32 ? 10 : 0));
    EXPECT_EQ(Files().size(), times == 32 ? 0u : 1u);  // failed tries left nothing
    if (times == 32) continue;
    ExpectMarkedShot(OnlyShot(), 3, exposed);
    EXPECT_EQ(shot::ReadShot(OnlyShot().string()).record.shootIdx, static_cast<int>(exposed) - 1);
    std::filesystem::remove(OnlyShot());
  }
}

TEST_F(LostFrames, HalfOfATwoHalfShotIsNeverRestartedAndASingleFrameNotAskedForAgain) {
  ctrl->twoHalfIdx = 1;
  Start();
  EXPECT_TRUE(SameRoad(Expected(32, false), ShootWithout(32)));
  EXPECT_THAT(Outcome(), Pair(0, 10));
  ctrl->twoHalfIdx = 0;
  ctrl->saveSingle = 5;
  Road road;
  road.Loop("Too many Retry LumoLoadNew");
  road.Rest();
  road.Add("the open file is gone");
  EXPECT_TRUE(SameRoad(road.lines, ShootWithout(100, 8)));
  EXPECT_THAT(Outcome(), Pair(0, 10));
}

}  // namespace

// The shot file as the loop writes it, byte by byte and picture by picture, and the two other kinds of shot.
#include <gmock/gmock.h>

#include <cstring>
#include <set>

#include "tests/support/file_bytes.h"
#include "tests/support/marked_shot.h"
#include "tests/support/snap_loop.h"
#include "tools/lumora-shot/pictures.h"
#include "tools/lumora-shot/shot_file.h"
#include "twin/light/read_mark.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Pair;

using Bytes = std::vector<uint8_t>;

struct WrittenShot : SnapLoop {
  std::filesystem::path Local(const std::string& name) const { return board.paths.Local() / name; }
  void Put(const std::string& name, const Bytes& bytes) {
    std::ofstream(Local(name), std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  }
  std::filesystem::path OnlyFile() const { return Dcim() / Files().at(0); }
};

// Reads a file front to back against what it must hold.
struct Reader {
  const Bytes bytes;
  size_t at = 0;

  void Expect(const Bytes& expected, const char* what) {
    ASSERT_LE(at + expected.size(), bytes.size()) << what;
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), bytes.begin() + at)) << what << " at " << at;
    at += expected.size();
  }
  uint32_t Word() {
    const uint32_t word = bytes.at(at) | bytes.at(at + 1) << 8 | bytes.at(at + 2) << 16 | bytes.at(at + 3) << 24;
    at += 4;
    return word;
  }
};

TEST_F(WrittenShot, StandsByteForByteWithAndWithoutLogo) {
  const Bytes conf = FileBytes(Local("CameraConf_800"));
  const Bytes vignet = FileBytes(Local("CameraVignet_800"));
  ASSERT_EQ(conf.size(), 800u);
  ASSERT_EQ(vignet.size(), 77000u);
  Start();
  Bytes logo(2500);
  for (size_t i = 0; i < logo.size(); i++) logo[i] = static_cast<uint8_t>(i * 7);
  const std::optional<Bytes> logos[] = {std::nullopt, Bytes{}, logo};
  for (const auto& one : logos) {
    if (one) Put("logo.jpg", *one);
    ASSERT_TRUE(Shoot());
    ASSERT_THAT(Outcome(), Pair(0, 0));
    Reader file{FileBytes(OnlyShot())};
    file.Expect({0xC1, 0x73, 0xD0, 0xFF, 0x00, 0x01, 0x00, 0x00}, "head");
    file.at += 256;
    file.Expect({0xD8, 0xFF, 0x20, 0x03, 0x00, 0x00}, "calibration head");
    file.Expect(conf, "calibration");
    file.Expect({0xD7, 0xFF, 0xC8, 0x2C, 0x01, 0x00}, "vignetting head");
    file.Expect(vignet, "vignetting");
    EXPECT_EQ(file.at, 78076u);
    if (one) {
      file.Expect({0xD5, 0xFF}, "logo token");
      EXPECT_EQ(file.Word(), one->size());
      file.Expect(*one, "logo");
    }
    file.Expect({0xD9, 0xFF, 0xB8, 0x0B, 0x00, 0x00}, "index head");
    file.at += 3000;
    file.Expect({0xD3, 0xFF}, "JPEG section token");
    file.at += file.Word();
    file.Expect({0xD2, 0xFF}, "thumbnail token");
    const uint32_t thumbnail = file.Word();
    EXPECT_GT(thumbnail, 500u);
    EXPECT_EQ(file.at + thumbnail, file.bytes.size());
    std::filesystem::remove(OnlyShot());
  }
}

// A power cut right after the start of a shot leaves a full head and an empty index, under the temporary name.
TEST_F(WrittenShot, TheHeadIsOnTheDiskBeforeTheFirstFrame) {
  Start();
  ctrl->captureMode = 2;
  ctrl->needSave = kShotRunning;
  ctrl->needCapture = kShotRunning;
  ASSERT_TRUE(board.RunUntil([this] { return ctrl->needCapture == 0; }, 1min));
  board.PowerOff();
  EXPECT_THAT(Files(), ElementsAre(EndsWith(".tmp")));
  const Bytes bytes = FileBytes(OnlyFile());
  ASSERT_EQ(bytes.size(), 78076u + 6 + 6000 + 6);
  EXPECT_TRUE(std::all_of(bytes.begin() + 78082, bytes.begin() + 84082, [](uint8_t byte) { return byte == 0; }));
  EXPECT_TRUE(std::all_of(bytes.end() - 4, bytes.end(), [](uint8_t byte) { return byte == 0; }));
}

TEST_F(WrittenShot, ShortCalibrationFilesGiveZerosAndTheLastRecordAgain) {
  const Bytes vignet = FileBytes(Local("CameraVignet_800"));
  Put("CameraConf_800", Bytes(100, 0x11));
  Put("CameraVignet_800", Bytes(vignet.begin(), vignet.begin() + 2 * 3080));
  Start();
  ASSERT_TRUE(Shoot());
  const Bytes bytes = FileBytes(OnlyShot());
  const auto section = [&](size_t at, size_t size) { return Bytes(bytes.begin() + at, bytes.begin() + at + size); };
  EXPECT_EQ(section(270, 100), Bytes(100, 0x11));
  EXPECT_EQ(section(370, 700), Bytes(700, 0));
  EXPECT_EQ(section(1076 + 24 * 3080, 3080), Bytes(vignet.begin() + 3080, vignet.begin() + 2 * 3080));
}

TEST_F(WrittenShot, LevelCorrectionIsStoredAndRecorded) {
  ctrl->plusVertexX = 700;
  ctrl->plusVertexY = -800;
  Start();
  ASSERT_TRUE(Shoot());
  const shot::Shot first = shot::ReadShot(OnlyShot().string());
  EXPECT_EQ(first.record.vertexX, 700);
  EXPECT_EQ(first.record.vertexY, -800);
  EXPECT_FALSE(std::filesystem::exists(Local("vertex.ini")));

  std::filesystem::remove(OnlyShot());
  ctrl->gyroCorrect = 2;
  ASSERT_TRUE(Shoot());
  EXPECT_EQ(ctrl->gyroCorrect, 0);
  EXPECT_EQ(shot::ReadShot(OnlyShot().string()).record.vertexX, 0);
  const Bytes ini = FileBytes(Local("vertex.ini"));
  EXPECT_EQ(std::string(ini.begin(), ini.end()), "plusvertexx=0\nplusvertexy=0\n");
  EXPECT_EQ(Logged("SaveVertexStr:\nplusvertexx=0\nplusvertexy=0\n"), 1u);
}

// --- two halves ---

TEST_F(WrittenShot, TwoHalvesMakeOneShot) {
  const std::set<int> firstHalf = {0, 1, 4, 5, 6, 7, 11, 12, 13, 14, 18, 19, 20, 21, 23, 24};
  ctrl->thumbCamIdx = 3;  // of the second half
  ctrl->delayMode = 8;
  ctrl->twoHalfIdx = 1;
  Start();
  ASSERT_TRUE(Shoot());
  EXPECT_THAT(Outcome(), Pair(0, 0));
  EXPECT_THAT(Files(), ElementsAre(EndsWith(".tmp")));
  ctrl->twoHalfIdx = 2;
  ASSERT_TRUE(Shoot());
  EXPECT_THAT(Outcome(), Pair(0, 0));
  ExpectMarkedShot(
      OnlyShot(),
      {.exposures = 3, .shotOf = [&](int camera) { return firstHalf.count(camera) ? 1u : 2u; }, .thumbCamera = 3});
  EXPECT_EQ(shot::ReadShot(OnlyShot().string()).record.twoHalfMode, 1);
}

// --- one camera ---

struct SingleCamera : WrittenShot, testing::WithParamInterface<int> {};

// Needs no calibration files; beyond the last camera it is the last.
TEST_P(SingleCamera, IsAJpegOfItsMiddleExposure) {
  ctrl->saveSingle = static_cast<BYTE>(GetParam());
  ctrl->captureMode = 1;
  ctrl->manualExpsUs = 10000;
  ctrl->manualIso = 100;
  ctrl->twoHalfIdx = 2;  // which does not matter here
  const int camera = std::min(GetParam(), 25) - 1;
  Start();
  std::filesystem::remove(Local("CameraConf_800"));
  std::filesystem::remove(Local("CameraVignet_800"));
  ASSERT_TRUE(Shoot());
  EXPECT_THAT(Outcome(), Pair(0, 0));
  char name[16];
  std::snprintf(name, sizeof(name), "%02d.jpg", camera);
  EXPECT_THAT(Files(), ElementsAre(name));
  const auto found = twin::ReadMark(FileBytes(OnlyFile()));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->mark.camera, camera);
  EXPECT_EQ(found->mark.bracket, 1);
  const shot::JpegFacts header = shot::ReadJpegHead(FileBytes(OnlyFile()));
  EXPECT_EQ(header.width, 3264);
  EXPECT_EQ(header.height, 2448);
}

// The ends of the layers, the camera of layer 1 that is counted last, and numbers that no camera has.
INSTANTIATE_TEST_SUITE_P(Cameras, SingleCamera, testing::Values(1, 9, 10, 16, 17, 24, 25, 26, 255));

// Here nobody serves the mailbox: the first raw frame never comes, which costs the raw files and not the shot. A shot
// of one camera asks for none.
TEST_F(WrittenShot, RawFramesBelongToWholeShotsAndAreAskedForThroughTheMailbox) {
  ctrl->saveRaw = 1;
  Start();
  std::set<int> asked;
  board.OnLogLine([&](twin::Time, const std::string&) { asked.insert(ctrl->rawLoadInfo); });
  ASSERT_TRUE(Shoot());
  EXPECT_THAT(Outcome(), Pair(0, 13));
  EXPECT_THAT(asked, ElementsAre(0, int{kRawLoadEmpty})) << "layer 0, sub-image 0";
  EXPECT_EQ(ctrl->rawLoadInfo, kRawLoadEmpty);
  EXPECT_EQ(Logged("HI_MPI_VI_GetFrame err, vi chn 17 \n"), 1u);
  ExpectMarkedShot(OnlyShot(), 3, 1);
  ctrl->saveSingle = 3;
  ASSERT_TRUE(Shoot());
  EXPECT_THAT(Outcome(), Pair(0, 0));
}

}  // namespace

// What stands in the shot file besides its pictures, and whose pictures stand in that of two halves.
#include <gmock/gmock.h>

#include <set>

#include "tests/support/file_bytes.h"
#include "tests/support/marked_shot.h"
#include "tests/support/snap_loop.h"
#include "tools/lumora-shot/shot_file.h"
#include "tools/lumora-shot/verify.h"

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

TEST_F(WrittenShot, CarriesCalibrationAndLogoAsTheyAre) {
  Bytes logo(2500);
  for (size_t i = 0; i < logo.size(); i++) logo[i] = static_cast<uint8_t>(i * 7);
  Start();
  for (const Bytes& one : {logo, Bytes{}}) {
    Put("logo.jpg", one);
    ASSERT_TRUE(Shoot());
    const shot::File file(OnlyShot().string());
    EXPECT_EQ(shot::Text(shot::Verify(file)), "");
    EXPECT_EQ(file.Read(shot::Part::Cameras), FileBytes(Local("CameraConf_800")));
    EXPECT_EQ(file.Read(shot::Part::Vignetting), FileBytes(Local("CameraVignet_800")));
    EXPECT_NE(file.Get().Find(shot::Part::Logo), nullptr);
    EXPECT_EQ(file.Read(shot::Part::Logo), one);
    std::filesystem::remove(OnlyShot());
  }
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

}  // namespace

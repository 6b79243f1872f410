#include "tests/support/marked_shot.h"

#include <gtest/gtest.h>

#include "tests/support/read_mark.h"
#include "tools/lumora-shot/verify.h"

void ExpectMarkedShot(const std::filesystem::path& path, const ExpectedShot& expected) {
  SCOPED_TRACE(path.filename().string());
  const shot::File file(path.string());
  const auto findings = shot::Verify(file, shot::Depth::Pictures);
  EXPECT_EQ(shot::Text(findings), "");
  ASSERT_EQ(file.Get().exposures, expected.exposures);
  ASSERT_EQ(file.Get().entries.size(), 50u * expected.exposures);
  for (const shot::PictureSize size : {shot::PictureSize::Half, shot::PictureSize::Full}) {
    for (int camera = 0; camera < 25; camera++) {
      for (int exposure = 0; exposure < expected.exposures; exposure++) {
        const auto found = ReadMark(file.Jpeg(shot::Place{size, camera, exposure}));
        const std::string where = std::string(shot::NameOf(size)) + " picture, camera " + std::to_string(camera) +
                                  ", exposure " + std::to_string(exposure);
        if (!found) {
          ADD_FAILURE() << where << ": no mark";
          continue;
        }
        EXPECT_EQ(found->mark.camera, camera) << where;
        EXPECT_EQ(found->mark.bracket, exposure) << where;
        EXPECT_EQ(found->mark.shot, expected.shotOf(camera)) << where;
        EXPECT_TRUE(found->FieldAgrees()) << where;
        EXPECT_FALSE(found->turned) << where;
      }
    }
  }
  const auto thumbnail = ReadMark(file.Read(shot::Part::Thumbnail));
  ASSERT_TRUE(thumbnail) << "no mark in the thumbnail";
  EXPECT_EQ(thumbnail->mark.camera, expected.thumbCamera);
  EXPECT_EQ(thumbnail->mark.bracket, expected.exposures == 3 ? 1 : 3);
  EXPECT_EQ(thumbnail->mark.shot, expected.shotOf(expected.thumbCamera));
  EXPECT_TRUE(thumbnail->turned);
}

void ExpectMarkedShot(const std::filesystem::path& path, int exposures, uint32_t shot) {
  ExpectMarkedShot(path, {.exposures = exposures, .shotOf = [shot](int) { return shot; }});
}

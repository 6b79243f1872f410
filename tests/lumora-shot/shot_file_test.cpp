// What the reader makes of sound files: every form that the format knows.
#include "tools/lumora-shot/shot_file.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "tests/support/file_bytes.h"
#include "tests/support/made_shot.h"
#include "tools/lumora-shot/verify.h"

namespace {

using shot::Part;
using shot::PictureSize;
using support::JpegOf;
using support::MadeShot;

TEST(ShotFile, EveryFormIsWalkedToItsLastByte) {
  // Positions as the format's table states them.
  const struct {
    const char* name;
    int64_t indexAt;  // of the index's token
    size_t entries;
    MadeShot shot;
  } forms[] = {
      {"three steps, no logo", 78076, 150, {}},
      {"six steps, no logo", 78076, 300, {.captureMode = 2}},
      {"logo of 5 bytes", 78082 + 5, 150, {.hasLogo = true, .logo = {'l', 'o', 'g', 'o', '.'}}},
      {"stepped-over section, empty logo", 78082 + 270, 150, {.skippedSection = true, .hasLogo = true}},
      {"second form, three steps", 3 * 3112 + 276, 216, {.deviceId = 10}},
      {"second form, six steps", 3 * 3112 + 276, 432, {.deviceId = 12, .captureMode = 3}},
  };
  const support::TestFolder folder;
  for (const auto& form : forms) {
    SCOPED_TRACE(form.name);
    const auto bytes = form.shot.Make();
    PutBytes(folder / "made.ori", bytes);
    const shot::File file(folder / "made.ori");
    const shot::Shot& shot = file.Get();
    ASSERT_TRUE(shot.Whole()) << shot.stop;
    EXPECT_EQ(shot.Find(Part::Index)->tokenAt, form.indexAt);
    EXPECT_EQ(shot.entries.size(), form.entries);
    EXPECT_EQ(shot.Find(Part::Thumbnail)->body.End(), static_cast<int64_t>(bytes.size()));
    EXPECT_EQ(file.Read(Part::Thumbnail), form.shot.thumbnail);
    EXPECT_EQ(file.Read(Part::Logo), form.shot.logo);
    EXPECT_EQ(shot.Find(Part::Logo) != nullptr, form.shot.hasLogo);
    // Each picture carries its own name in a comment, and the data lie in another order than the index.
    for (const int camera : {0, 9, form.shot.Cameras() - 1})
      for (int exposure = 0; exposure < form.shot.Exposures(); ++exposure) {
        EXPECT_EQ(file.Jpeg({PictureSize::Half, camera, exposure}), JpegOf("half", camera, exposure));
        EXPECT_EQ(file.Jpeg({PictureSize::Full, camera, exposure}), JpegOf("full", camera, exposure));
      }
    EXPECT_TRUE(file.Jpeg({PictureSize::Half, form.shot.Cameras(), 0}).empty());
    const auto findings = shot::Verify(file, shot::Depth::Structure);
    EXPECT_FALSE(shot::HasFault(findings)) << shot::Text(findings);
    EXPECT_EQ(findings.size(), form.shot.skippedSection ? 1U : 0U) << shot::Text(findings);
  }
}

TEST(ShotFile, WhatIsNoFileCannotBeRead) {
  const support::TestFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  for (const char* name : {"nothing.ori", ".", "pipe"}) EXPECT_THROW(shot::File(folder / name), shot::CannotRead);
}

}  // namespace

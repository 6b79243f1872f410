// What the reader makes of sound files: every form that the format knows.
#include "tools/lumora-shot/shot_file.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/made_shot.h"
#include "tools/lumora-shot/verify.h"

namespace {

using shot::Part;
using shot::PictureSize;
using support::JpegOf;
using support::MadeShot;

// Positions as the format's table states them, for a shot with or without a logo.
struct Form {
  const char* name;
  MadeShot shot;
  int64_t indexAt;  // of the index's token
  int entries;
};

std::vector<Form> Forms() {
  std::vector<Form> forms;
  const auto add = [&](const char* name, int64_t indexAt, int entries, const std::function<void(MadeShot&)>& change) {
    forms.push_back({name, {}, indexAt, entries});
    change(forms.back().shot);
  };
  const auto withLogo = [](const support::Bytes& logo, bool skipped) {
    return [=](MadeShot& shot) { shot.hasLogo = true, shot.logo = logo, shot.skippedSection = skipped; };
  };
  add("three steps, no logo", 78076, 150, [](MadeShot&) {});
  add("six steps, no logo", 78076, 300, [](MadeShot& shot) { shot.captureMode = 2; });
  add("logo of 5 bytes", 78082 + 5, 150, withLogo({'l', 'o', 'g', 'o', '.'}, false));
  add("empty logo", 78082, 150, withLogo({}, false));
  add("stepped-over section and logo", 78076 + 270 + 6 + 4, 150, withLogo({1, 2, 3, 4}, true));
  add("second form, three steps", 3 * 3112 + 276, 216, [](MadeShot& shot) { shot.deviceId = 10; });
  add("second form, six steps", 3 * 3112 + 276, 432, [](MadeShot& shot) { shot.deviceId = 12, shot.captureMode = 3; });
  return forms;
}

TEST(ShotFile, EveryFormIsWalkedToItsLastByte) {
  const support::TestFolder folder;
  for (const Form& form : Forms()) {
    SCOPED_TRACE(form.name);
    const auto bytes = form.shot.Make();
    support::WriteFile(folder / "made.ori", bytes);
    const shot::File file(folder / "made.ori");
    const shot::Shot& shot = file.Get();
    ASSERT_TRUE(shot.Whole()) << shot.stop;
    EXPECT_EQ(shot.fileSize, static_cast<int64_t>(bytes.size()));
    EXPECT_EQ(shot.Find(Part::Index)->tokenAt, form.indexAt);
    EXPECT_EQ(static_cast<int>(shot.entries.size()), form.entries);
    EXPECT_EQ(shot.Find(Part::Pictures)->tokenAt, form.indexAt + 6 + form.entries * 20);
    EXPECT_EQ(shot.Find(Part::Thumbnail)->body.End(), shot.fileSize);
    EXPECT_EQ(file.Read(Part::Thumbnail), support::TwoToneJpeg(408, 306, 80));
    EXPECT_EQ(file.Read(Part::Logo), form.shot.logo);
    EXPECT_EQ(shot.Find(Part::Logo) != nullptr, form.shot.hasLogo);
    // Each picture carries its own name in a comment, and the data lie in another order than the index.
    for (const int camera : {0, 9, form.shot.Cameras() - 1})
      for (int exposure = 0; exposure < form.shot.Exposures(); ++exposure) {
        EXPECT_EQ(file.Jpeg({PictureSize::Half, camera, exposure}), JpegOf("half", camera, exposure));
        EXPECT_EQ(file.Jpeg({PictureSize::Full, camera, exposure}), JpegOf("full", camera, exposure));
      }
    EXPECT_TRUE(file.Jpeg({PictureSize::Half, form.shot.Cameras(), 0}).empty());
    const bool decode = form.entries == 150 && !form.shot.hasLogo;  // the same pictures stand in every form
    const auto findings = shot::Verify(file, decode ? shot::Depth::Pictures : shot::Depth::Structure);
    EXPECT_FALSE(shot::HasFault(findings)) << shot::Text(findings);
    EXPECT_EQ(findings.size(), form.shot.skippedSection ? 1U : 0U) << shot::Text(findings);
  }
}

TEST(ShotFile, TheRecordsWordsStandUnderTheirNames) {
  const support::TestFolder folder;
  auto bytes = MadeShot{}.Make();
  for (uint8_t word = 0; word < 64; ++word) {  // word i becomes i, with a sign in its top byte
    const size_t at = 8 + size_t{4} * word;
    bytes[at] = word;
    bytes[at + 1] = bytes[at + 2] = bytes[at + 3] = 0;
  }
  bytes[8 + 26 * 4 + 1] = bytes[8 + 26 * 4 + 2] = bytes[8 + 26 * 4 + 3] = 0xFF;
  support::WriteFile(folder / "made.ori", bytes);
  const shot::Record record = shot::ReadShot(folder / "made.ori").record;
  // Byte offsets divided by four, from the format's table.
  EXPECT_EQ(record.Exposure(0), (shot::ExposureSet{40 / 4, 44 / 4, 48 / 4, 52 / 4}));
  const std::pair<int, int> fields[] = {{record.shootDateYear, 8},
                                        {record.shootIdx, 36},
                                        {record.Exposure(2).gain, 84},
                                        {record.evBiasMode + 256, 104},
                                        {record.hdrMode, 112},
                                        {record.oriQuality, 132},
                                        {record.twoHalfMode, 144},
                                        {record.timerMode, 152},
                                        {record.prevExpos, 164},
                                        {record.latitude, 180},
                                        {record.Exposure(3).shutterLines, 184},
                                        {record.Exposure(5).gain, 228},
                                        {record.compassValue, 236},
                                        {record.reserve[3], 252}};
  for (const auto& [value, offset] : fields) EXPECT_EQ(value, offset / 4) << offset;
  const auto words = shot::WordsOf(record);
  for (size_t i = 0; i < 64; ++i)
    EXPECT_EQ(words[i], static_cast<int>(i) - (i == 26 ? 256 : 0)) << shot::recordFields[i];
}

TEST(ShotFile, WhatIsNoFileCannotBeRead) {
  const support::TestFolder folder;
  EXPECT_THROW(shot::File(folder / "nothing.ori"), shot::CannotRead);
  EXPECT_THROW(shot::File(folder / "."), shot::CannotRead);
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_THROW(shot::File(folder / "pipe"), shot::CannotRead);  // and does not wait for a writer
}

}  // namespace

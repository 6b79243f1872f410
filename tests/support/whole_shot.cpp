#include "tests/support/whole_shot.h"

#include <gtest/gtest.h>

#include <optional>

#include "tests/support/read_mark.h"
#include "tools/lumora-shot/shot_file.h"

std::vector<Misplaced> MisplacedPictures(const std::filesystem::path& shotFile) {
  const shot::File file(shotFile.string());
  const shot::Shot& shot = file.Get();
  EXPECT_TRUE(shot.Whole()) << shot.stop;
  EXPECT_EQ(shot.entries.size(), static_cast<size_t>(2 * shot.cameras * shot.exposures));
  std::vector<Misplaced> misplaced;
  std::optional<uint32_t> exposure;
  for (const shot::Entry& entry : shot.entries) {
    const shot::Place place = shot.PlaceOf(entry.number);
    EXPECT_EQ(place.camera, entry.camIdx) << entry.number;
    EXPECT_EQ(place.exposure, entry.hdrIdx) << entry.number;
    const auto found = ReadMark(file.Jpeg(entry));
    if (!found) {
      misplaced.push_back({entry.number, place.camera, place.exposure, -1, -1});
      continue;
    }
    if (!exposure) exposure = found->mark.shot;
    if (found->mark.camera != place.camera || found->mark.bracket != place.exposure || found->mark.shot != *exposure) {
      misplaced.push_back({entry.number, place.camera, place.exposure, found->mark.camera, found->mark.bracket});
    }
  }
  return misplaced;
}

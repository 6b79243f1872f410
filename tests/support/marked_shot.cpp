#include "tests/support/marked_shot.h"

#include <gmock/gmock.h>

#include "tools/lumora-shot/verify.h"

void ExpectMarkedShot(const std::filesystem::path& path, const twin::ExpectedMarks& expected) {
  SCOPED_TRACE(path.filename().string());
  const shot::File file(path.string());
  EXPECT_EQ(shot::Text(shot::Verify(file, shot::Depth::Pictures)), "");
  ASSERT_EQ(file.Get().exposures, expected.exposures);
  EXPECT_THAT(twin::WrongMarks(file, expected), testing::IsEmpty());
}

void ExpectMarkedShot(const std::filesystem::path& path, int exposures, uint32_t shot) {
  ExpectMarkedShot(path, {.exposures = exposures, .shotOf = [shot](int) { return shot; }});
}

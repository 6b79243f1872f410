// What the camera's own shots look like when the power goes, and when frames come late, twice or not at all: their
// pictures come back to the places that their pixels tell.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/file_bytes.h"
#include "tools/rescue/rescue.h"
#include "twin/board.h"
#include "twin/light/read_mark.h"

using namespace std::chrono_literals;
using rescue::Certainty;
using twin::Board;

namespace {

struct RescueOnBoard : testing::Test {
  Board board{{}};
  void SetUp() override { ASSERT_TRUE(board.Boot()); }

  std::vector<std::filesystem::path> Files() const {
    std::vector<std::filesystem::path> files;
    for (const auto& file : std::filesystem::directory_iterator(board.disk.Directory() / "DCIM"))
      files.push_back(file.path());
    return files;
  }
};

// Whether the picture is by its pixels the one that its place asks for.
bool ShowsItsPlace(const std::vector<uint8_t>& bytes, const rescue::Rescued& rescued, const rescue::Placed& placed) {
  const rescue::Found& found = rescued.finds.pictures[placed.picture];
  const auto mark =
      twin::ReadMark(rescue::Source(bytes).subspan(static_cast<size_t>(found.offset), static_cast<size_t>(found.size)));
  return mark && mark->mark.camera == placed.place.camera && mark->mark.bracket == placed.place.exposure;
}

TEST_F(RescueOnBoard, AfterAPowerCutEachPictureThatReachedTheDiskIsBack) {
  board.disk.SetOdds({.kept = 1, .missing = 0, .torn = 0, .garbage = 0});  // all that was written
  const uint64_t boot = board.disk.Writes();
  board.button.Press(100ms);
  ASSERT_TRUE(board.RunUntilShotEnds(5min));
  board.Run(100ms);
  const uint64_t writes = board.disk.Writes() - boot;
  std::filesystem::remove(Files().front());
  for (const uint64_t write : {writes / 5, writes / 3, writes / 2, writes * 2 / 3, writes * 7 / 8, writes - 3,
                               writes - 2, writes - 1, writes}) {
    SCOPED_TRACE("write " + std::to_string(write));
    board.faults.Add("disk.write powercut nth=" + std::to_string(write));
    board.button.Press(100ms);
    ASSERT_TRUE(board.RunUntil([this] { return !board.Powered(); }, 2min));
    ASSERT_THAT(Files(), testing::SizeIs(1));
    const auto bytes = FileBytes(Files().front());
    const auto rescued = rescue::Rescue(bytes);
    // Coded data hold no end mark; the last one belongs to the thumbnail, where it was reached.
    const std::array<uint8_t, 2> endMark = {0xFF, 0xD9};
    int ends = 0;
    for (auto at = bytes.begin() + 81088; at < bytes.end(); ends++, at += 2)
      if ((at = std::search(at, bytes.end(), endMark.begin(), endMark.end())) == bytes.end()) break;
    EXPECT_EQ(rescued.Certain(), std::min(ends, 150));
    for (const rescue::Placed& placed : rescued.placement.placed)
      EXPECT_TRUE(ShowsItsPlace(bytes, rescued, placed)) << placed.place.camera << " " << placed.place.exposure;
    std::filesystem::remove(Files().front());
    board.faults.Clear();
    ASSERT_TRUE(board.Boot());
  }
}

TEST_F(RescueOnBoard, AFrameThatComesLateOrTwiceMakesNoPictureCertainWhereItDoesNotBelong) {
  int wrong = 0;
  for (const char* fault : {"frame.lost silence", "frame.late delay=400ms", "frame.double silence"}) {
    for (const int nth : {12, 23, 40, 71}) {
      SCOPED_TRACE(std::string(fault) + " " + std::to_string(nth));
      board.faults.Add(std::string(fault) + " nth=" + std::to_string(nth));
      board.button.Press(100ms);
      EXPECT_TRUE(board.RunUntilShotEnds(5min));
      board.Run(100ms);
      EXPECT_EQ(board.faults.Fired(), 1U);
      for (const auto& path : Files()) {
        auto bytes = FileBytes(path);
        std::fill_n(bytes.begin() + 78082, 3000, uint8_t{0});
        std::fill_n(bytes.begin() + 81084, 4, uint8_t{0});
        const auto rescued = rescue::Rescue(bytes);
        for (const rescue::Placed& placed : rescued.placement.placed) {
          const bool own = ShowsItsPlace(bytes, rescued, placed);
          wrong += !own;
          EXPECT_TRUE(own || placed.certainty == Certainty::Doubtful)
              << placed.place.camera << " " << placed.place.exposure;
        }
        std::filesystem::remove(path);
      }
      board.faults.Clear();
    }
  }
  EXPECT_GT(wrong, 0) << "the faults are to put pictures where they do not belong";
}

}  // namespace

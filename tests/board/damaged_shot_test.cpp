// A shot that the camera has really taken, and what a judge says of it when it is cut or a byte of it is broken.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tools/lumora-shot/verify.h"
#include "twin/board.h"

using namespace std::chrono_literals;

namespace {

struct DamagedShot : testing::Test {
  twin::Board board{{}};
  std::filesystem::path shot;
  size_t size = 0;

  void SetUp() override {
    ASSERT_TRUE(board.Boot());
    board.button.Press(100ms);
    ASSERT_TRUE(board.RunUntilShotEnds());
    board.Run(100ms);
    shot = board.disk.OnlyShot();
    size = std::filesystem::file_size(shot);
    ASSERT_FALSE(shot::HasFault(shot::Verify(shot.string())));
  }
  bool IsNamed() const { return shot::HasFault(shot::Verify(shot.string(), shot::Depth::Structure)); }
  void FlipBit(size_t at, int bit) const {
    std::fstream file(shot, std::ios::binary | std::ios::in | std::ios::out);
    char byte = 0;
    file.seekg(static_cast<std::streamoff>(at)).read(&byte, 1);
    byte = static_cast<char>(byte ^ (1 << bit));
    file.seekp(static_cast<std::streamoff>(at)).write(&byte, 1);
  }
};

TEST_F(DamagedShot, IsNamedWhereverItIsCut) {
  for (size_t cut = 20; cut-- > 0;) {
    std::filesystem::resize_file(shot, cut * (size - 1) / 19);
    EXPECT_TRUE(IsNamed()) << "cut at " << cut * (size - 1) / 19;
  }
}

// 200 broken bytes in the heads and sizes of the sections and in the index.
TEST_F(DamagedShot, IsNamedForEachBrokenByteThatAReaderLivesBy) {
  constexpr size_t kIndexHead = 78076, kEntries = 150, kEntrySize = 20;
  std::vector<size_t> places = {2, 3, 4, 5, 6, 7, 264, 265, 266, 267, 268, 269, 1070, 1071, 1072, 1073, 1074, 1075};
  for (size_t at = kIndexHead; at < kIndexHead + 6; at++) places.push_back(at);
  const size_t indexEnd = kIndexHead + 6 + kEntries * kEntrySize;
  for (size_t at = indexEnd; at < indexEnd + 6; at++) places.push_back(at);
  for (size_t at = kIndexHead + 6; places.size() < 200; at += 17) places.push_back(at);
  for (const size_t at : places) {
    FlipBit(at, static_cast<int>(at % 8));
    EXPECT_TRUE(IsNamed()) << "byte " << at;
    FlipBit(at, static_cast<int>(at % 8));
  }
  EXPECT_FALSE(IsNamed());
}

}  // namespace

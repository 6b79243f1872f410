// Shots that something happens to, asked for by the button and judged by what is on the disk.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/marked_shot.h"
#include "tools/lumora-shot/verify.h"
#include "twin/board.h"

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using twin::Board;

namespace {

struct InterruptedShot : testing::Test {
  Board board{{}};

  void SetUp() override { ASSERT_TRUE(board.Boot()); }
  void TearDown() override { EXPECT_THAT(board.Complaints(), IsEmpty()); }

  void Press() {
    board.panel.ForgetPulses();
    board.button.Press(100ms);
    EXPECT_TRUE(board.RunUntilShotEnds(5min));
    board.Run(100ms);
  }
  std::filesystem::path Dcim() const { return board.disk.Directory() / "DCIM"; }
  std::vector<std::string> Unfinished() const {
    std::vector<std::string> names;
    for (const auto& file : std::filesystem::directory_iterator(Dcim())) {
      if (file.path().extension() != ".ori") names.push_back(file.path().filename().string());
    }
    return names;
  }
};

// A pulled disk takes the shot with it and nothing else: shots from before are whole, and the device goes on.
TEST_F(InterruptedShot, OnAPulledDiskHarmsNoShotFromBefore) {
  Press();
  const auto before = board.disk.OnlyShot();
  board.button.Press(100ms);
  ASSERT_TRUE(board.RunUntil([this] { return board.LogCount("Recv Frame Ch0 40\n") == 2; }, 1min));
  board.disk.Pull();
  ASSERT_TRUE(board.RunUntilShotEnds(5min));
  board.PowerOff();
  board.disk.Plug();
  ExpectMarkedShot(before, 3, 1);

  ASSERT_TRUE(board.Boot());
  std::filesystem::remove(before);
  for (const auto& shot : board.disk.Shots()) std::filesystem::remove(shot);
  Press();
  EXPECT_THAT(board.disk.Shots(), SizeIs(1));
}

// The power goes in the middle of a write: each write of a shot, of the head, of pictures, of the index, of the
// thumbnail, in four shares that can run side by side. Whatever carries the name of a finished shot is one, and the
// device shoots again.
struct PowerCut : InterruptedShot, testing::WithParamInterface<uint64_t> {};
constexpr uint64_t kShares = 4;
INSTANTIATE_TEST_SUITE_P(Share, PowerCut, testing::Range(uint64_t{0}, kShares));

TEST_P(PowerCut, AtAWriteIsNeverTakenForAFinishedShot) {
  const uint64_t boot = board.disk.Writes();
  Press();
  const uint64_t writes = board.disk.Writes() - boot;
  const auto first = board.disk.OnlyShot();
  ASSERT_GT(writes, 150u);

  for (uint64_t write = 1 + GetParam(); write <= writes; write += kShares) {
    SCOPED_TRACE("write " + std::to_string(write) + " of " + std::to_string(writes));
    board.faults.Clear();
    board.faults.Add("disk.write powercut nth=" + std::to_string(write));
    board.button.Press(100ms);
    ASSERT_TRUE(board.RunUntil([this] { return !board.Powered(); }, 2min));
    ASSERT_THAT(board.disk.Shots(), SizeIs(1));
    EXPECT_THAT(Unfinished(), SizeIs(testing::Le(1)));
    for (const std::string& name : Unfinished()) std::filesystem::remove(Dcim() / name);
    ASSERT_TRUE(board.Boot());
  }
  EXPECT_FALSE(shot::HasFault(shot::Verify(first.string())));
  board.faults.Clear();
  Press();
  ASSERT_THAT(board.disk.Shots(), SizeIs(2));
  for (const auto& path : board.disk.Shots()) EXPECT_FALSE(shot::HasFault(shot::Verify(path.string())));
}

}  // namespace

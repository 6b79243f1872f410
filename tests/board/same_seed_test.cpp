// Two runs of one scenario give the same log and the same bytes on the disk.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "twin/board.h"

using namespace std::chrono_literals;
using twin::Board;
using twin::BoardOptions;
using twin::Pictures;

namespace {

struct Outcome {
  std::string log, shotName, shot;
};

Outcome Shoot(const BoardOptions& options) {
  Board board{options};
  EXPECT_TRUE(board.Boot());
  board.faults.Add("frame.lost silence nth=20 times=2");
  board.button.Press(100ms);
  EXPECT_TRUE(board.RunUntilShotEnds());
  board.Run(1s);
  const auto path = board.disk.OnlyShot();
  std::ifstream file(path, std::ios::binary);
  return {board.Log(), path.filename().string(), {std::istreambuf_iterator<char>(file), {}}};
}

TEST(SameSeed, GivesTheSameLogAndTheSameShot) {
  for (const Pictures pictures : {Pictures::Marked, Pictures::Rendered}) {
    BoardOptions options;
    options.pictures = pictures;
    options.seed = 7;
    const Outcome first = Shoot(options), second = Shoot(options);
    EXPECT_EQ(first.log, second.log);
    EXPECT_EQ(first.shotName, second.shotName);
    EXPECT_TRUE(first.shot == second.shot);
    EXPECT_GT(first.shot.size(), 1'000'000u);
  }
}

}  // namespace

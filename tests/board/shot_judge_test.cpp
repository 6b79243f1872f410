// The board's own judge of a shot: silent about a good one, and of each bad one it says what is wrong.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "twin/judge/shot_judge.h"
#include "twin/judge/signals.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

struct Broken {
  const char* fault;
  const char* sentence;
};
void PrintTo(const Broken& broken, std::ostream* out) { *out << (broken.fault ? broken.fault : "nothing"); }

class ShotJudge : public testing::TestWithParam<Broken> {};

TEST_P(ShotJudge, SaysWhatIsWrong) {
  twin::Board board{twin::BoardOptions{}};
  board.attitude.Set(3, -2, 0);
  if (GetParam().fault != nullptr) board.faults.Add(GetParam().fault);
  ASSERT_TRUE(board.Boot());
  board.Run(4s);
  const twin::ShotJudge judge{board};
  board.button.Press(100ms);
  ASSERT_TRUE(board.RunUntilShotEnds());
  board.Run(500ms);
  std::string said;
  for (const std::string& sentence : judge.WhatIsWrong()) said += sentence + '\n';
  EXPECT_EQ(said.empty(), GetParam().fault == nullptr) << said;
  EXPECT_THAT(said, HasSubstr(GetParam().sentence));
}

INSTANTIATE_TEST_SUITE_P(
    Shots, ShotJudge,
    testing::Values(Broken{nullptr, ""},
                    Broken{"frame.double silence nth=30", "half picture, camera 1, exposure 2 says camera 0, not 1\n"},
                    Broken{"frame.late delay=350ms nth=40", "says camera"},
                    Broken{"disk.write silence nth=90", "no JPEG begins here"},
                    Broken{"disk.rename fail=EIO", ".tmp lies beside it\n"},
                    Broken{"motion.absent silence", "the record's tilt is 0.00 0.00, the camera's 3.00 -2.00\n"},
                    Broken{"rtc.read value=86400", "s from the clock chip's\n"},
                    Broken{"measurement.average value=200 times=40", "the middle exposure gives a mean of "}));

TEST(Signals, AreCountedAndTimed) {
  const twin::Pulse brief{1s, 100ms}, late{2s, 115ms}, cut{3s, 70ms}, drawn{4s, 130ms}, off{5s, 1s};
  EXPECT_THAT(twin::WrongStartSignals("it sounds", std::vector{brief, late}), IsEmpty());
  EXPECT_THAT(twin::WrongStartSignals("it sounds", std::vector{brief, cut}),
              ElementsAre("it sounds at the start: for 70 ms, not 100 ms"));
  EXPECT_THAT(twin::WrongShotSignals("it sounds", std::vector{brief, late, brief}), IsEmpty());
  EXPECT_THAT(twin::WrongShotSignals("it sounds", std::vector{brief, drawn}),
              ElementsAre("it sounds at the shot: 2 times, not 3", "it sounds at the shot: for 130 ms, not 100 ms"));
  EXPECT_THAT(twin::WrongOffSignals(std::vector{off}), IsEmpty());
  EXPECT_THAT(twin::WrongOffSignals({}), SizeIs(1));
}

}  // namespace

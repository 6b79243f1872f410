// The world's light changes between the exposure of a shot and its last picture.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/lumora-shot/shot_file.h"
#include "twin/board.h"
#include "twin/light/read_mark.h"
#include "twin/light/tone.h"

using namespace std::chrono_literals;

namespace {

// Seconds x gain of a bracket, as the record tells it.
double Exposure(const shot::File& file, int bracket) {
  const shot::ExposureSet& set = file.Get().record.Exposure(bracket);
  return set.Seconds() * set.gain / 16.0;
}

void ExpectPicturesIn(const shot::File& file, double light) {
  for (const shot::Entry& entry : file.Get().entries) {
    const auto found = twin::ReadMark(file.Jpeg(entry));
    ASSERT_TRUE(found.has_value()) << entry.number;
    // Marked camera c sees 1 + c / 100 of the light.
    const double seen = light * (1 + entry.camIdx / 100.0) * Exposure(file, entry.hdrIdx) * twin::signalPerExposure;
    EXPECT_NEAR(found->field, 255 * twin::Display(seen), 4) << entry.number;
  }
}

}  // namespace

TEST(Light, ChangesTheNextShotAndNotTheOneThatIsStored) {
  twin::Board board{{}};
  ASSERT_TRUE(board.Boot());
  board.button.Press(100ms);
  ASSERT_TRUE(board.RunUntil([&] { return board.media.Delivered().size() > 20; }, 1min));
  board.pictures->SetLight(4);
  ASSERT_TRUE(board.RunUntilShotEnds());
  board.Run(1s);
  board.button.Press(100ms);
  ASSERT_TRUE(board.RunUntilShotEnds());
  board.Run(1s);

  const auto shots = board.disk.Shots();
  ASSERT_EQ(shots.size(), 2u);
  const shot::File before(shots[0]), after(shots[1]);
  EXPECT_NEAR(Exposure(before, 1) / Exposure(after, 1), 4, 0.4);
  ExpectPicturesIn(before, 1);
  ExpectPicturesIn(after, 4);
}

#include "twin/light/marked_pictures.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

#include "twin/light/read_mark.h"

using namespace twin;

namespace {

StoredFrame FrameOf(int camera, int bracket) {
  return {.camera = camera,
          .bracket = bracket,
          .shot = 70000u + static_cast<uint32_t>(camera),
          .seconds = 0.0004 * (1 << bracket),
          .gain = 1.5,
          .mirror = camera % 2 == 0,
          .flip = bracket % 2 == 0};
}

}  // namespace

TEST(MarkedPictures, EachFrameOfALongShotReadsBackAtBothSizes) {
  const auto pictures = MakeMarkedPictures(1.0, 1);
  for (int camera = 0; camera < 25; camera++) {
    for (int bracket = 0; bracket < 6; bracket++) {
      const StoredFrame frame = FrameOf(camera, bracket);
      for (const PictureSize size : {PictureSize::Full, PictureSize::Half}) {
        const auto found = twin::ReadMark(*pictures->Encode(frame, size, 85));
        // The cameras below 9 are built in upside down. Turned one way alone a mark cannot be read.
        const bool mirrored = frame.mirror != (camera < 9), flipped = frame.flip != (camera < 9);
        ASSERT_EQ(found.has_value(), mirrored == flipped) << "camera " << camera << " bracket " << bracket;
        if (!found) continue;
        EXPECT_EQ(found->mark.camera, camera);
        EXPECT_EQ(found->mark.bracket, bracket);
        EXPECT_EQ(found->mark.shot, frame.shot);
        EXPECT_EQ(found->mark.mirror, frame.mirror);
        EXPECT_EQ(found->mark.flip, frame.flip);
        EXPECT_TRUE(found->FieldAgrees()) << found->field << " for " << found->mark.gray;
        EXPECT_EQ(found->turned, mirrored);
      }
    }
  }
}

TEST(MarkedPictures, TheFieldShowsTheExposureByTheStandardCurve) {
  // Light 1 gives the signal 28/255 after 1/100 s at unity gain; camera 0 has exactly that light.
  constexpr double secondsForWhite = 0.01 * 255 / 28;
  const auto pictures = MakeMarkedPictures(1.0, 1);
  // In eight bits, for a few signals, from the standard's own table.
  for (const auto& [signal, gray] :
       {std::pair{0.001, 3}, {0.01, 25}, {0.1, 89}, {0.2140, 127}, {0.5, 188}, {1, 255}, {3, 255}}) {
    const StoredFrame frame{.shot = 1, .seconds = signal * secondsForWhite / 4, .gain = 4};
    const auto found = twin::ReadMark(*pictures->Encode(frame, PictureSize::Half, 85));
    ASSERT_TRUE(found);
    EXPECT_NEAR(found->field, gray, 0.8) << "signal " << signal;
    EXPECT_NEAR(pictures->MeanSignal(0, signal * secondsForWhite), std::min(signal, 1.0), 1e-12);
  }
  EXPECT_NEAR(pictures->MeanSignal(24, 0.01) / pictures->MeanSignal(0, 0.01), 1.24, 1e-9);
  EXPECT_NEAR(MakeMarkedPictures(0.25, 1)->MeanSignal(0, 0.01), 7.0 / 255, 1e-12);
}

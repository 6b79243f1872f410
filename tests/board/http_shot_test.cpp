// A shot as a phone takes it: asked for, followed by the list, fetched and deleted.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/file_bytes.h"
#include "tests/support/http_board.h"
#include "tests/support/marked_shot.h"
#include "tools/lumora-shot/verify.h"
#include "twin/light/read_mark.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

using HttpShot = HttpBoard;

TEST_F(HttpShot, FromTheRequestToTheFetchedFile) {
  Ok("/set_prefix?prefix=elevenchars");
  Ok("/do_capture?capmode=2&evmode=11&delay=2&strobemode=1&isomode=1&longitude=1214000000&latitude=-312000000");
  EXPECT_EQ(Follow(), "254,254 255,255 0,255 0,0");
  const List list = Poll();
  ASSERT_THAT(list.names, ElementsAre(testing::MatchesRegex("elevenchars2026-06-15_10\\.3[0-9]\\.[0-9][0-9]")));
  const std::string thumb = Get("/get_thumb?filename=" + list.names[0]).body;
  const auto mark = twin::ReadMark({reinterpret_cast<const uint8_t*>(thumb.data()), thumb.size()});
  ASSERT_TRUE(mark);
  EXPECT_EQ(mark->mark.camera, 12);
  EXPECT_TRUE(mark->turned);

  const std::string fetched = Fetch(list.names[0]);
  ExpectMarkedShot(fetched, 6, 1);
  const shot::Record record = shot::ReadShot(fetched).record;
  EXPECT_EQ((std::vector{record.hdrMode, record.evBiasMode, record.timerMode, record.antiFlickerMode, record.isoMode,
                         record.longitude, record.latitude}),
            (std::vector{4, 3, 2, 1, 1, 1214000000, -312000000}));
  EXPECT_EQ(Get("/get_parameters?filename=" + list.names[0]).body, FileText(fetched).substr(8, 256));
  Ok("/del_file?filename=" + list.names[0]);
  board.Run(50ms);
  EXPECT_THAT(Poll().names, IsEmpty());
  EXPECT_THAT(board.disk.Shots(), IsEmpty());
}

}  // namespace

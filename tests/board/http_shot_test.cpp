// Shots as a phone takes them: asked for, followed by the list, fetched and deleted over the network.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "tests/support/file_bytes.h"
#include "tests/support/http_board.h"
#include "tests/support/marked_shot.h"
#include "tools/lumora-shot/verify.h"
#include "twin/light/read_mark.h"

namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;
using testing::StartsWith;

struct HttpShot : HttpBoard {
  std::vector<twin::Time> starts;  // times at which shots were let go, by the log line that says so
  void WatchStarts() {
    board.OnLogLine([this](twin::Time when, const std::string& line) {
      if (line.find(": StartCapture") != std::string::npos) starts.push_back(when);
    });
  }
  // From one start to the next, in ms.
  std::vector<long> Intervals() const {
    std::vector<long> all;
    for (size_t i = 1; i < starts.size(); i++) all.push_back((starts[i] - starts[i - 1]) / 1ms);
    return all;
  }
};

TEST_F(HttpShot, FromTheRequestToTheFetchedFile) {
  Ok("/set_prefix?prefix=attic_");
  Ok("/do_capture?capmode=2&evmode=11&delay=2&strobemode=1&isomode=1&longitude=1214000000&latitude=-312000000");
  EXPECT_EQ(Follow(), "254,254 255,255 0,255 0,0");
  const List list = Poll();
  ASSERT_THAT(list.names, ElementsAre(StartsWith("attic_2026-06-15_10.3")));
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

TEST_F(HttpShot, TheNextStartKeepsWhatTheShotSet) {
  EXPECT_EQ(Get("/get_last_exposure").body, "exposure=0.000000s\r\niso=0\r\n");
  Ok("/do_capture?capmode=5&exposure=4000&iso=400&evmode=5&strobemode=2&isomode=1");
  Follow();
  double seconds = 0;
  int iso = 0;
  ASSERT_EQ(sscanf(Get("/get_last_exposure").body.c_str(), "exposure=%lfs\r\niso=%d\r\n", &seconds, &iso), 2);
  EXPECT_NEAR(seconds, 0.004, 0.0001);
  EXPECT_NEAR(iso, 400, 8);
  Ok("/config?btnsetting=1");
  Ok("/shutdown");
  ASSERT_TRUE(SwitchedOff());
  BootAgain();
  board.button.Press(100ms);
  ASSERT_TRUE(board.RunUntilShotEnds());
  const shot::Record record = shot::ReadShot(board.disk.Shots().back().string()).record;
  EXPECT_EQ((std::vector{record.hdrMode, record.evBiasMode, record.antiFlickerMode, record.isoMode}),
            (std::vector{7, -3, 2, 1}));
}

TEST_F(HttpShot, TwoHalves) {
  WatchStarts();
  const twin::Time asked = board.Now();
  Ok("/do_capture?delay=8&timelapse=3&saveraw=1");
  EXPECT_EQ(Follow(3s), "254,254 255,255 0,255 0,0 254,254 255,255 0,255 0,0");
  ASSERT_THAT(starts, SizeIs(2));
  EXPECT_NEAR((starts[0] - asked) / 1ms, 2100, 110);
  const std::set<int> first = {0, 1, 4, 5, 6, 7, 11, 12, 13, 14, 18, 19, 20, 21, 23, 24};
  const List list = Poll();
  ASSERT_THAT(list.names, SizeIs(1));
  ExpectMarkedShot(Fetch(list.names[0]),
                   {.exposures = 3, .shotOf = [&](int camera) { return first.contains(camera) ? 1u : 2u; }});
}

TEST_F(HttpShot, OneCamera) {
  for (const int camera : {0, 12, 24}) {
    const std::string number = std::to_string(camera);
    Ok("/cap_single?exposure=2000&camidx=" + number);
    EXPECT_EQ(Get("/get_single?camidx=" + number).raw, NotFoundAnswer("File not found"));
    Follow();
    const std::string picture = Get("/get_single?camidx=" + number).body;
    const auto mark = twin::ReadMark({reinterpret_cast<const uint8_t*>(picture.data()), picture.size()});
    ASSERT_TRUE(mark) << camera;
    EXPECT_EQ(mark->mark.camera, camera);
  }
  EXPECT_THAT(Poll().names, IsEmpty()) << "single pictures are no shots";
}

// --- series ---

TEST_F(HttpShot, ASeriesDoesNotDrift) {
  WatchStarts();
  Ok("/do_capture?timelapse=1");
  ASSERT_TRUE(board.RunUntil([this] { return starts.size() == 10; }, 10min));
  board.Run(20s);
  Ok("/do_capture");  // refused in silence
  Ok("/exit_timelapse");
  board.Run(2min);
  ASSERT_EQ(starts.size(), 10u);
  EXPECT_NEAR((starts[9] - starts[0]) / 1ms, 9 * 30000, 200);
  EXPECT_THAT(Intervals(), Each(AllOf(Ge(29800), Le(30200))));
  EXPECT_THAT(Poll().names, SizeIs(10));
  for (const auto& shot : board.disk.Shots()) EXPECT_FALSE(shot::HasFault(shot::Verify(shot, shot::Depth::Structure)));
}

TEST_F(HttpShot, ASeriesEndsByTheButton) {
  WatchStarts();
  Ok("/do_capture?timelapse=1");
  ASSERT_TRUE(board.RunUntil([this] { return starts.size() == 2; }, 2min));
  board.Run(20s);
  board.button.Press(1500ms);
  board.Run(4s);
  EXPECT_EQ(Follow(3min), "0,0");
  EXPECT_EQ(starts.size(), 2u) << "and the press is no shot";
  EXPECT_TRUE(board.Powered());
}

TEST_F(HttpShot, AShotLongerThanTheIntervalDelaysTheNext) {
  board.disk.SetWriteSpeed(60'000);
  WatchStarts();
  Ok("/do_capture?timelapse=1");
  ASSERT_TRUE(board.RunUntil([this] { return starts.size() == 4; }, 20min));
  board.disk.SetWriteSpeed(25'000'000);
  Ok("/exit_timelapse");
  Follow(5s);
  EXPECT_THAT(Intervals(), Each(Ge(31000)));
  EXPECT_THAT(Poll().names, SizeIs(4));
}

TEST_F(HttpShot, AFullDiskRefusesAndEndsASeries) {
  board.disk.FillTo(262144);
  Ok("/do_capture");
  EXPECT_EQ(Follow(), "254,254 16,16");
  board.disk.FillTo(262144 + 2048);
  WatchStarts();
  Ok("/do_capture?timelapse=1");
  EXPECT_THAT(Follow(2min), testing::EndsWith(" 16,16"));
  EXPECT_EQ(starts.size(), Poll().names.size());
  board.disk.FillTo(1'000'000);
  Ok("/do_capture");
  EXPECT_THAT(Follow(), testing::EndsWith("0,0"));
}

}  // namespace

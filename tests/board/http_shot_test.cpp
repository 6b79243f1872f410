// Shots as a phone takes them: asked for, followed by the list, fetched and deleted over the network.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "tests/support/file_bytes.h"
#include "tests/support/http_board.h"
#include "tests/support/marked_shot.h"
#include "tools/lumora-shot/verify.h"
#include "twin/light/read_mark.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

struct HttpShot : HttpBoard {
  // Times at which shots were let go, and the log line that says so.
  std::vector<twin::Time> starts;
  void WatchStarts() {
    board.OnLogLine([this](twin::Time when, const std::string& line) {
      if (line.find(": StartCapture") != std::string::npos) starts.push_back(when);
    });
  }
  std::vector<long> StartsInMs() const {
    std::vector<long> all;
    for (const twin::Time start : starts) all.push_back((start - starts[0]) / 1ms);
    return all;
  }
};

TEST_F(HttpShot, FromTheRequestToTheFetchedFile) {
  Ok("/set_prefix?prefix=attic_");
  Ok("/do_capture?capmode=2&evmode=11&delay=2&strobemode=1&isomode=1&longitude=1214000000&latitude=-312000000");
  EXPECT_EQ(Follow(), "254,254 255,255 0,255 0,0");
  const List list = Poll();
  ASSERT_THAT(list.names, SizeIs(1));
  const std::string name = list.names[0];
  EXPECT_THAT(name, StartsWith("attic_2026-06-15_10.3"));
  const auto stored = FileBytes(board.disk.OnlyShot());

  const HttpAnswer thumb = Get("/get_thumb?filename=" + name);
  EXPECT_EQ(thumb.Type(), "image/jpeg");
  EXPECT_EQ(thumb.ContentLength(), static_cast<int64_t>(thumb.body.size()));
  const auto mark = twin::ReadMark({reinterpret_cast<const uint8_t*>(thumb.body.data()), thumb.body.size()});
  ASSERT_TRUE(mark);
  EXPECT_EQ(mark->mark.camera, 12);
  EXPECT_TRUE(mark->turned);

  const HttpAnswer parameters = Get("/get_parameters?filename=" + name);
  ASSERT_EQ(parameters.body.size(), sizeof(shot::Record));
  shot::Record record{};
  std::memcpy(&record, parameters.body.data(), sizeof record);
  EXPECT_EQ(record.hdrMode, 4);
  EXPECT_EQ(record.evBiasMode, 3);
  EXPECT_EQ(record.timerMode, 2);
  EXPECT_EQ(record.antiFlickerMode, 1);
  EXPECT_EQ(record.isoMode, 1);
  EXPECT_EQ(record.longitude, 1214000000);
  EXPECT_EQ(record.latitude, -312000000);

  const std::string fetched = Fetch(name);
  EXPECT_EQ(std::filesystem::file_size(fetched), stored.size());
  ExpectMarkedShot(fetched, 6, 1);
  EXPECT_EQ(shot::ReadShot(fetched).record, record);

  const shot::File preview(Fetch(name, "&onlypreview=1")), whole(board.disk.OnlyShot().string());
  EXPECT_EQ(preview.Get().fileSize, static_cast<int64_t>(stored.size()));
  for (const shot::Entry& entry : preview.Get().entries) {
    shot::Bytes expected = whole.Jpeg(whole.Get().PlaceOf(entry.number));
    if (entry.number >= 150) expected.resize(1024);
    EXPECT_EQ(preview.Jpeg(entry), expected) << entry.number;
  }

  Ok("/del_file?filename=" + name);
  board.Run(50ms);
  EXPECT_THAT(Poll().names, IsEmpty());
  EXPECT_THAT(board.disk.Shots(), IsEmpty());
}

TEST_F(HttpShot, TheNextStartKeepsWhatTheShotSet) {
  Ok("/do_capture?capmode=5&exposure=4000&iso=400&evmode=5&strobemode=2&isomode=1");
  Follow();
  EXPECT_EQ(Get("/get_last_exposure").body.substr(0, 9), "exposure=");
  Ok("/config?btnsetting=1");
  Ok("/shutdown");
  ASSERT_TRUE(SwitchedOff());
  BootAgain();
  board.button.Press(100ms);
  ASSERT_TRUE(board.RunUntilShotEnds());
  const shot::Record record = shot::ReadShot(board.disk.Shots().back().string()).record;
  EXPECT_EQ(record.hdrMode, 7);
  EXPECT_EQ(record.evBiasMode, -3);
  EXPECT_EQ(record.antiFlickerMode, 2);
  EXPECT_EQ(record.isoMode, 1);
}

TEST_F(HttpShot, LastExposureIsTheShotsMiddleOne) {
  EXPECT_EQ(Get("/get_last_exposure").body, "exposure=0.000000s\r\niso=0\r\n");
  Ok("/do_capture?capmode=1&exposure=8000&iso=200");
  Follow();
  const shot::Record record = shot::ReadShot(board.disk.OnlyShot().string()).record;
  double seconds = 0;
  int iso = 0;
  ASSERT_EQ(sscanf(Get("/get_last_exposure").body.c_str(), "exposure=%lfs\r\niso=%d\r\n", &seconds, &iso), 2);
  EXPECT_NEAR(seconds, record.Exposure(1).Seconds(), 2e-6);
  EXPECT_NEAR(iso, record.Exposure(1).Iso(), 1);
  EXPECT_NEAR(seconds * iso, 0.008 * 200, 0.02);
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
    const HttpAnswer picture = Get("/get_single?camidx=" + number);
    EXPECT_EQ(picture.Type(), "image/jpeg");
    EXPECT_EQ(picture.ContentLength(), static_cast<int64_t>(picture.body.size()));
    const auto mark = twin::ReadMark({reinterpret_cast<const uint8_t*>(picture.body.data()), picture.body.size()});
    ASSERT_TRUE(mark) << camera;
    EXPECT_EQ(mark->mark.camera, camera);
  }
  EXPECT_THAT(Poll().names, IsEmpty()) << "single pictures are no shots";
}

// --- series ---

TEST_F(HttpShot, ASeriesOfTenDoesNotDrift) {
  WatchStarts();
  Ok("/do_capture?timelapse=1");
  ASSERT_TRUE(board.RunUntil([this] { return starts.size() == 10; }, 10min));
  board.Run(20s);
  Ok("/do_capture");  // refused in silence
  Ok("/exit_timelapse");
  EXPECT_THAT(Follow(5s), testing::EndsWith("0,0"));
  board.Run(2min);
  EXPECT_EQ(starts.size(), 10u);
  const auto times = StartsInMs();
  for (size_t i = 0; i < times.size(); i++) EXPECT_NEAR(times[i], static_cast<long>(i) * 30000, 200) << i;
  const List list = Poll();
  ASSERT_THAT(list.names, SizeIs(10));
  for (const std::string& name : list.names) {
    const auto findings = shot::Verify(Fetch(name), shot::Depth::Structure);
    EXPECT_FALSE(shot::HasFault(findings)) << name << shot::Text(findings);
  }
  Ok("/do_capture");
  Follow();
  EXPECT_THAT(Poll().names, SizeIs(11));
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
  Ok("/do_capture");
  Follow();
  EXPECT_THAT(Poll().names, SizeIs(3));
}

TEST_F(HttpShot, AShotLongerThanTheIntervalDelaysTheNext) {
  board.disk.SetWriteSpeed(60'000);
  WatchStarts();
  Ok("/do_capture?timelapse=1");
  ASSERT_TRUE(board.RunUntil([this] { return starts.size() == 4; }, 20min));
  board.disk.SetWriteSpeed(25'000'000);
  Ok("/exit_timelapse");
  Follow(5s);
  const auto times = StartsInMs();
  for (size_t i = 1; i < 4; i++) EXPECT_GT(times[i] - times[i - 1], 31000) << i;
  const List list = Poll();
  EXPECT_THAT(list.names, SizeIs(4));
  for (const auto& shot : board.disk.Shots()) EXPECT_FALSE(shot::HasFault(shot::Verify(shot, shot::Depth::Structure)));
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

// A client that takes a shot as a phone does; and those that mean harm, or mean nothing at all: nobody else is to
// notice.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/file_bytes.h"
#include "tests/support/http_board.h"
#include "tests/support/marked_shot.h"
#include "tools/lumora-shot/verify.h"
#include "twin/light/read_mark.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

struct HttpClients : HttpBoard {
  std::shared_ptr<twin::Client> Connect(uint16_t port, const std::string& text) {
    const auto client = board.network.Connect(port);
    EXPECT_TRUE(client);
    client->Send(text);
    return client;
  }
  void ExpectBothPortsServe() {
    EXPECT_EQ(Get("/get_last_exposure").Status(), 200);
    EXPECT_EQ(Get("/get_file?filename=none", kBulk).raw, NotFoundAnswer("File not found"));
  }
};

TEST_F(HttpClients, TakeAShotAndFetchIt) {
  Ok("/set_prefix?prefix=elevenchars");
  Ok("/do_capture?capmode=2&evmode=11&delay=2&strobemode=1&isomode=1&longitude=1214000000&latitude=-312000000");
  EXPECT_EQ(Follow(), "254,254 255,255 0,255 0,0");
  const List list = Poll();
  ASSERT_THAT(list.names, ElementsAre(MatchesRegex("elevenchars2026-06-15_10\\.3[0-9]\\.[0-9][0-9]")));
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

TEST_F(HttpClients, GarbageAndResetsLeaveNothingBehind) {
  ExpectBothPortsServe();
  const size_t descriptors = board.descriptors.OpenCount(), blocks = board.heap.Blocks();
  std::string garbage;
  for (int i = 0; i < 20000; i++) garbage += static_cast<char>(i * 7919 >> 5);
  const std::string upload = "POST /update_firmware?crcvalue=0 HTTP/1.1\r\nContent-Length: 50\r\n\r\nhalf";
  for (const uint16_t port : {kControl, kBulk}) {
    for (const std::string& text :
         {garbage, "GET " + garbage + "\n\n", std::string(), std::string("GET /get_list HTTP/1.1\r\n"), upload}) {
      const auto reset = Connect(port, text), closed = Connect(port, text), gone = Connect(port, text);
      gone->Reset();  // before anybody looked at it
      closed->Close();
      board.Run(5ms);
      reset->Reset();
      board.Run(200ms);
      EXPECT_TRUE(reset->Ended() && closed->Ended() && gone->Ended()) << text.substr(0, 50);
    }
  }
  // One that goes away while it is being answered: what is sent to it would end a program that did not provide for it.
  const auto leaver = Connect(kControl, GetText("/get_list"));
  leaver->Close();
  board.Run(100ms);
  EXPECT_FALSE(board.Exited());
  ExpectBothPortsServe();
  EXPECT_EQ(board.descriptors.OpenCount(), descriptors);
  EXPECT_EQ(board.heap.Blocks(), blocks);
  EXPECT_EQ(board.stdio.OpenOnDisk(), 0u);
}

// One is served and six wait at the door; who is not let in asks again, 1, 3, 7, 15, 31 and 63 s later.
TEST_F(HttpClients, AFloodOfSilentOnesTakesNothingOfTheBoard) {
  Ok("/do_capture");
  Follow();  // the encoders keep what they opened
  const size_t descriptors = board.descriptors.OpenCount(), blocks = board.heap.Blocks();
  Ok("/do_capture?delay=3");
  std::vector<std::shared_ptr<twin::Client>> silent;
  for (int i = 0; i < 1016; i++) silent.push_back(board.network.Connect(i % 2 == 0 ? kControl : kBulk));
  board.Run(1500ms);
  EXPECT_EQ(std::ranges::count_if(silent, [](const auto& client) { return client->IsIn(); }), 14);
  EXPECT_EQ(board.descriptors.OpenCount(), descriptors + 2);
  const auto late = Connect(kControl, GetText("/get_last_exposure"));
  board.Run(2s);
  EXPECT_FALSE(late->IsIn());
  for (const auto& client : silent) client->Close();
  board.Run(900ms);
  EXPECT_EQ(late->Received(), "") << "the door is open, and it has not knocked again";
  EXPECT_TRUE(RunUntilEnded(board, *late, 200ms));
  EXPECT_EQ(AnswerOf(*late).Status(), 200);
  Follow();
  ExpectBothPortsServe();
  EXPECT_EQ(board.descriptors.OpenCount(), descriptors);
  EXPECT_EQ(board.heap.Blocks(), blocks);
  EXPECT_EQ(board.disk.Shots().size(), 2u);
}

// Whatever happens at one moment happens in any order, and any call may let others go first.
TEST_F(HttpClients, InAnyOrder) {
  board.kernel.Explore();
  std::string last = "none";
  for (int round = 0; round < 4; round++) {
    Ok("/do_capture?capmode=" + std::to_string(round));
    const auto download = Connect(kBulk, GetText("/get_file?filename=" + last));
    EXPECT_EQ(Follow(), "255,255 0,255 0,0");
    const HttpAnswer answer = AnswerOf(*download);
    EXPECT_TRUE(answer.raw ==
                (round == 0 ? NotFoundAnswer("File not found") : FileAnswer("application/octet-stream", answer.body)));
    Ok("/del_file?filename=" + last);
    last = Poll().names.back();
    EXPECT_FALSE(shot::HasFault(shot::Verify(Fetch(last), shot::Depth::Structure)));
    board.Run(50ms);
    EXPECT_EQ(Poll().names, std::vector{last});
  }
}

}  // namespace

// Clients that mean harm, or mean nothing at all: nobody else is to notice.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/http_board.h"
#include "tools/lumora-shot/verify.h"

namespace {

using namespace std::chrono_literals;
using testing::SizeIs;

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
  void ExpectGoodShots(size_t number) {
    EXPECT_THAT(board.disk.Shots(), SizeIs(number));
    for (const auto& shot : board.disk.Shots())
      EXPECT_FALSE(shot::HasFault(shot::Verify(shot, shot::Depth::Structure)));
  }
};

TEST_F(HttpClients, OneThatStallsHoldsItsOwnPortOnly) {
  Ok("/do_capture");
  Follow();
  const std::string name = Poll().names.at(0);

  // A request line that never ends, while the button takes a shot and the other port sends a file.
  const auto silent = Connect(kControl, "GET /get_li");
  const auto waiting = Connect(kControl, GetText("/get_list"));
  board.button.Press(100ms);
  EXPECT_EQ(Get("/get_file?filename=" + name, kBulk).Status(), 200);
  ASSERT_TRUE(board.RunUntilShotEnds());
  EXPECT_EQ(waiting->Received(), "");
  silent->Close();
  EXPECT_TRUE(RunUntilEnded(board, *waiting, 1s));
  EXPECT_THAT(Parse(AnswerOf(*waiting)).names, SizeIs(2));

  // A download that is not read, while the control port goes on.
  const auto lazy = board.network.Connect(kBulk);
  lazy->ReadSlowly(0);
  lazy->Send(GetText("/get_file?filename=" + name));
  board.Run(1min);
  EXPECT_FALSE(lazy->Ended());
  Ok("/do_capture");
  EXPECT_EQ(Follow(), "255,255 0,255 0,0");
  const auto queued = Connect(kBulk, GetText("/get_file?filename=none"));
  board.Run(10s);
  EXPECT_EQ(queued->Received(), "");
  lazy->Reset();
  EXPECT_TRUE(RunUntilEnded(board, *queued, 1s));
  EXPECT_EQ(AnswerOf(*queued).Status(), 404);

  ExpectGoodShots(3);
}

TEST_F(HttpClients, GarbageResetsAndFloodsLeaveNothingBehind) {
  ExpectBothPortsServe();
  const size_t descriptors = board.descriptors.OpenCount(), blocks = board.heap.Blocks(), bytes = board.heap.Bytes();
  const auto flat = [&](const char* after) {
    board.Run(100ms);
    ExpectBothPortsServe();
    EXPECT_EQ(board.descriptors.OpenCount(), descriptors) << after;
    EXPECT_EQ(board.heap.Blocks(), blocks) << after;
    EXPECT_EQ(board.heap.Bytes(), bytes) << after;
    EXPECT_EQ(board.stdio.OpenOnDisk(), 0u) << after;
  };
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
    flat("garbage, resets and halves");
  }
  // One that goes away while it is being answered: what is sent to it would end a program that did not provide for it.
  const auto leaver = Connect(kControl, GetText("/get_list"));
  leaver->Close();
  flat("a leaver");
  EXPECT_FALSE(board.Exited());
  const auto flood = Connect(kControl, "GET /get_last_exposure HTTP/1.1\r\nX: ");
  for (int i = 0; i < 10; i++) {
    flood->Send(std::string(1'000'000, 'x'));
    EXPECT_EQ(Get("/get_file?filename=none", kBulk).Status(), 404);
  }
  flood->Send("\r\n\r\n");
  EXPECT_TRUE(RunUntilEnded(board, *flood));
  EXPECT_EQ(AnswerOf(*flood).Status(), 200);
  flat("ten megabytes of header");
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
  ExpectGoodShots(2);
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

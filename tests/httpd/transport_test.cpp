// The transport of the HTTP ports: lines in, answers out, and the sockets themselves.
#include "common/httpd/server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "common/httpd/transport.h"
#include "common/log.h"
#include "tests/support/file_bytes.h"
#include "tests/support/http_bench.h"
#include "tests/support/on_board.h"

extern "C" FILE* twin_stderr;
extern "C" FILE* twin_fopen(const char* path, const char* mode);
extern "C" int twin_fclose(FILE* file);

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

struct Transport : testing::Test {
  twin::Board board{{}};
  std::shared_ptr<twin::Client> client;

  // Runs `body` with the board's end of a connection to `client`, which has sent `text`.
  void Connected(const std::string& text, const std::function<void(int)>& body) {
    OnBoard(board, [&] {
      board.interfaces.Add("eth0");
      board.interfaces.SetUp("eth0", true);
      const int server = startup(8080, 2);
      ASSERT_GE(server, 0);
      client = board.network.Connect(8080);
      ASSERT_TRUE(client);
      client->Send(text);
      body(board.network.Accept(server, nullptr, nullptr));
    });
  }

  struct Line {
    int result;
    std::string text;
    bool operator==(const Line&) const = default;
  };
  // All lines until one is refused, with the number that it was refused with as the last one's result.
  std::vector<Line> Lines(const std::string& text, int size = 1024, const std::function<void()>& then = {}) {
    std::vector<Line> lines;
    Connected(text, [&](int sock) {
      then ? then() : client->CloseSending();
      int result = 0;
      while (result >= 0) {
        std::vector<char> buf(static_cast<size_t>(size) + 1, '~');
        result = get_line(sock, buf.data(), size);
        EXPECT_EQ(buf.back(), '~') << "beyond its end";
        if (result < 0) {
          lines.push_back({result, ""});
        } else {
          EXPECT_EQ(buf[static_cast<size_t>(result)], '\0');
          lines.push_back({result, std::string(buf.data(), static_cast<size_t>(result))});
        }
      }
    });
    return lines;
  }
};

TEST_F(Transport, ThreeLineEndsAreOne) {
  EXPECT_THAT(Lines("a\r\nbc\rd\n\r\r\n\n"), ElementsAre(Line{2, "a\n"}, Line{3, "bc\n"}, Line{2, "d\n"}, Line{1, "\n"},
                                                         Line{1, "\n"}, Line{1, "\n"}, Line{-1, ""}));
  const std::string odd("\0\xFF\t\n", 4);
  EXPECT_THAT(Lines(odd), ElementsAre(Line{4, odd}, Line{-1, ""}));
}

TEST_F(Transport, LongLinesComeInPieces) {
  const std::string full(1023, 'x');
  EXPECT_THAT(Lines(full + "rest\n"), ElementsAre(Line{1023, full}, Line{5, "rest\n"}, Line{-1, ""}));
  EXPECT_THAT(Lines(full + "\r\n"), ElementsAre(Line{1023, full}, Line{1, "\n"}, Line{-1, ""}));
  const std::string fits = full.substr(1);
  EXPECT_THAT(Lines(fits + "\r\ny\n"), ElementsAre(Line{1023, fits + "\n"}, Line{2, "y\n"}, Line{-1, ""}));
  EXPECT_THAT(Lines("ab\r\n", 2), ElementsAre(Line{1, "a"}, Line{1, "b"}, Line{1, "\n"}, Line{-1, ""}));
}

TEST_F(Transport, ALineWithoutItsEndIsLost) {
  EXPECT_THAT(Lines("a\nbc"), ElementsAre(Line{2, "a\n"}, Line{-1, ""}));
  EXPECT_THAT(Lines("a\r"), ElementsAre(Line{-1, ""})) << "what follows the carriage return decides";
  EXPECT_THAT(Lines("a\n", 1024, [this] { client->Reset(); }), ElementsAre(Line{2, "a\n"}, Line{-2, ""}));
  // Each of the four receives of this line: two characters, the look ahead, the line feed.
  for (const char* nth : {"1", "2", "3", "4"}) {
    EXPECT_THAT(Lines("a\r\n", 1024,
                      [&] {
                        board.faults.Clear();
                        board.faults.Add(std::string("net.receive fail=ECONNRESET nth=") + nth);
                      }),
                ElementsAre(Line{-2, ""}))
        << nth;
  }
}

TEST_F(Transport, ATextAnswerInSixSends) {
  const std::string whole =
      "HTTP/1.0 404 NOT FOUND\r\nServer: lumhttpd/0.1.0\r\nContent-Type: text/html\r\nContent-Length: 9\r\n\r\nnot "
      "there";
  Connected("", [&](int sock) { EXPECT_EQ(send_txt(sock, 404, "NOT FOUND", "not there"), 404); });
  EXPECT_EQ(client->Received(), whole);

  const std::vector<size_t> after = {0, 24, 48, 73, 92, 94};  // bytes before each send
  for (size_t i = 0; i < after.size(); i++) {
    Connected("", [&](int sock) {
      board.faults.Clear();
      board.faults.Add("net.send fail=EPIPE nth=" + std::to_string(i + 1));
      EXPECT_EQ(send_txt(sock, 404, "NOT FOUND", "not there"), -1);
    });
    EXPECT_EQ(client->Received(), whole.substr(0, after[i])) << i;
  }
}

TEST_F(Transport, PartsOfAFileKeepTheirPromisedLength) {
  std::string content;
  for (int i = 0; i < 10000; i++) content += static_cast<char>(i * 7 + i / 256);
  std::ofstream{board.disk.Directory() / "part", std::ios::binary} << content;
  const auto sent = [&](unsigned int offset, unsigned int size, int expected) {
    Connected("", [&](int sock) {
      FILE* file = twin_fopen("/mnt/udisk/part", "rb");
      EXPECT_EQ(send_part(sock, file, offset, size), expected);
      twin_fclose(file);
    });
    return client->Received();
  };
  EXPECT_EQ(sent(3, 9000, 0), content.substr(3, 9000));
  const std::string beyond = sent(9990, 20000, 0);
  EXPECT_EQ(beyond.size(), 20000u);
  EXPECT_EQ(beyond.substr(0, 10), content.substr(9990));
  EXPECT_EQ(sent(20000, 5000, 0), std::string(5000, '\0')) << "nothing of the stack";
  board.faults.Add("disk.read fail=EIO nth=2");
  EXPECT_EQ(sent(0, 9000, 0).size(), 9000u) << "a failed read is not noticed";
  board.faults.Clear();
  board.faults.Add("net.send fail=ECONNRESET nth=2");
  EXPECT_EQ(sent(0, 9000, -1), content.substr(0, 4096));
}

// --- the sockets ---

TEST_F(Transport, FailedStartsByTheirNumbers) {
  OnBoard(board, [&] {
    const size_t before = board.descriptors.OpenCount();
    EXPECT_EQ(startup(8080, 2), -2) << "there is no such interface";
    EXPECT_EQ(board.descriptors.OpenCount(), before + 1) << "the socket stays open";
    board.interfaces.Add("eth0");
    board.interfaces.Add("wlan0");
    for (const auto& [point, result, left] :
         {std::tuple{"net.socket", -1, 1}, {"net.option", -2, 2}, {"net.bind", -3, 3}, {"net.listen", -5, 4}}) {
      board.faults.Add(std::string(point) + " fail=EACCES");
      EXPECT_EQ(startup(8080, 2), result) << point;
      EXPECT_EQ(board.descriptors.OpenCount(), before + static_cast<size_t>(left)) << point;
    }
  });
  for (const char* line : {"startup:", " socket() error\n", " bind() error\n", " listen() error\n"}) {
    EXPECT_GE(board.LogCount(line), 1u) << line;
  }
  EXPECT_EQ(board.LogCount(" setsockopt() error\n"), 2u);
}

struct Ports : HttpBench {};

TEST_F(Ports, AFailedAcceptIsLoggedAndTriedAgain) {
  Start();
  board.faults.Add("net.accept fail=EMFILE times=3 detail=8080");
  EXPECT_EQ(Get("/get_last_exposure").Status(), 200) << "the accept that waited already";
  EXPECT_EQ(Get("/get_last_exposure").Status(), 200);
  EXPECT_EQ(Logged(" accept() error\n"), 3u);
  EXPECT_EQ(Logged("LumoServerMain0:"), 3u);
}

TEST_F(Ports, LookForTheEndBetweenConnectionsOnly) {
  Start();
  EXPECT_EQ(Logged("httpd running on port 8080\n"), 1u);
  ctrl->needQuit = 1;
  board.Run(1min);
  EXPECT_TRUE(board.network.Listening(kControl));
  EXPECT_EQ(Get("/get_last_exposure").Status(), 200);
  EXPECT_FALSE(board.network.Listening(kControl));
  EXPECT_TRUE(board.network.Listening(kBulk));
  open--;
}

TEST_F(Ports, AStartThatFailedGoesOnFailing) {
  board.faults.Add("net.bind fail=EADDRINUSE detail=8081");
  board.PowerOn([this] {
    g_lumoDebug = twin_stderr;
    board.interfaces.Add("eth0");
    board.interfaces.SetUp("eth0", true);
    LumoServerMain1(ctrl.get());
    return 0;
  });
  board.Run(5s);
  const size_t errors = Logged(" accept() error\n");
  EXPECT_GT(errors, 100u);
  ctrl->needQuit = 1;
  board.Run(10ms);
  EXPECT_TRUE(board.Exited());
  open++;  // the socket that could not be bound
}

}  // namespace

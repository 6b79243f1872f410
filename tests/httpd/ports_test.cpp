// The two ports from their start to their end, and the frame around each request.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/httpd/server.h"
#include "common/log.h"
#include "tests/support/http_bench.h"
#include "tests/support/on_board.h"
#include "tests/support/transcript_match.h"
#include "twin/transcript/transcript.h"

extern "C" FILE* twin_stderr;

namespace {

using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

const std::string lastExposure = OkAnswer("exposure=0.000000s\r\niso=0\r\n");

struct Ports : HttpBench {
  // What the thread of a port does: a socket on one interface, six sends an answer, a line for each failed accept.
  static Texts Opened(const std::string& interface, const std::string& port, int number) {
    std::string option = "net option 1 25 40";
    for (size_t i = 0; i < 40; i++) {
      char byte[4];
      snprintf(byte, sizeof byte, " %02X", i < interface.size() ? interface[i] : 0);
      option += byte;
    }
    return {"net socket 2 1 0", option, "net bind 02 00 " + port + " 00 00 00 00 00 00 00 00 00 00 00 00",
            "net listen 5", "log - \"httpd running on port " + std::to_string(number) + "\\n\""};
  }
  static void Answered(Texts& road, const std::string& body) {
    for (const std::string& text :
         {std::string("HTTP/1.0 200 OK\\x0D\\n"), std::string("Server: lumhttpd/0.1.0\\x0D\\n"),
          std::string("Content-Type: text/html\\x0D\\n"), "Content-Length: " + std::to_string(body.size()) + "\\x0D\\n",
          std::string("\\x0D\\n"), body}) {
      road.push_back("net send \"" + text + "\"");
    }
  }
};

TEST_F(Ports, FromTheirStartToTheirEnd) {
  Set("usbMode=7 sessionNum=77");  // both adapters
  for (Shared<int>& session : ctrl->sessionList) session = 9;
  const twin::Transcript transcript{board.kernel, "net log"};
  Start();
  EXPECT_EQ(Written(), "sessionNum=0");
  for (const Shared<int>& session : ctrl->sessionList) EXPECT_EQ(session, 0);
  board.faults.Add("net.accept fail=EMFILE times=2 detail=8080");
  EXPECT_EQ(Get("/get_battery_level").Status(), 200) << "the accept that waited already";
  EXPECT_EQ(Get("/get_battery_level").Status(), 200);
  ctrl->needQuit = 1;  // looked at between connections only
  board.Run(1min);
  EXPECT_TRUE(board.network.Listening(kControl));
  EXPECT_EQ(Get("/get_battery_level").Status(), 200);
  EXPECT_FALSE(board.network.Listening(kControl));
  open--;

  Texts control = Opened("eth0", "1F 90", kControl), bulk = Opened("eth0", "1F 91", kBulk);
  control.push_back("net accept");
  Answered(control, "-1");
  for (int i = 0; i < 2; i++) {
    control.push_back("net accept failed");
    control.push_back("log LumoServerMain0 \"accept() error\\n\"");
  }
  for (int i = 0; i < 2; i++) {
    control.push_back("net accept");
    Answered(control, "-1");
  }
  EXPECT_TRUE(SameRoad(control, transcript.Texts("port 8080")));
  EXPECT_TRUE(SameRoad(bulk, transcript.Texts("port 8081")));
}

TEST_F(Ports, AStartThatFailedGoesOnFailing) {
  OnBoard(board, [&] {
    const twin::Transcript transcript{board.kernel, "log"};
    const size_t before = board.descriptors.OpenCount();
    EXPECT_EQ(startup(8080, 1), -2) << "there is no such interface";
    board.interfaces.Add("wlan0");
    for (const auto& [point, result] :
         {std::pair{"net.socket", -1}, {"net.option", -2}, {"net.bind", -3}, {"net.listen", -5}}) {
      board.faults.Add(std::string(point) + " fail=EACCES");
      EXPECT_EQ(startup(8080, 1), result) << point;
    }
    EXPECT_EQ(board.descriptors.OpenCount(), before + 4) << "sockets stay open";
    board.faults.Add("net.bind fail=EACCES");
    board.kernel.After(100us, [this] { ctrl->needQuit = 1; });
    Set("usbMode=1");
    LumoServerMain1(ctrl.get());
    open = before + 5;
    Texts expected;
    for (const std::string call : {"setsockopt", "socket", "setsockopt", "bind", "listen", "bind"}) {
      expected.push_back("log startup \"" + call + "() error\\n\"");
    }
    expected.push_back("log - \"httpd running on port 8081\\n\"");
    for (int i = 0; i < 5; i++) expected.push_back("log LumoServerMain1 \"accept() error\\n\"");
    EXPECT_TRUE(SameRoad(expected, transcript.Texts()));
  });
}

// --- the frame around a request ---

TEST_F(Ports, WhatCountsAsARequest) {
  Start();
  for (size_t i = 0; i < 25; i++) ctrl->camTemp[i] = static_cast<int8_t>(i + 1);
  ctrl->sessionNum = 1;
  const std::string refused = TextAnswer("501 Method Not Implemented", "Only Allow GET Method");
  const std::string invalid = NotFoundAnswer("Invalid request");
  const std::string get = "GET /get_last_exposure", end = "\r\n\r\n";
  const auto url = [](size_t length, const std::string& last) {
    const std::string path = "/get_last_temperature?pad=";
    return "GET " + path + std::string(length - path.size() - last.size(), '-') + last + " HTTP/1.1\n\n";
  };
  for (const auto& [text, answer] : std::vector<std::pair<std::string, std::string>>{
           {get + " HTTP/1.1" + end, lastExposure},
           {"get /get_last_exposure" + end, lastExposure},
           {"Post /get_last_exposure x" + end, lastExposure},
           {"GET \t  /get_last_exposure\tHTTP" + end, lastExposure},
           {"GET /GET_Last_Exposure?session=1 HTTP/1.0" + end, lastExposure},
           {std::string("GET\0?! /get_last_exposure\n\n", 27), lastExposure},  // up to white space, and no further
           {"\n", refused},
           {"HEAD /get_list\n", refused},
           {"GETS /get_list\n", refused},
           {" GET /get_list\n", refused},
           {std::string(5000, 'G'), refused},  // as soon as the buffer is full
           {"GET /get_lis" + end, invalid},
           {"GET " + end, invalid},
           // Cut at 254 characters, which loses a digit or the whole key; what a buffer does not hold is a header.
           {url(254, "&index=25"), OkAnswer("25")},
           {url(255, "&index=25"), OkAnswer("2")},
           {url(262, "&index=25"), OkAnswer("13")},
           {url(1100, "&index=25"), OkAnswer("13")},
           {"GET" + std::string(1002, ' ') + "/get_battery_level\n\n", OkAnswer("-1")},
           {"GET" + std::string(1003, ' ') + "/get_battery_level\n\n", invalid},
           // Headers end with an empty line and with nothing else.
           {get + " HTTP/1.1\rA: 1\r\rB", lastExposure},
           {get + "\nA: " + std::string(100000, 'a') + "\n\n", lastExposure}}) {
    EXPECT_EQ(Exchange(board, kControl, text).raw, answer) << text.substr(0, 100);
  }
  // Cut anywhere, by the peer's end or by a failing receive, a request is not answered.
  const std::string off = "GET /shutdown HTTP\rHost: x\r\n\r\n";
  for (size_t length = 0; length < off.size(); length++) {
    const auto client = board.network.Connect(kControl);
    client->Send(off.substr(0, length));
    board.Run(1min);
    EXPECT_FALSE(client->Ended());
    client->CloseSending();
    EXPECT_TRUE(RunUntilEnded(board, *client));
    EXPECT_EQ(client->Received(), "") << length;
  }
  for (size_t nth = 1; nth <= off.size() + 3; nth++) {  // a look ahead for each carriage return
    board.faults.Add("net.receive fail=ECONNRESET nth=" + std::to_string(nth));
    EXPECT_EQ(Exchange(board, kControl, off).raw, "") << nth;
    board.faults.Clear();
  }
  EXPECT_EQ(ctrl->needShutdown, 77);
  EXPECT_EQ(Exchange(board, kControl, off).raw, OkAnswer());
  // The length of a POST may stand anywhere in a header, the last one counts.
  const std::string upload = "POST /update_firmware?crcvalue=3421780262 HTTP/1.1\r\n";
  for (const auto& [head, status] : {std::pair{upload + "Content-Length: 9", 200},
                                     {upload + "X-Content-Length:9 bytes", 200},
                                     {upload + "Content-Length: 4\r\nContent-Length: 9", 200},
                                     {upload + "content-length: 9", 404},
                                     {upload + "Content-Length : 9", 404},
                                     {upload + "Content-Length: 0", 404},
                                     {upload + "Content-Length: -9", 404},
                                     {"GET" + upload.substr(4) + "Content-Length: 9", 404}}) {
    EXPECT_EQ(Exchange(board, kBulk, head + "\r\n\r\n123456789").Status(), status) << head;
  }
}

}  // namespace

// What the server takes from a request: method, path, query keys with their bounds, and the header that counts.
#include "common/httpd/request.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/support/http_bench.h"

namespace {

using namespace std::chrono_literals;

// The request that a query string makes. The text must outlive what points into it.
struct Parsed : HttpRequest {
  explicit Parsed(const std::string& query) : text(query) { parse_query(text.data(), this); }
  std::string text;
};

struct Bounds {
  const char* key;
  int HttpRequest::*field;
  std::vector<std::pair<const char*, int>> values;
};

TEST(Query, EachKeyWithItsBounds) {
  for (const Bounds& bounds : std::vector<Bounds>{
           {"session", &HttpRequest::session, {{"-7", -7}, {"12345", 12345}, {"x", 0}}},
           {"strobemode", &HttpRequest::strobeMode, {{"3", 3}, {"4", 0}, {"5", 1}, {"-1", 3}}},
           {"timelapse", &HttpRequest::timeLapse, {{"-1", 0}, {"6", 6}, {"7", 7}, {"8", 7}, {"99", 7}}},
           {"delay", &HttpRequest::delayMode, {{"-1", 0}, {"7", 7}, {"8", 8}, {"9", 8}}},
           {"capmode", &HttpRequest::captureMode, {{"7", 7}, {"8", 0}, {"-1", 7}, {"13", 5}}},
           {"evmode",
            &HttpRequest::evCompVal,
            {{"15", 135}, {"16", 112}, {"143", 143}, {"145", 144}, {"-9", 112}, {"", 120}}},
           {"isomode", &HttpRequest::isoMode, {{"3", 3}, {"6", 2}, {"-1", 3}}},
           {"exposure",
            &HttpRequest::manualExpsUs,
            {{"249", 250}, {"8999999", 8999999}, {"9000001", 9000000}, {"", 250}}},
           {"iso", &HttpRequest::manualIso, {{"99", 100}, {"101", 101}, {"1599", 1599}, {"1601", 1600}}},
           {"longitude", &HttpRequest::longitude, {{"-1800000000", -1800000000}, {"1214000000", 1214000000}}},
           {"latitude", &HttpRequest::latitude, {{"-900000000", -900000000}, {"+5", 5}}},
           {"saveraw", &HttpRequest::saveRaw, {{"true", 1}, {"TrUe", 1}, {"1", 1}, {"2", 0}, {"01", 0}, {"yes", 0}}},
           {"gyrocorrect", &HttpRequest::gyroCorrect, {{"-1", 0}, {"1", 1}, {"2", 2}, {"3", 2}}},
           {"btnsetting", &HttpRequest::btnSetting, {{"-1", 0}, {"2", 2}, {"3", 2}}},
           {"shutdownmode", &HttpRequest::shutdownMode, {{"-1", 0}, {"4", 4}, {"5", 5}, {"6", 5}}},
           {"mutemode", &HttpRequest::muteMode, {{"1", 1}, {"2", 0}, {"3", 1}}},
           {"onlypreview", &HttpRequest::onlyPreview, {{"TRUE", 1}, {"1", 1}, {"0", 0}, {"t", 0}}},
           {"camidx", &HttpRequest::camIdx, {{"-1", 0}, {"23", 23}, {"24", 24}, {"30", 24}}},
           {"index", &HttpRequest::index, {{"-1", 0}, {"25", 25}, {"26", 0}, {"1000", 0}}}}) {
    const auto of = [&](const char* value) { return Parsed(std::string(bounds.key) + "=" + value).*bounds.field; };
    for (const auto& [value, expected] : bounds.values) EXPECT_EQ(of(value), expected) << bounds.key << value;
    // Numbers as atoi reads them; one that no int can hold is the greatest or the least.
    if (bounds.field == &HttpRequest::saveRaw || bounds.field == &HttpRequest::onlyPreview) continue;
    EXPECT_EQ(of(" 2"), of("2")) << bounds.key;
    EXPECT_EQ(of("2x9"), of("2")) << bounds.key;
    EXPECT_EQ(of("none"), of("0")) << bounds.key;
    EXPECT_EQ(of("4294967296"), of("2147483647")) << bounds.key;
    EXPECT_EQ(of("-99999999999999999999"), of("-2147483648")) << bounds.key;
  }
  const std::pair<const char*, int64_t> crcs[] = {
      {"4294967296", 4294967296}, {"-1.9", -1},        {"cbf43926", 0}, {"1e3", 1000},
      {"1e300", INT64_MAX},       {"-inf", INT64_MIN}, {"nan", 0},      {"", 0}};
  for (const auto& [value, expected] : crcs)
    EXPECT_EQ(Parsed(std::string("crcvalue=") + value).crcValue, expected) << value;
}

TEST(Query, WhatIsMissingHasItsDefault) {
  const Parsed none("");
  EXPECT_EQ(none.session, -1);
  EXPECT_EQ(none.evCompVal, 128);
  EXPECT_EQ(none.manualExpsUs, 10000);
  EXPECT_EQ(none.manualIso, 100);
  EXPECT_STREQ(none.mainName, "");
  EXPECT_EQ(none.timeStr, nullptr);
  EXPECT_EQ(none.delayMode, 0);
  EXPECT_EQ(none.camIdx, 0);
}

TEST(Query, IsTakenApartAtEqualsThenAtAmpersand) {
  EXPECT_EQ(Parsed("DELAY=3&Iso=200").delayMode, 3);
  EXPECT_EQ(Parsed("DELAY=3&Iso=200").manualIso, 200);
  EXPECT_EQ(Parsed("iso=200&iso=300").manualIso, 300);
  EXPECT_EQ(Parsed("iso=200&other=1&delay=4").delayMode, 4);
  EXPECT_EQ(Parsed("delay=2&iso").delayMode, 2) << "a key at the end without a value is dropped";
  EXPECT_EQ(Parsed("iso&delay=2").delayMode, 0) << "it is one key, called \"iso&delay\"";
  EXPECT_EQ(Parsed("iso&delay=2&delay=3").delayMode, 3);
  EXPECT_EQ(Parsed("&delay=2").delayMode, 0);
  EXPECT_EQ(Parsed("delay=2&").delayMode, 2);
  EXPECT_EQ(Parsed("=5&delay=2").delayMode, 2);
  EXPECT_EQ(Parsed("filename=a=b&delay=2").delayMode, 2);
  EXPECT_STREQ(Parsed("filename=a=b&delay=2").mainName, "a=b");
  EXPECT_STREQ(Parsed("filename=A%20b+c").mainName, "A%20b+c") << "nothing is decoded";
  EXPECT_STREQ(Parsed("filename=").mainName, "");
  EXPECT_STREQ(Parsed("prefix=abc&prefix=elevenchars&prefix=twelve_chars").prefix.data(), "elevenchars");
}

// --- on the wire ---

struct RequestLine : HttpBench {
  void SetUp() override { Start(); }
  std::string Answer(const std::string& text) {
    const HttpAnswer answer = Exchange(board, kControl, text);
    EXPECT_TRUE(answer.ended) << text;
    return answer.raw;
  }
};

constexpr const char* kInformation = "exposure=0.000000s\r\niso=0\r\n";

TEST_F(RequestLine, Methods) {
  const std::string good = OkAnswer(kInformation);
  for (const std::string line :
       {"GET /get_last_exposure HTTP/1.1", "get /get_last_exposure", "Post /get_last_exposure x",
        "GET \t  /get_last_exposure\tHTTP", "GET /GET_Last_Exposure?session=1 HTTP/1.0", "GET /get_last_exposure?"}) {
    EXPECT_EQ(Answer(line + "\r\n\r\n"), good) << line;
  }
  EXPECT_EQ(Answer(std::string("GET\0?! /get_last_exposure\r\n\r\n", 30)), good) << "up to white space, and no further";

  const std::string refused = TextAnswer("501 Method Not Implemented", "Only Allow GET Method");
  for (const std::string line : {"", "HEAD /get_list", "GETS /get_list", " GET /get_list", "PUT", "\x16\x03\x01"}) {
    EXPECT_EQ(Answer(line + "\n"), refused) << line;
  }
  EXPECT_EQ(Answer(std::string(5000, 'G')), refused) << "answered as soon as the buffer is full";
  EXPECT_EQ(Answer("GET /get_lis\r\n\r\n"), NotFoundAnswer("Invalid request"));
  EXPECT_EQ(Answer("GET \r\n\r\n"), NotFoundAnswer("Invalid request"));
}

TEST_F(RequestLine, IsCutAt254CharactersOfUrl) {
  const std::string path = "/get_last_temperature?";
  for (size_t i = 0; i < 25; i++) ctrl->camTemp[i] = static_cast<int8_t>(i + 1);
  const auto url = [&](size_t length, const std::string& last) {
    return "GET " + path + "pad=" + std::string(length - path.size() - last.size() - 4, '-') + last + " HTTP/1.1\n\n";
  };
  EXPECT_EQ(Answer(url(254, "&index=25")), OkAnswer("25"));
  EXPECT_EQ(Answer(url(255, "&index=25")), OkAnswer("2")) << "its last digit is cut off";
  EXPECT_EQ(Answer(url(262, "&index=25")), OkAnswer("13")) << "the key is lost; the mean";
  EXPECT_EQ(Answer(url(900, "&index=25")), OkAnswer("13"));
  EXPECT_EQ(Answer(url(1100, "&index=25")), OkAnswer("13")) << "the rest of the line counts as a header";
}

TEST_F(RequestLine, HeadersAreReadToTheEmptyLine) {
  const std::string good = OkAnswer(kInformation);
  EXPECT_EQ(Answer("GET /get_last_exposure HTTP/1.1\r" + std::string("A: 1\rB\n\n")), good);
  EXPECT_EQ(Answer("GET /get_last_exposure\nA: " + std::string(100000, 'a') + "\n\n"), good);
  // Without the empty line nothing is answered until the peer ends, and then nothing either.
  const auto client = board.network.Connect(kControl);
  client->Send("GET /config?mutemode=1 HTTP/1.1\r\nHost: x\r\n");
  board.Run(10min);
  EXPECT_FALSE(client->Ended());
  client->CloseSending();
  EXPECT_TRUE(RunUntilEnded(board, *client));
  EXPECT_EQ(client->Received(), "");
  EXPECT_EQ(Written(), "");
}

TEST_F(RequestLine, LengthOfAPostStandsAnywhereInAHeader) {
  const auto upload = [this](const std::string& head) {
    return Exchange(board, kBulk, head + "\r\n\r\n123456789").Status();
  };
  const std::string post = "POST /update_firmware?crcvalue=3421780262 HTTP/1.1\r\n";
  EXPECT_EQ(upload(post + "Content-Length: 9"), 200);
  EXPECT_EQ(upload(post + "X-Content-Length:9 bytes"), 200);
  EXPECT_EQ(upload(post + "Content-Length: 4\r\nContent-Length: 9"), 200);
  EXPECT_EQ(upload(post + "content-length: 9"), 404);
  EXPECT_EQ(upload(post + "Content-Length : 9"), 404);
  EXPECT_EQ(upload(post + "Content-Length: 0"), 404);
  EXPECT_EQ(upload(post + "Content-Length: -9"), 404);
  EXPECT_EQ(upload("GET /update_firmware?crcvalue=3421780262 HTTP/1.1\r\nContent-Length: 9"), 404);
}

}  // namespace

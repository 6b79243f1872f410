// What the server takes from a request's query: each key with its bounds, and how the text is taken apart.
#include "common/httpd/request.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>

#include "common/httpd/server.h"
#include "tests/support/http.h"
#include "tests/support/on_board.h"

namespace {

struct Key {
  const char* name;
  std::function<int64_t(const HttpRequest&)> field;
  const char* values;  // "text=number"
};

TEST(Query, EachKeyWithItsBounds) {
  using R = HttpRequest;
  const Key keys[] = {{"session", &R::session, "-7=-7 12345=12345"},
                      {"strobemode", &R::strobeMode, "3=3 4=0 5=1 -1=3"},
                      {"timelapse", &R::timeLapse, "-1=0 6=6 7=7 8=7"},
                      {"delay", &R::delayMode, "-1=0 7=7 8=8 9=8"},
                      {"capmode", &R::captureMode, "7=7 8=0 -1=7 13=5"},
                      {"evmode", &R::evCompVal, "0=120 15=135 16=112 143=143 145=144 -3=117 -9=112 =120"},
                      {"isomode", &R::isoMode, "3=3 6=2 -1=3"},
                      {"exposure", &R::manualExpsUs, "249=250 251=251 8999999=8999999 9000001=9000000 =250"},
                      {"iso", &R::manualIso, "99=100 101=101 1599=1599 1601=1600"},
                      {"longitude", &R::longitude, "-1800000000=-1800000000 1214000000=1214000000"},
                      {"latitude", &R::latitude, "-900000000=-900000000 +5=5"},
                      {"saveraw", &R::saveRaw, "true=1 TrUe=1 1=1 2=0 01=0 yes=0"},
                      {"gyrocorrect", &R::gyroCorrect, "-1=0 1=1 2=2 3=2"},
                      {"btnsetting", &R::btnSetting, "-1=0 2=2 3=2"},
                      {"shutdownmode", &R::shutdownMode, "-1=0 4=4 5=5 6=5"},
                      {"mutemode", &R::muteMode, "1=1 2=0 3=1"},
                      {"onlypreview", &R::onlyPreview, "true=1 1=1 t=0"},
                      {"camidx", &R::camIdx, "-1=0 23=23 24=24 30=24"},
                      {"index", &R::index, "-1=0 25=25 26=0 1000=0"},
                      {"crcvalue", &R::crcValue,
                       "4294967296=4294967296 -1.9=-1 cbf43926=0 1e3=1000 1e300=9223372036854775807 "
                       "-inf=-9223372036854775808 nan=0 =0"}};
  // Taken apart at "=", then at "&"; nothing is decoded, and small or large letters matter in values alone.
  const std::pair<const char*, const char*> queries[] = {{"DELAY=3&Prefix=Ab", "3;;Ab"},
                                                         {"delay=1&delay=2&x=3&", "2;;"},
                                                         {"delay=2&prefix", "2;;"},
                                                         {"iso&delay=2", "0;;"},
                                                         {"&delay=2", "0;;"},
                                                         {"=5&delay=2&&=", "2;;"},
                                                         {"filename=a=B&delay=2", "2;a=B;"},
                                                         {"filename=A&filename=", "0;;"},
                                                         {"filename=A%20b+c", "0;A%20b+c;"},
                                                         {"prefix=elevenchars", "0;;elevenchars"},
                                                         {"prefix=elevenchars&prefix=xy&prefix=twelve_chars", "0;;xy"}};
  twin::Board board{{}};
  OnBoard(board, [&] {
    board.interfaces.Add("eth0");
    board.interfaces.SetUp("eth0", true);
    const int server = startup(kControl, 2);
    const auto read = [&](const std::string& query, const auto& field) {
      const auto client = board.network.Connect(kControl);
      client->Send("GET /?" + query + "\n\n");
      const int sock = board.network.Accept(server, nullptr, nullptr);
      HttpRequest request;
      EXPECT_EQ(read_request(sock, &request), kRequestRead);
      board.descriptors.Close(sock);
      return field(request);
    };
    for (const Key& key : keys) {
      const auto of = [&](const std::string& text) { return read(std::string(key.name) + "=" + text, key.field); };
      std::istringstream values(key.values);
      for (std::string value; values >> value;) {
        const size_t equals = value.rfind('=');
        EXPECT_EQ(of(value.substr(0, equals)), std::stoll(value.substr(equals + 1))) << key.name << value;
      }
      if (key.name == std::string("crcvalue")) continue;
      // Numbers as atoi reads them; one that no int can hold is the greatest or the least.
      EXPECT_EQ(of("2x9"), of("2")) << key.name;
      EXPECT_EQ(of("none"), of("0")) << key.name;
      EXPECT_EQ(of("4294967296"), of("2147483647")) << key.name;
      EXPECT_EQ(of("-99999999999999999999"), of("-2147483648")) << key.name;
    }
    const auto texts = [](const R& r) {
      return std::to_string(r.delayMode) + ";" + r.mainName + ";" + r.prefix.data();
    };
    for (const auto& [query, expected] : queries) EXPECT_EQ(read(query, texts), expected) << query;
  });
}

}  // namespace

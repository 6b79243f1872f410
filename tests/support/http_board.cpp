#include "tests/support/http_board.h"

#include <cstdlib>

using namespace std::chrono_literals;

HttpBoard::HttpBoard(std::vector<twin::UsbAdapter> usb) : board(twin::BoardOptions{.usb = std::move(usb)}) {}

void HttpBoard::SetUp() { BootAgain(); }

void HttpBoard::TearDown() { EXPECT_EQ(board.Complaints(), std::vector<std::string>{}); }

void HttpBoard::BootAgain() {
  ASSERT_TRUE(board.Boot()) << board.Log();
  ASSERT_TRUE(
      board.RunUntil([this] { return board.network.Listening(kControl) && board.network.Listening(kBulk); }, 5s))
      << board.Log();
}

void HttpBoard::Ok(const std::string& target) { EXPECT_EQ(Get(target).raw, OkAnswer()) << target; }

HttpBoard::List HttpBoard::Parse(const HttpAnswer& answer) {
  List list;
  EXPECT_EQ(answer.statusLine, "HTTP/1.0 200 OK");
  EXPECT_EQ(answer.ContentLength(), static_cast<int64_t>(answer.body.size()));
  size_t at = 0;
  for (size_t end; (end = answer.body.find("\r\n", at)) != std::string::npos; at = end + 2) {
    list.names.push_back(answer.body.substr(at, end - at));
  }
  EXPECT_EQ(at, answer.body.size()) << "the last line has no end:\n" << answer.body;
  if (!list.names.empty()) {
    std::string rest = list.names[0];
    list.names.erase(list.names.begin());
    for (const char* next = rest.c_str(); *next != '\0';) {
      char* end = nullptr;
      list.numbers.push_back(static_cast<int>(std::strtol(next, &end, 10)));
      if (end == next || (*end != ',' && *end != '\0')) break;
      next = *end == ',' ? end + 1 : end;
    }
  }
  EXPECT_GE(list.numbers.size(), 2u) << answer.body;
  list.numbers.resize(std::max<size_t>(list.numbers.size(), 2), -1);
  return list;
}

HttpBoard::List HttpBoard::Poll() { return Parse(Get("/get_list")); }

std::string HttpBoard::Follow(twin::Duration settled) {
  // The answer to a request comes before the settings are saved and the shot begins.
  board.Run(50ms);
  std::string seen, last;
  twin::Time quietSince = board.Now();
  const twin::Time limit = board.Now() + 30min;
  while (board.Now() < limit) {
    const List list = Poll();
    const std::string numbers = std::to_string(list.NeedCapture()) + "," + std::to_string(list.NeedSave());
    if (numbers != last) seen += (seen.empty() ? "" : " ") + numbers;
    last = numbers;
    if (list.Busy()) {
      quietSince = board.Now();
    } else if (board.Now() - quietSince >= settled) {
      return seen;
    }
    board.Run(100ms);
  }
  ADD_FAILURE() << "the shot did not end: " << seen;
  return seen;
}

std::string HttpBoard::Fetch(const std::string& name, const std::string& more) {
  const HttpAnswer answer = Get("/get_file?filename=" + name + more, kBulk);
  EXPECT_EQ(answer.Status(), 200);
  EXPECT_EQ(answer.ContentLength(), static_cast<int64_t>(answer.body.size()));
  const std::string path = folder / (name + ".ori");
  support::WriteFile(path, support::Bytes(answer.body.begin(), answer.body.end()));
  return path;
}

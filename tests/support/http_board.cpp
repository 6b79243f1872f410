#include "tests/support/http_board.h"

#include <sstream>

#include "tests/support/file_bytes.h"

using namespace std::chrono_literals;

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
  EXPECT_EQ(answer.raw, OkAnswer(answer.body));
  List list;
  std::istringstream lines(answer.body);
  for (std::string line; std::getline(lines, line, '\r');) {
    EXPECT_EQ(lines.get(), '\n') << answer.body;
    list.names.push_back(line);
  }
  std::istringstream numbers(list.names.at(0));
  list.names.erase(list.names.begin());
  for (std::string number; std::getline(numbers, number, ',');) list.numbers.push_back(std::stoi(number));
  return list;
}

HttpBoard::List HttpBoard::Poll() { return Parse(Get("/get_list")); }

std::string HttpBoard::Follow(twin::Duration settled) {
  // The answer to a request comes before the settings are saved and the shot begins.
  board.Run(50ms);
  std::string seen, last;
  const twin::Time limit = board.Now() + 30min;
  for (twin::Time quietSince = board.Now(); board.Now() < limit; board.Run(100ms)) {
    const List list = Poll();
    const std::string numbers = std::to_string(list.NeedCapture()) + "," + std::to_string(list.NeedSave());
    if (numbers != last) seen += (seen.empty() ? "" : " ") + numbers;
    last = numbers;
    if (list.Busy()) quietSince = board.Now();
    if (board.Now() - quietSince >= settled) return seen;
  }
  ADD_FAILURE() << "the shot did not end: " << seen;
  return seen;
}

std::string HttpBoard::Fetch(const std::string& name) {
  const HttpAnswer answer = Get("/get_file?filename=" + name, kBulk);
  EXPECT_TRUE(answer.raw == FileAnswer("application/octet-stream", answer.body));
  const std::string path = folder / (name + ".ori");
  PutText(path, answer.body);
  return path;
}

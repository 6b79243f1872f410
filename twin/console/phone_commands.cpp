// Commands for a phone in the camera's network.
#include <array>

#include "twin/console/console.h"

namespace twin {

namespace {

constexpr uint16_t kControlPort = 8080;
constexpr Duration kPortLimit = 10s, kAnswerLimit = 1min;

void Ask(Console& console, const Words& arguments) {
  Board& board = console.board;
  const std::string& route = arguments[0];
  if (route.empty() || route[0] != '/') throw CommandError("a route begins with a slash, as in ask /get_list");
  console.WaitUntil([&] { return board.network.Listening(kControlPort); }, kPortLimit,
                    "the camera's port to open (has it an adapter?)");
  const std::shared_ptr<Client> client = board.network.Connect(kControlPort);
  if (client == nullptr) throw ExpectationFailed("the camera takes no connection");
  client->Send("GET " + route + " HTTP/1.0\r\n\r\n");
  console.WaitUntil([&] { return client->Ended(); }, kAnswerLimit, "an answer to " + route);
  const std::string& answer = client->Received();
  const size_t body = answer.find("\r\n\r\n");
  if (body == std::string::npos) throw ExpectationFailed("the answer to " + route + " is none");
  console.out << answer.substr(body + 4) << std::endl;
}

constexpr std::array<Command, 1> kCommands = {{
    {"ask", "/ROUTE", "a phone asks the camera over HTTP; shows what it answers", 1, 1, Ask},
}};

}  // namespace

std::span<const Command> PhoneCommands() { return kCommands; }

}  // namespace twin

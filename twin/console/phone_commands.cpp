// Commands for a phone in the camera's network.
#include <algorithm>
#include <array>
#include <optional>

#include "twin/console/console.h"

namespace twin {

namespace {

constexpr uint16_t kControlPort = 8080;
constexpr Duration kPortLimit = 10s, kAnswerLimit = 1min;

void RefuseUnlessRoute(const std::string& route) {
  if (route.empty() || route[0] != '/') throw CommandError("a route begins with a slash, as in /get_list");
}

std::shared_ptr<Client> Request(Board& board, const std::string& route) {
  std::shared_ptr<Client> client = board.network.Connect(kControlPort);
  if (client == nullptr) throw ExpectationFailed("the camera takes no connection (has it an adapter, and is it up?)");
  client->Send("GET " + route + " HTTP/1.0\r\n\r\n");
  return client;
}

// Nothing if the answer has no head.
std::optional<std::string> BodyOf(const std::string& answer) {
  const size_t body = answer.find("\r\n\r\n");
  if (body == std::string::npos) return std::nullopt;
  return answer.substr(body + 4);
}

void Ask(Console& console, const Words& arguments) {
  Board& board = console.board;
  const std::string& route = arguments[0];
  RefuseUnlessRoute(route);
  console.WaitUntil([&] { return board.network.Listening(kControlPort); }, kPortLimit,
                    "the camera's port to open (has it an adapter?)");
  const std::shared_ptr<Client> client = Request(board, route);
  console.WaitUntil([&] { return client->Ended(); }, kAnswerLimit, "an answer to " + route);
  const auto body = BodyOf(client->Received());
  if (!body) throw ExpectationFailed("the answer to " + route + " is none");
  console.out << *body << std::endl;
}

// What is no text (a JPEG) is told by its length.
std::string Shown(const std::string& body) {
  const bool text = std::ranges::none_of(body, [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte == 0x7F || (byte < 0x20 && c != '\n' && c != '\r' && c != '\t') || byte >= 0x80;
  });
  return text ? body : std::to_string(body.size()) + " bytes that are no text";
}

void Phone(Console& console, const Words& arguments) {
  const std::string& route = arguments[0];
  RefuseUnlessRoute(route);
  const std::shared_ptr<Client> client = Request(console.board, route);
  console.Follow([&console, client, route, limit = console.board.Now() + kAnswerLimit] {
    if (!client->Ended() && console.board.Now() < limit) return false;
    const auto body = BodyOf(client->Received());
    console.out << "phone    " << route << ": " << (body ? Shown(*body) : "no answer") << std::endl;
    return true;
  });
}

constexpr std::array<Command, 2> kCommands = {{
    {"ask", "/ROUTE", "a phone asks the camera over HTTP; shows what it answers", 1, 1, Ask, true},
    {"phone", "/ROUTE", "the same, and time goes on by itself: the answer is shown when it comes", 1, 1, Phone},
}};

}  // namespace

std::span<const Command> PhoneCommands() { return kCommands; }

}  // namespace twin

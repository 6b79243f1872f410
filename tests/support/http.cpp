#include "tests/support/http.h"

#include <cstdlib>

namespace {

std::string Header(const HttpAnswer& answer, const std::string& name) {
  for (const std::string& line : answer.headers) {
    if (line.compare(0, name.size() + 2, name + ": ") == 0) return line.substr(name.size() + 2);
  }
  return "";
}

}  // namespace

int HttpAnswer::Status() const {
  return statusLine.size() > 9 ? static_cast<int>(std::strtol(statusLine.c_str() + 9, nullptr, 10)) : 0;
}

std::string HttpAnswer::Type() const { return Header(*this, "Content-Type"); }

int64_t HttpAnswer::ContentLength() const {
  const std::string length = Header(*this, "Content-Length");
  return length.empty() ? -1 : std::strtoll(length.c_str(), nullptr, 10);
}

HttpAnswer AnswerOf(const twin::Client& client) {
  HttpAnswer answer;
  answer.raw = client.Received();
  answer.ended = client.Ended();
  answer.reset = client.WasReset();
  size_t at = 0;
  for (bool first = true;; first = false) {
    const size_t end = answer.raw.find("\r\n", at);
    if (end == std::string::npos) return answer;
    const std::string line = answer.raw.substr(at, end - at);
    at = end + 2;
    if (line.empty()) break;
    if (first) {
      answer.statusLine = line;
    } else {
      answer.headers.push_back(line);
    }
  }
  answer.body = answer.raw.substr(at);
  return answer;
}

std::string GetText(const std::string& target) {
  return "GET " + target + " HTTP/1.1\r\nHost: 192.168.43.1:8080\r\nUser-Agent: test\r\nAccept: */*\r\n\r\n";
}

std::string PostText(const std::string& target, const std::string& body) {
  return "POST " + target + " HTTP/1.1\r\nHost: 192.168.43.1:8081\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\nContent-Type: application/octet-stream\r\n\r\n" + body;
}

bool RunUntilEnded(twin::Board& board, const twin::Client& client, twin::Duration limit) {
  return board.RunUntil([&client] { return client.Ended(); }, limit);
}

HttpAnswer Exchange(twin::Board& board, uint16_t port, const std::string& text, twin::Duration limit) {
  const auto client = board.network.Connect(port);
  if (client == nullptr) return {};
  client->Send(text);
  RunUntilEnded(board, *client, limit);
  return AnswerOf(*client);
}

HttpAnswer Get(twin::Board& board, const std::string& target, uint16_t port) {
  return Exchange(board, port, GetText(target));
}

std::string TextAnswer(const std::string& status, const std::string& body) {
  return "HTTP/1.0 " + status +
         "\r\nServer: lumhttpd/0.1.0\r\nContent-Type: text/html\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + body;
}

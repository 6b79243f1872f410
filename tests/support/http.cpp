#include "tests/support/http.h"

#include <boost/crc.hpp>
#include <cstdlib>

int HttpAnswer::Status() const {
  return raw.size() > 9 ? static_cast<int>(std::strtol(raw.c_str() + 9, nullptr, 10)) : 0;
}

HttpAnswer AnswerOf(const twin::Client& client) {
  const std::string& raw = client.Received();
  const size_t head = raw.find("\r\n\r\n");
  return {raw, head == std::string::npos ? "" : raw.substr(head + 4), client.Ended(), client.WasReset()};
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

namespace {

std::string Answer(const std::string& status, const std::string& type, const std::string& body) {
  return "HTTP/1.0 " + status + "\r\nServer: lumhttpd/0.1.0\r\nContent-Type: " + type +
         "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace

std::string TextAnswer(const std::string& status, const std::string& body) { return Answer(status, "text/html", body); }
std::string FileAnswer(const std::string& type, const std::string& body) { return Answer("200 OK", type, body); }

uint32_t Crc32(const std::string& bytes) {
  boost::crc_32_type crc;
  crc.process_bytes(bytes.data(), bytes.size());
  return crc.checksum();
}

// A client of the board's HTTP ports: raw text goes out, and what comes back is taken apart without mercy or repair.
#pragma once

#include <memory>
#include <string>

#include "twin/board.h"

constexpr uint16_t kControl = 8080;
constexpr uint16_t kBulk = 8081;

struct HttpAnswer {
  std::string raw;  // every byte that came
  std::string body;
  bool ended = false;  // the board closed the connection within the limit
  bool reset = false;  // ... and left something unread, which the client sees as a reset

  int Status() const;  // 200; 0 if there is none
};

// Takes apart what a client has received so far.
HttpAnswer AnswerOf(const twin::Client& client);

// The text of a request as a phone sends it.
std::string GetText(const std::string& target);
std::string PostText(const std::string& target, const std::string& body);

// Connects, sends, and runs the board until it has closed the connection. Nothing listens: an answer without anything.
HttpAnswer Exchange(twin::Board& board, uint16_t port, const std::string& text,
                    twin::Duration limit = std::chrono::minutes(2));
HttpAnswer Get(twin::Board& board, const std::string& target, uint16_t port = kControl);
// Runs the board until the client's connection has ended. False after `limit`.
bool RunUntilEnded(twin::Board& board, const twin::Client& client, twin::Duration limit = std::chrono::minutes(2));

// What a good text answer looks like, to the byte.
std::string TextAnswer(const std::string& status, const std::string& body);
std::string FileAnswer(const std::string& type, const std::string& body);
inline std::string OkAnswer(const std::string& body = "OK") { return TextAnswer("200 OK", body); }
inline std::string NotFoundAnswer(const std::string& body) { return TextAnswer("404 NOT FOUND", body); }
// As zlib has it; an upload's own sum.
uint32_t Crc32(const std::string& bytes);

#include "fuzz/answer.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "common/httpd/router.h"
#include "common/log.h"
#include "fuzz/memory_doors.h"

namespace fuzz {

namespace {

// Takes `text` off the front of what is left.
bool Take(std::string_view& rest, std::string_view text) {
  if (!rest.starts_with(text)) return false;
  rest.remove_prefix(text.size());
  return true;
}

std::string TakeLine(std::string_view& rest) {
  const size_t end = rest.find("\r\n");
  Require(end != std::string_view::npos, "a header line ends");
  std::string line(rest.substr(0, end));
  rest.remove_prefix(end + 2);
  return line;
}

}  // namespace

Answer ReadAnswer(bool whole) {
  Answer answer;
  std::string_view rest = wire.toClient;
  if (rest.empty() || !whole) return answer;
  Require(Take(rest, "HTTP/1.0 "), "an answer begins with its version");
  const std::string status = TakeLine(rest);
  answer.status = atoi(status.c_str());
  Require(status == "200 OK" || status == "400 BAD REQUEST" || status == "400 Bad Request" ||
              status == "404 NOT FOUND" || status == "501 Method Not Implemented",
          "one of the known status lines");
  Require(Take(rest, "Server: lumhttpd/0.1.0\r\n"), "the server's name");
  Require(Take(rest, "Content-Type: "), "a content type");
  answer.type = TakeLine(rest);
  Require(Take(rest, "Content-Length: "), "a length");
  const std::string length = TakeLine(rest);
  Require(Take(rest, "\r\n"), "an empty line behind the headers");
  Require(length == std::to_string(rest.size()), "a body as long as promised");
  answer.body = rest;
  return answer;
}

Answer Serve(const std::string& fromClient, int mode, int sendsUntilGone) {
  wire = {.fromClient = fromClient, .read = 0, .toClient = {}, .sendsUntilGone = sendsUntilGone, .closed = 0};
  g_lumoDebug = stderr;  // only a name here: the log goes nowhere
  const std::string list = signals->fileList + 16;
  accept_request(signals, kClient, static_cast<uint16_t>(mode));
  Require(wire.closed == 1, "the connection is closed once");
  Require(disk.open == 0, "no file stays open");
  Require(!disk.files.contains("/mnt/udisk/firmware_tmp"), "no half-arrived upload stays");
  Require(list == signals->fileList + 16, "the list of shots is as it was");
  Require(strnlen(signals->prefix, sizeof signals->prefix) < sizeof signals->prefix, "the prefix has its terminator");
  return ReadAnswer(sendsUntilGone < 0);
}

}  // namespace fuzz

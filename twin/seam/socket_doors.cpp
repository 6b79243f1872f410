// Doors for sockets, and for chance.
#include <sys/socket.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>

#include "twin/board.h"
#include "twin/kernel/thread_orders.h"
#include "twin/light/chance.h"
#include "twin/seam/errno_result.h"
#include "twin/transcript/transcript.h"

using twin::Board;
using twin::Transcript;
using twin::WithErrno;

namespace {

// Passes a call's result on; a failed one has its name and " failed".
template <class Result>
Result Noted(const std::string& call, Result result) {
  if (Transcript::Hears("net")) Transcript::Note("net", call + (result < 0 ? " failed" : ""));
  return result;
}

std::string Numbers(int first, int second, int third) {
  return std::to_string(first) + " " + std::to_string(second) + " " + std::to_string(third);
}

}  // namespace

extern "C" {

int twin_socket(int domain, int type, int protocol) {
  return Noted("socket " + Numbers(domain, type, protocol),
               WithErrno(Board::Current().network.Socket(domain, type, protocol)));
}

int twin_setsockopt(int descriptor, int level, int name, const void* value, socklen_t size) {
  return Noted("option " + Numbers(level, name, static_cast<int>(size)) + " " +
                   twin::HexBytes(static_cast<const uint8_t*>(value), size),
               WithErrno(Board::Current().network.SetOption(descriptor, level, name, value, size)));
}

int twin_bind(int descriptor, const sockaddr* address, socklen_t size) {
  return Noted("bind " + twin::HexBytes(reinterpret_cast<const uint8_t*>(address), size),
               WithErrno(Board::Current().network.Bind(descriptor, address, size)));
}

int twin_listen(int descriptor, int backlog) {
  return Noted("listen " + std::to_string(backlog), WithErrno(Board::Current().network.Listen(descriptor, backlog)));
}

int twin_accept(int descriptor, sockaddr* address, socklen_t* size) {
  return Noted("accept", WithErrno(Board::Current().network.Accept(descriptor, address, size)));
}

ssize_t twin_recv(int descriptor, void* data, size_t size, int flags) {
  const long got = Board::Current().network.Receive(descriptor, data, size, flags);
  if (got > 0) twin::TellWritten(data, static_cast<size_t>(got));
  return WithErrno(got);
}

ssize_t twin_send(int descriptor, const void* data, size_t size, int flags) {
  twin::TellRead(data, size);
  const long sent = Board::Current().network.Send(descriptor, data, size, flags);
  if (Transcript::Hears("net")) Noted("send " + twin::Quoted(std::string(static_cast<const char*>(data), size)), sent);
  if (sent == -EPIPE && (flags & MSG_NOSIGNAL) == 0) Board::Current().RaiseSignal(SIGPIPE);
  return WithErrno(sent);
}

// The process's own numbers, which follow from what it was seeded with.
void twin_srand(unsigned seed) { Board::Current().processChance = {seed, 0}; }
int twin_rand() {
  constexpr uint64_t kNumbers = static_cast<uint64_t>(RAND_MAX) + 1;
  auto& chance = Board::Current().processChance;
  return static_cast<int>(twin::Mixed(chance.seed ^ twin::Mixed(chance.drawn++)) % kNumbers);
}

}  // extern "C"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "twin/devices/network/connection.h"

namespace twin {

HostConnection::HostConnection(Kernel& kernel, int socket) : Connection(kernel), kernel_(kernel), socket_(socket) {}

HostConnection::~HostConnection() { Close(); }

long HostConnection::Receive(char* data, size_t size, bool peek) {
  const ssize_t got = recv(socket_, data, size, peek ? MSG_PEEK : 0);
  return got >= 0 ? got : -errno;
}

long HostConnection::Send(const char* data, size_t size) {
  const ssize_t sent = send(socket_, data, size, MSG_NOSIGNAL);
  return sent >= 0 ? sent : -errno;
}

void HostConnection::Close() {
  if (socket_ < 0) return;
  kernel_.Host().Remove(socket_);
  close(socket_);
  socket_ = -1;
}

void HostConnection::WantReceive() { Want(POLLIN); }
void HostConnection::WantSend() { Want(POLLOUT); }

// One look: the interest ends when it is met, or a socket that nobody reads would keep the board from idling.
void HostConnection::Want(short events) {
  kernel_.Host().Add(socket_, events, [this] {
    kernel_.Host().Remove(socket_);
    changed.Notify();
  });
}

}  // namespace twin

#include "twin/devices/network/host_listener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace twin {

void Network::HostListener::CheckAddress(const std::string& address) {
  in_addr parsed{};
  if (inet_pton(AF_INET, address.c_str(), &parsed) != 1) throw std::runtime_error("no IPv4 address: " + address);
}

std::unique_ptr<Network::HostListener> Network::HostListener::Open(HostPoll& host, const std::string& address,
                                                                   uint16_t port, int backlog, std::string& error) {
  sockaddr_in name{};
  name.sin_family = AF_INET;
  name.sin_port = htons(port);
  inet_pton(AF_INET, address.c_str(), &name.sin_addr);
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  const int on = 1;
  if (socket < 0 || setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
      bind(socket, reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0 || listen(socket, backlog) != 0) {
    error = address + ":" + std::to_string(port) + ": " + std::strerror(errno);
    if (socket >= 0) close(socket);
    return nullptr;
  }
  socklen_t size = sizeof name;
  getsockname(socket, reinterpret_cast<sockaddr*>(&name), &size);
  return std::unique_ptr<HostListener>(new HostListener(host, socket, ntohs(name.sin_port)));
}

Network::HostListener::HostListener(HostPoll& host, int socket, uint16_t port)
    : host_(host), socket_(socket), port_(port) {
  Admit();
}

void Network::HostListener::Admit() {
  host_.Add(socket_, POLLIN, [this] {
    const int connection = accept4(socket_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (connection < 0) return;
    host_.Remove(socket_);
    if (accepted_) {
      accepted_(connection);
    } else {
      close(connection);
    }
  });
}

Network::HostListener::~HostListener() {
  host_.Remove(socket_);
  close(socket_);
}

}  // namespace twin

// A real listening socket of the host.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "twin/devices/network/network.h"
#include "twin/kernel/host_poll.h"

namespace twin {

struct Network::HostListener {
 public:
  // Throws std::runtime_error if `address` is no IPv4 address.
  static void CheckAddress(const std::string& address);
  // Null with `error` set, a text for a person, if the port cannot be had.
  static std::unique_ptr<HostListener> Open(HostPoll& host, const std::string& address, uint16_t port, int backlog,
                                            std::string& error);
  ~HostListener();

  // `accepted` gets a new connection's socket, which does not block and is its own from then on. One; the next comes
  // after Admit, so that who waits does so in the host's backlog and takes no descriptor here.
  void OnConnection(std::function<void(int socket)> accepted) { accepted_ = std::move(accepted); }
  void Admit();
  uint16_t Port() const { return port_; }

 private:
  HostListener(HostPoll& host, int socket, uint16_t port);

  HostPoll& host_;
  int socket_;
  uint16_t port_;
  std::function<void(int)> accepted_;
};

}  // namespace twin

// One socket of the application.
#pragma once

#include <deque>
#include <memory>
#include <string>

#include "twin/devices/network/network.h"

namespace twin {

class Network::SocketFile final : public DeviceFile {
 public:
  explicit SocketFile(Network& network) : arrived(network.kernel_), network_(network) {
    network_.sockets_.insert(this);
  }
  ~SocketFile() override { Forget(); }

  void Close() override {
    if (connection != nullptr) connection->Close();
    pending.clear();
    listening = false;
    Forget();
  }

  std::string interface;    // it is bound to; empty: all
  uint16_t port = 0;        // bound
  uint16_t servedPort = 0;  // of a connection: the listener's
  bool listening = false;
  size_t room = 0;                                  // of a listener: connections that may wait to be accepted
  std::deque<std::unique_ptr<Connection>> pending;  // of a listener: not accepted yet
  WaitQueue arrived;
  std::unique_ptr<Connection> connection;

 private:
  void Forget() {
    if (network_.sockets_.erase(this) > 0) network_.UpdateHostListeners();
  }

  Network& network_;
};

}  // namespace twin

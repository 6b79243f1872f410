// TCP on the board's interfaces: listening sockets of the application, and who connects to them.
//
// Bus face: the socket calls. World face: Connect, for a peer inside the simulation; ServeOnHost, which lets the host's
// own programs in through real sockets on the loopback (real pace). Both reach a listener only while the interface
// that it is bound to is up.
// Judged: the backlog, beyond which nobody is let in and a client asks again after 1, 3, 7, ... 63 s; half-close;
// resets: by a peer, of a peer whose bytes were left unread, and in answer to bytes that nobody takes. Who sends on
// after a peer's reset has EPIPE, which the socket door makes a SIGPIPE. One stream a connection, its window bounded.
// A port can be bound to all addresses alone: the board's own is not known.
// Not judged: a client's address and interface, loss, delay, bandwidth, how bytes are put into packets; data in flight
// when an interface goes down stays where it is until it is up again.
// Faults: "net.socket", "net.option", "net.bind", "net.listen", "net.accept": Fail; "net.send", "net.receive": Fail.
#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "twin/device_file.h"
#include "twin/devices/network/connection.h"
#include "twin/devices/network/interfaces.h"
#include "twin/faults/faults.h"
#include "twin/seam/descriptors.h"

namespace twin {

class Network {
 public:
  Network(Kernel& kernel, Faults& faults, NetworkInterfaces& interfaces, Descriptors& descriptors);
  ~Network();

  // --- bus: results of the calls, or -errno. In fibers; Accept, Receive and Send wait as blocking sockets do ---
  int Socket(int domain, int type, int protocol);
  int SetOption(int descriptor, int level, int name, const void* value, socklen_t size);
  int Bind(int descriptor, const sockaddr* address, socklen_t size);
  int Listen(int descriptor, int backlog);
  int Accept(int descriptor, sockaddr* address, socklen_t* size);
  long Receive(int descriptor, void* data, size_t size, int flags);
  long Send(int descriptor, const void* data, size_t size, int flags);

  // --- world ---
  // A new client of `port`; null if nobody listens there on an interface that is up. It may have to wait to be let in.
  std::shared_ptr<Client> Connect(uint16_t port);
  bool Listening(uint16_t port) const;  // reachable: on an interface that is up
  // Opens a real listener at `address` for each of the application's listeners, while that can be reached. A board port
  // p is the host's p + `offset`. Throws std::runtime_error for an address that is none.
  void ServeOnHost(const std::string& address, int offset);
  // Whether a port could be had on the host now: empty, or a text that says why not.
  std::string TryHostPort(const std::string& address, uint16_t hostPort);
  // Called when a host listener opens or closes, or could not be opened (`error`, else empty).
  void OnHostListener(std::function<void(uint16_t hostPort, bool open, const std::string& error)> listener) {
    hostListenerChanged_ = std::move(listener);
  }
  uint64_t Accepted() const { return accepted_; }

 private:
  class SocketFile;
  struct HostListener;

  SocketFile* Find(int descriptor);
  SocketFile* ListenerOf(uint16_t port) const;
  void Knock(const std::weak_ptr<Client>& client, uint16_t port, Duration patience);
  void UpdateHostListeners();

  Kernel& kernel_;
  NetworkInterfaces& interfaces_;
  Descriptors& descriptors_;
  std::set<SocketFile*> sockets_;
  std::string hostAddress_;
  int hostOffset_ = 0;
  std::map<uint16_t, std::unique_ptr<HostListener>> hostListeners_;  // by board port
  std::function<void(uint16_t, bool, const std::string&)> hostListenerChanged_;
  uint64_t accepted_ = 0;
  FaultPoint socket_, option_, bind_, listen_, accept_, send_, receive_;
};

}  // namespace twin

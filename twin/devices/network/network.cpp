#include "twin/devices/network/network.h"

#include <net/if.h>
#include <netinet/in.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "twin/devices/network/host_listener.h"
#include "twin/devices/network/socket_file.h"

namespace twin {

namespace {

constexpr Duration kCall = 2us;           // a socket call on the device's processor
constexpr Duration kFailedAccept = 20us;  // with its trip through the error path; a loop of these must not be free
constexpr Duration kFirstPatience = 1s;   // of a client that is not let in, until it asks again; then doubled
constexpr Duration kLastPatience = 32s;
constexpr int kMostBacklog = 128;  // whatever a program asks for
constexpr uint64_t kCopyBytesPerSecond = 1'000'000'000;

Duration CopyTime(size_t size) {
  return kCall + Duration(static_cast<int64_t>(size * 1'000'000'000 / kCopyBytesPerSecond));
}

}  // namespace

Network::Network(Kernel& kernel, Faults& faults, NetworkInterfaces& interfaces, Descriptors& descriptors)
    : kernel_(kernel),
      interfaces_(interfaces),
      descriptors_(descriptors),
      socket_(faults, "net.socket", "a socket cannot be made"),
      option_(faults, "net.option", "a socket cannot be bound to its interface"),
      bind_(faults, "net.bind", "a port cannot be bound; detail: the port"),
      listen_(faults, "net.listen", "a socket cannot listen; detail: the port"),
      accept_(faults, "net.accept", "accept fails; detail: the port"),
      send_(faults, "net.send", "a send fails; detail: the port"),
      receive_(faults, "net.receive", "a receive fails; detail: the port") {
  interfaces_.OnChange([this] { UpdateHostListeners(); });
}

Network::~Network() = default;

// --- bus ---

Network::SocketFile* Network::Find(int descriptor) {
  DeviceFile* device = descriptors_.Find(descriptor);
  const auto found = std::find(sockets_.begin(), sockets_.end(), device);
  return found == sockets_.end() ? nullptr : *found;
}

int Network::Socket(int domain, int type, int protocol) {
  kernel_.Spend(kCall);
  if (const int error = socket_.AskFailure()) return -error;
  if (domain != AF_INET || type != SOCK_STREAM || protocol != 0) return -EPROTONOSUPPORT;
  auto socket = std::make_unique<SocketFile>(*this);
  return descriptors_.Adopt(std::move(socket));
}

int Network::SetOption(int descriptor, int level, int name, const void* value, socklen_t size) {
  kernel_.Spend(kCall);
  SocketFile* socket = Find(descriptor);
  if (socket == nullptr) return -EBADF;
  if (const int error = option_.AskFailure()) return -error;
  if (level != SOL_SOCKET || name != SO_BINDTODEVICE) return -ENOPROTOOPT;
  const std::string interface(static_cast<const char*>(value),
                              strnlen(static_cast<const char*>(value), std::min<size_t>(size, IFNAMSIZ)));
  if (!interfaces_.Exists(interface)) return -ENODEV;
  socket->interface = interface;
  return 0;
}

int Network::Bind(int descriptor, const sockaddr* address, socklen_t size) {
  kernel_.Spend(kCall);
  SocketFile* socket = Find(descriptor);
  if (socket == nullptr) return -EBADF;
  if (address == nullptr || size < sizeof(sockaddr_in) || address->sa_family != AF_INET) return -EINVAL;
  sockaddr_in name{};
  std::memcpy(&name, address, sizeof name);
  const uint16_t port = ntohs(name.sin_port);
  if (const int error = bind_.AskFailure(port)) return -error;
  if (name.sin_addr.s_addr != htonl(INADDR_ANY)) return -EADDRNOTAVAIL;
  if (socket->port != 0) return -EINVAL;
  if (std::any_of(sockets_.begin(), sockets_.end(), [port](const SocketFile* s) { return s->port == port; })) {
    return -EADDRINUSE;
  }
  socket->port = port;
  return 0;
}

int Network::Listen(int descriptor, int backlog) {
  kernel_.Spend(kCall);
  SocketFile* socket = Find(descriptor);
  if (socket == nullptr) return -EBADF;
  if (const int error = listen_.AskFailure(socket->port)) return -error;
  socket->listening = true;
  socket->room =
      static_cast<size_t>(backlog < 0 ? kMostBacklog : std::min(backlog, kMostBacklog)) + 1;  // Linux has one more
  UpdateHostListeners();
  return 0;
}

int Network::Accept(int descriptor, sockaddr* address, socklen_t* size) {
  SocketFile* socket = Find(descriptor);
  const int error = socket == nullptr ? EBADF : accept_.AskFailure(socket->port);
  if (error != 0 || !socket->listening) {
    kernel_.Spend(kFailedAccept);
    return -(error != 0 ? error : EINVAL);
  }
  kernel_.Spend(kCall);
  while (socket->pending.empty() && !kernel_.Dying()) socket->arrived.Wait();
  if (kernel_.Dying()) return -EINTR;
  auto accepted = std::make_unique<SocketFile>(*this);
  accepted->connection = std::move(socket->pending.front());
  socket->pending.pop_front();
  const auto host = hostListeners_.find(socket->port);
  if (socket->pending.empty() && host != hostListeners_.end()) host->second->Admit();
  accepted->servedPort = socket->port;
  accepted->interface = socket->interface;
  accepted_++;
  if (address != nullptr && size != nullptr) {
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    std::memcpy(address, &peer, std::min<size_t>(*size, sizeof peer));
    *size = sizeof peer;
  }
  return descriptors_.Adopt(std::move(accepted));
}

long Network::Receive(int descriptor, void* data, size_t size, int flags) {
  SocketFile* socket = Find(descriptor);
  if (socket == nullptr) return -EBADF;
  if (socket->connection == nullptr) return -ENOTCONN;
  kernel_.Spend(CopyTime(0));
  if (const int error = receive_.AskFailure(socket->servedPort)) return -error;
  // The socket may not be closed by others, but its fiber may be ended while it waits.
  Connection& connection = *socket->connection;
  for (;;) {
    const bool up = socket->interface.empty() || interfaces_.Up(socket->interface);
    const long got = up ? connection.Receive(static_cast<char*>(data), size, (flags & MSG_PEEK) != 0) : -EAGAIN;
    if (got != -EAGAIN || kernel_.Dying()) {
      if (got > 0) kernel_.Spend(CopyTime(static_cast<size_t>(got)) - kCall);
      return got;
    }
    connection.WantReceive();
    connection.changed.Wait(socket->interface.empty() || up ? Duration::max() : Duration(100ms));
  }
}

long Network::Send(int descriptor, const void* data, size_t size, int /*flags*/) {
  SocketFile* socket = Find(descriptor);
  if (socket == nullptr) return -EBADF;
  if (socket->connection == nullptr) return -ENOTCONN;
  kernel_.Spend(CopyTime(size));
  if (const int error = send_.AskFailure(socket->servedPort)) return -error;
  Connection& connection = *socket->connection;
  size_t sent = 0;
  for (;;) {
    const bool up = socket->interface.empty() || interfaces_.Up(socket->interface);
    const long taken = up ? connection.Send(static_cast<const char*>(data) + sent, size - sent) : -EAGAIN;
    if (taken >= 0) sent += static_cast<size_t>(taken);
    if (taken < 0 && taken != -EAGAIN) return sent > 0 ? static_cast<long>(sent) : taken;
    if (sent == size || kernel_.Dying()) return static_cast<long>(sent);
    connection.WantSend();
    connection.changed.Wait(up ? Duration::max() : Duration(100ms));
  }
}

// --- world ---

Network::SocketFile* Network::ListenerOf(uint16_t port) const {
  for (SocketFile* socket : sockets_) {
    const bool reachable = socket->interface.empty() || interfaces_.Up(socket->interface);
    if (socket->listening && socket->port == port && reachable) return socket;
  }
  return nullptr;
}

bool Network::Listening(uint16_t port) const { return ListenerOf(port) != nullptr; }

std::shared_ptr<Client> Network::Connect(uint16_t port) {
  if (ListenerOf(port) == nullptr) return nullptr;
  auto client = std::make_shared<Client>(kernel_);
  Knock(client, port, kFirstPatience);
  return client;
}

// A client asks to be let in. Where there is no room it hears nothing, and asks again after its patience.
void Network::Knock(const std::weak_ptr<Client>& client, uint16_t port, Duration patience) {
  const auto there = client.lock();
  if (there == nullptr || there->HasLeft()) return;
  SocketFile* listener = ListenerOf(port);
  if (listener != nullptr && listener->pending.size() < listener->room) {
    listener->pending.push_back(there->Accept());
    listener->arrived.Notify();
  } else if (patience <= kLastPatience) {
    kernel_.After(patience, [=, this] { Knock(client, port, 2 * patience); });
  }
}

// --- the host's loopback ---

void Network::ServeOnHost(const std::string& address, int offset) {
  HostListener::CheckAddress(address);
  hostAddress_ = address;
  hostOffset_ = offset;
  UpdateHostListeners();
}

std::string Network::TryHostPort(const std::string& address, uint16_t hostPort) {
  HostListener::CheckAddress(address);
  std::string error;
  HostListener::Open(kernel_.Host(), address, hostPort, 0, error);
  return error;
}

// The host's listeners follow the board's: what cannot be reached there cannot be reached here.
void Network::UpdateHostListeners() {
  if (hostAddress_.empty()) return;
  for (auto it = hostListeners_.begin(); it != hostListeners_.end();) {
    if (ListenerOf(it->first) != nullptr) {
      ++it;
      continue;
    }
    const uint16_t hostPort = it->second->Port();
    it = hostListeners_.erase(it);
    if (hostListenerChanged_) hostListenerChanged_(hostPort, false, "");
  }
  for (SocketFile* socket : sockets_) {
    if (!socket->listening || ListenerOf(socket->port) != socket || hostListeners_.contains(socket->port)) continue;
    const auto hostPort = static_cast<uint16_t>(socket->port + hostOffset_);
    std::string error;
    auto listener =
        HostListener::Open(kernel_.Host(), hostAddress_, hostPort, static_cast<int>(socket->room) - 2, error);
    if (listener != nullptr) {
      listener->OnConnection([this, port = socket->port](int hostSocket) {
        SocketFile* target = ListenerOf(port);
        auto connection = std::make_unique<HostConnection>(kernel_, hostSocket);
        if (target == nullptr) return;  // and the connection is closed
        target->pending.push_back(std::move(connection));
        target->arrived.Notify();
      });
      hostListeners_[socket->port] = std::move(listener);
    }
    if (hostListenerChanged_) hostListenerChanged_(hostPort, error.empty(), error);
  }
}

}  // namespace twin

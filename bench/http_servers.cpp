#include "bench/http_servers.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace {

sockaddr_in Loopback(uint16_t port) {
  sockaddr_in name{};
  name.sin_family = AF_INET;
  name.sin_port = htons(port);
  name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return name;
}

int Connect(uint16_t port) {
  const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in name = Loopback(port);
  if (connect(connection, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0) return connection;
  close(connection);
  return -1;
}

// Listens at `port`, or at any for 0. Returns the socket, or -1.
int Listen(uint16_t port) {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  const sockaddr_in name = Loopback(port);
  if (bind(listener, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0 && listen(listener, 64) == 0) {
    return listener;
  }
  close(listener);
  return -1;
}

uint16_t PortOf(int listener) {
  sockaddr_in name{};
  socklen_t size = sizeof name;
  getsockname(listener, reinterpret_cast<sockaddr*>(&name), &size);
  return ntohs(name.sin_port);
}

double OwnCpuSeconds(pid_t pid) {
  double nanoseconds = 0;
  std::ifstream{"/proc/" + std::to_string(pid) + "/schedstat"} >> nanoseconds;
  return nanoseconds * 1e-9;
}

pid_t ParentOf(const std::filesystem::path& process) {
  std::ifstream file(process / "stat");
  std::string text;
  std::getline(file, text);
  const size_t name = text.rfind(')');
  int parent = 0;
  if (name != std::string::npos) std::sscanf(text.c_str() + name + 1, " %*c %d", &parent);
  return parent;
}

}  // namespace

Server Server::Fork(std::string name, const std::function<void(int)>& handle) {
  const int listener = Listen(0);
  if (listener < 0) throw std::runtime_error("no port");
  const uint16_t port = PortOf(listener);
  const pid_t pid = fork();
  if (pid == 0) {
    std::signal(SIGPIPE, SIG_IGN);
    for (;;) {
      const int client = accept(listener, nullptr, nullptr);
      if (client >= 0) handle(client);
    }
  }
  close(listener);
  return {std::move(name), pid, port};
}

Server Server::Start(std::string name, const std::vector<std::string>& command, const std::string& input,
                     uint16_t port) {
  std::array<int, 2> pipe{};
  if (::pipe(pipe.data()) != 0) throw std::runtime_error("no pipe");
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(pipe[0], STDIN_FILENO);
    close(pipe[0]);
    close(pipe[1]);
    if (std::freopen("/dev/null", "w", stdout) == nullptr) _exit(127);
    std::vector<char*> arguments;
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  close(pipe[0]);
  const bool fed = write(pipe[1], input.data(), input.size()) == static_cast<ssize_t>(input.size());
  close(pipe[1]);
  Server server{std::move(name), pid, port};
  for (int i = 0; fed && i < 300 && waitpid(pid, nullptr, WNOHANG) == 0; i++) {
    const int connection = Connect(port);
    if (connection >= 0) {
      close(connection);
      return server;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  throw std::runtime_error(server.name + " does not start");
}

Server::Server(Server&& other) noexcept : name(other.name), port(other.port), pid_(std::exchange(other.pid_, -1)) {}

Server::~Server() {
  if (pid_ < 0) return;
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
}

double Server::CpuSeconds() const {
  double seconds = OwnCpuSeconds(pid_);
  for (const auto& process : std::filesystem::directory_iterator("/proc")) {
    if (ParentOf(process.path()) == pid_) seconds += OwnCpuSeconds(std::stoi(process.path().filename()));
  }
  return seconds;
}

uint16_t FreePort() {
  for (int i = 0; i < 50; i++) {
    const int first = Listen(0);
    const uint16_t port = PortOf(first);
    const int second = Listen(static_cast<uint16_t>(port + 1));
    close(first);
    if (second < 0) continue;
    close(second);
    return port;
  }
  throw std::runtime_error("no two free ports");
}

int64_t Ask(uint16_t port, const std::string& head, const std::string& body) {
  static std::array<char, 256 * 1024> buffer;
  const int connection = Connect(port);
  if (connection < 0) throw std::runtime_error("no connection");
  const auto send_all = [&](const std::string& data) {
    for (size_t sent = 0; sent < data.size();) {
      const ssize_t n = send(connection, data.data() + sent, data.size() - sent, MSG_NOSIGNAL);
      if (n < 0) throw std::runtime_error("the server went away");
      sent += static_cast<size_t>(n);
    }
  };
  send_all(head);
  send_all(body);
  int64_t total = 0;
  bool good = false;
  for (ssize_t n; (n = recv(connection, buffer.data(), buffer.size(), 0)) > 0; total += n) {
    if (total == 0) good = n >= 12 && std::memcmp(buffer.data(), "HTTP/1.", 7) == 0;
    if (total == 0 && good)
      good = std::memcmp(buffer.data() + 8, " 200", 4) == 0 || std::memcmp(buffer.data() + 8, " 400", 4) == 0;
  }
  close(connection);
  if (!good) throw std::runtime_error("no answer, or a strange one, to " + head.substr(0, head.find('\r')));
  return total;
}

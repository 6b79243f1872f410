// Servers of one machine that are measured side by side: each a process of its own, asked over the loopback.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

class Server {
 public:
  // A process that accepts connections one after the other and gives each to `handle`, which closes it.
  static Server Fork(std::string name, const std::function<void(int client)>& handle);
  // A program that serves at `port`; `input` is its standard input. Returns when the port answers, or throws
  // std::runtime_error after half a minute or when the program ends.
  static Server Start(std::string name, const std::vector<std::string>& command, const std::string& input,
                      uint16_t port);
  Server(Server&& other) noexcept;
  Server(const Server&) = delete;
  ~Server();  // SIGTERM, and waits for its end

  // Processor seconds so far, its children's included.
  double CpuSeconds() const;

  const std::string name;
  const uint16_t port;

 private:
  Server(std::string n, pid_t pid, uint16_t p) : name(std::move(n)), port(p), pid_(pid) {}

  pid_t pid_;
};

// A port that nobody has at the moment, with the next one free too.
uint16_t FreePort();

// Sends `head` and then `size` bytes of `body`, and reads until the server closes. Returns the bytes that came.
// Throws std::runtime_error if the answer is neither 200 nor 400 or the connection breaks.
int64_t Ask(uint16_t port, const std::string& head, const std::string& body = {});

// Browsers of this machine: answers to GET, and a WebSocket a page. HTTP and WebSocket are Boost.Beast's.
//
// Everything runs in the board's host poll, in small portions: no thread, and nothing at all while nobody asks. Bound
// to 127.0.0.1. A request whose Host, or whose Origin if it tells one, is another than this server's own gets 403, so
// that no page from elsewhere reaches the board through somebody's browser.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "twin/kernel/host_poll.h"

namespace twin::panel {

struct Answer {
  unsigned status = 200;
  std::string type = "text/plain; charset=utf-8";
  std::string text = {};                                   // the body, unless one of the next two is there
  std::shared_ptr<const std::vector<uint8_t>> bytes = {};  //
  std::filesystem::path file = {};                         // of the host; read while it is sent
  std::string saveAs = {};                                 // not empty: the browser is to save it by this name
  bool lasting = false;                                    // the browser may keep it for a day
};

// One page that is open.
class Link {
 public:
  virtual ~Link() = default;
  virtual bool Busy() const = 0;            // it has not yet taken all of what was sent last
  virtual void Send(std::string text) = 0;  // only while it is not busy
};

// All are called from the host poll. None may wait; nor may any of them destroy the server.
struct Handlers {
  std::function<Answer(const std::string& target)> get;  // path and query, as the request has them
  std::function<void(const std::shared_ptr<Link>&)> opened;
  std::function<void(const std::shared_ptr<Link>&)> closed;       // each that was opened, once
  std::function<void(Link& link, const std::string& text)> said;  // what a page has sent; at most kLongestMessage bytes
};

class WebServer {
 public:
  static constexpr size_t kLongestMessage = 4096;
  static constexpr size_t kMostConnections = 64;

  // `host` outlives it, and no Link does. Throws std::runtime_error, with a text for a person, if the port is taken.
  WebServer(HostPoll& host, uint16_t port, Handlers handlers);
  ~WebServer();
  uint16_t Port() const;

 private:
  struct Inside;
  std::unique_ptr<Inside> inside_;
};

}  // namespace twin::panel

#include "twin/panel/web_server.h"

#include <poll.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>
#include <optional>
#include <stdexcept>

namespace twin::panel {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using tcp = net::ip::tcp;
using Error = beast::error_code;
using Request = http::request<http::empty_body>;

namespace {

constexpr const char* kLivePath = "/live";
constexpr uint32_t kLongestHead = 8192;

// The page is allowed its own files and its own connection, and nothing else. Not every browser takes 'self' for the
// connection too.
std::string Policy(uint16_t port) {
  const std::string number = std::to_string(port);
  return "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self' ws://127.0.0.1:" +
         number + " ws://localhost:" + number + "; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
}

// What the connections share. Their pending operations live in its context, and end with it.
struct Core {
  HostPoll& host;
  Handlers handlers;
  uint16_t port = 0;
  size_t connections = 0;
  net::io_context context{1};
  tcp::acceptor acceptor{context};

  Core(HostPoll& poll, Handlers given) : host(poll), handlers(std::move(given)) {}

  // What is ready now, but never for long: the board is waiting.
  void Turn() {
    constexpr auto kLongest = std::chrono::milliseconds(2);
    const auto start = std::chrono::steady_clock::now();
    while (context.poll_one() > 0 && std::chrono::steady_clock::now() - start < kLongest) {
    }
  }
  void Await(int descriptor, short events) {
    host.Add(descriptor, events, [this] { Turn(); });
  }

  bool IsOwn(std::string_view authority) const {
    const std::string number = ':' + std::to_string(port);
    return authority == "127.0.0.1" + number || authority == "localhost" + number;
  }
  bool Admits(const Request& request) const {
    const auto host_ = request[http::field::host];
    if (!IsOwn({host_.data(), host_.size()})) return false;
    const auto origin = request.find(http::field::origin);
    if (origin == request.end()) return true;
    const std::string_view from(origin->value().data(), origin->value().size());
    constexpr std::string_view kScheme = "http://";
    return from.starts_with(kScheme) && IsOwn(from.substr(kScheme.size()));
  }
};

class PageLink final : public Link, public std::enable_shared_from_this<PageLink> {
 public:
  PageLink(Core& core, tcp::socket socket) : core_(core), stream_(std::move(socket)) { core_.connections++; }
  ~PageLink() override {
    core_.connections--;
    core_.host.Remove(Descriptor());
  }

  void Accept(const Request& request) {
    stream_.read_message_max(kLongestMessage_);
    core_.Await(Descriptor(), POLLIN | POLLOUT);
    stream_.async_accept(request, [self = this->shared_from_this()](Error error) {
      if (error) return;
      self->stream_.text(true);
      self->core_.handlers.opened(self);
      self->Listen();
      self->Await();
    });
  }

  bool Busy() const override { return busy_; }
  void Send(std::string text) override {
    out_ = std::move(text);
    busy_ = true;
    Await();
    stream_.async_write(net::buffer(out_), [self = this->shared_from_this()](Error error, size_t) {
      self->busy_ = false;
      if (!error && !self->closed_) self->Await();
    });
  }

 private:
  static constexpr size_t kLongestMessage_ = WebServer::kLongestMessage;
  int Descriptor() { return stream_.next_layer().native_handle(); }
  void Await() { core_.Await(Descriptor(), static_cast<short>(busy_ ? POLLIN | POLLOUT : POLLIN)); }
  void Listen() {
    stream_.async_read(in_, [self = this->shared_from_this()](Error error, size_t) {
      if (error) return self->Close();
      const std::string text = beast::buffers_to_string(self->in_.data());
      self->in_.consume(self->in_.size());
      self->core_.handlers.said(*self, text);
      self->Listen();
    });
  }
  // Also ends a write that is under way.
  void Close() {
    closed_ = true;
    core_.host.Remove(Descriptor());
    core_.handlers.closed(this->shared_from_this());
    Error ignored;
    stream_.next_layer().close(ignored);
  }

  Core& core_;
  beast::websocket::stream<tcp::socket> stream_;
  beast::flat_buffer in_;
  std::string out_;
  bool busy_ = false, closed_ = false;
};

// One connection, request by request.
class Connection final : public std::enable_shared_from_this<Connection> {
 public:
  Connection(Core& core, tcp::socket socket) : core_(core), socket_(std::move(socket)) { core_.connections++; }
  ~Connection() {
    core_.connections--;
    if (socket_.is_open()) core_.host.Remove(socket_.native_handle());
  }

  void Read() {
    parser_.emplace();
    parser_->header_limit(kLongestHead);
    core_.Await(socket_.native_handle(), POLLIN);
    http::async_read(socket_, buffer_, *parser_, [self = this->shared_from_this()](Error error, size_t) {
      if (!error) self->Treat(self->parser_->release());
    });
  }

 private:
  void Treat(Request request) {
    if (!core_.Admits(request))
      return Send(request, {.status = 403, .text = "Host or Origin is not this server's own.\n"});
    if (beast::websocket::is_upgrade(request)) {
      if (request.target() != kLivePath) return Send(request, {.status = 404, .text = "There is no such path.\n"});
      core_.host.Remove(socket_.native_handle());
      return std::make_shared<PageLink>(core_, std::move(socket_))->Accept(request);
    }
    if (request.method() != http::verb::get) return Send(request, {.status = 405, .text = "Only GET.\n"});
    Send(request, core_.handlers.get(std::string(request.target())));
  }

  void Send(const Request& request, Answer answer) {
    if (!answer.file.empty()) {
      http::response<http::file_body> response;
      Error error;
      response.body().open(answer.file.c_str(), beast::file_mode::scan, error);
      if (error) return Send(request, {.status = 404, .text = "The file cannot be read.\n"});
      return Write(request, answer, std::move(response));
    }
    if (answer.bytes) {
      http::response<http::span_body<const uint8_t>> response;
      response.body() = {answer.bytes->data(), answer.bytes->size()};
      return Write(request, answer, std::move(response));
    }
    http::response<http::string_body> response;
    response.body() = answer.text;
    Write(request, answer, std::move(response));
  }

  template <class Body>
  void Write(const Request& request, const Answer& answer, http::response<Body> made) {
    const auto response = std::make_shared<http::response<Body>>(std::move(made));
    response->version(request.version());
    response->result(answer.status);
    response->set(http::field::content_type, answer.type);
    response->set(http::field::cache_control, answer.lasting ? "private, max-age=86400" : "no-store");
    response->set("Content-Security-Policy", Policy(core_.port));
    response->set("Cross-Origin-Resource-Policy", "same-origin");
    response->set("Referrer-Policy", "no-referrer");
    response->set("X-Content-Type-Options", "nosniff");
    if (!answer.saveAs.empty())
      response->set(http::field::content_disposition, "attachment; filename=\"" + answer.saveAs + '"');
    response->keep_alive(request.keep_alive());
    response->prepare_payload();
    core_.Await(socket_.native_handle(), POLLOUT);
    http::async_write(socket_, *response,
                      [self = this->shared_from_this(), response, bytes = answer.bytes](Error error, size_t) {
                        if (!error && response->keep_alive()) self->Read();
                      });
  }

  Core& core_;
  tcp::socket socket_;
  beast::flat_buffer buffer_;
  std::optional<http::request_parser<http::empty_body>> parser_;
};

void AcceptNext(Core& core) {
  core.acceptor.async_accept([&core](Error error, tcp::socket socket) {
    if (!error && core.connections < WebServer::kMostConnections) {
      Error ignored;
      socket.set_option(tcp::no_delay(true), ignored);
      std::make_shared<Connection>(core, std::move(socket))->Read();
    }
    AcceptNext(core);
  });
}

}  // namespace

struct WebServer::Inside : Core {
  using Core::Core;
};

WebServer::WebServer(HostPoll& host, uint16_t port, Handlers handlers)
    : inside_(std::make_unique<Inside>(host, std::move(handlers))) {
  const tcp::endpoint place(net::ip::address_v4::loopback(), port);
  try {
    inside_->acceptor.open(place.protocol());
    inside_->acceptor.set_option(tcp::acceptor::reuse_address(true));
    inside_->acceptor.bind(place);
    inside_->acceptor.listen();
  } catch (const boost::system::system_error& error) {
    throw std::runtime_error("127.0.0.1:" + std::to_string(port) + ": " + error.code().message() +
                             " (--panel N chooses another port)");
  }
  inside_->port = inside_->acceptor.local_endpoint().port();
  inside_->Await(inside_->acceptor.native_handle(), POLLIN);
  AcceptNext(*inside_);
}

WebServer::~WebServer() { inside_->host.Remove(inside_->acceptor.native_handle()); }

uint16_t WebServer::Port() const { return inside_->port; }

}  // namespace twin::panel

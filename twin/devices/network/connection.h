// One TCP connection, seen from the board's end. Never waits: who waits stands in `changed`.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "twin/kernel/kernel.h"

namespace twin {

class Connection {
 public:
  explicit Connection(Kernel& kernel) : changed(kernel) {}
  virtual ~Connection() = default;

  // Bytes read (peek: and left in place), 0 when the peer has sent all that it will, -EAGAIN when there is nothing yet,
  // -ECONNRESET once after a reset.
  virtual long Receive(char* data, size_t size, bool peek) = 0;
  // Bytes taken, possibly fewer than `size`; -EAGAIN when there is no room, -ECONNRESET once after a reset, then
  // -EPIPE.
  virtual long Send(const char* data, size_t size) = 0;
  // The board's end is closed. Data that was not read makes it a reset, which also takes what is still on its way.
  virtual void Close() = 0;
  // Somebody is about to wait in `changed` for one of these.
  virtual void WantReceive() {}
  virtual void WantSend() {}

  WaitQueue changed;
};

// A peer inside the simulation: deterministic, for tests. Its calls are made from the host side or from actions.
class Client {
 public:
  explicit Client(Kernel& kernel) : kernel_(kernel) {}
  ~Client() { *alive_ = false; }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // --- the peer ---
  void Send(std::string_view data);
  void CloseSending();  // half-close: the board reads to the end, answers still arrive
  void Close();         // what arrives from now on is answered by a reset
  void Reset();
  bool HasLeft() const { return closed_ || reset_; }
  // Reads only so much a second from now on; 0 reads nothing, as a client that stalls. At first: all at once.
  void ReadSlowly(uint64_t bytesPerSecond);
  const std::string& Received() const { return received_; }
  size_t Unread() const { return window_.size(); }                // sent by the board, not read by this client yet
  size_t TakenByBoard() const { return read_; }                   // of what was sent
  bool IsIn() const { return isIn_; }                             // the board has let it in, accepted or not
  bool Ended() const { return boardClosed_ && window_.empty(); }  // the board has closed, and all was read
  bool WasReset() const { return boardReset_; }

  // The board's end of it, once it is let in. One, and only once.
  std::unique_ptr<Connection> Accept();

 private:
  friend class MemoryConnection;
  static constexpr size_t kWindow = 64 * 1024;  // what the board may send ahead of a slow reader

  void Drain();
  void Tell();
  void ReceiveReset();

  Kernel& kernel_;
  WaitQueue* changed_ = nullptr;  // of the board's end, while it exists
  std::string toBoard_;           // sent, not read by the board yet
  size_t read_ = 0;               // of toBoard_
  std::string window_;            // sent by the board, not read yet
  std::string received_;
  bool isIn_ = false;
  bool sendingClosed_ = false, closed_ = false, reset_ = false;
  int resetError_ = 0;  // what the board is told of the reset
  bool boardClosed_ = false, boardReset_ = false;
  bool slow_ = false, draining_ = false;
  uint64_t bytesPerSecond_ = 0;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

// A real socket of the host: for people and programs, in real pace.
class HostConnection final : public Connection {
 public:
  HostConnection(Kernel& kernel, int socket);  // takes the socket, which must not block
  ~HostConnection() override;
  long Receive(char* data, size_t size, bool peek) override;
  long Send(const char* data, size_t size) override;
  void Close() override;
  void WantReceive() override;
  void WantSend() override;

 private:
  void Want(short events);

  Kernel& kernel_;
  int socket_;
};

}  // namespace twin

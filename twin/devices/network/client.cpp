#include <algorithm>
#include <cerrno>
#include <utility>

#include "twin/devices/network/connection.h"

namespace twin {

namespace {
constexpr Duration kDrainPeriod = 10ms;
}

// The board's end of a connection to a Client. The client may be gone before it.
class MemoryConnection final : public Connection {
 public:
  MemoryConnection(Kernel& kernel, Client& client) : Connection(kernel), client_(client), alive_(client.alive_) {
    client_.changed_ = &changed;
  }
  ~MemoryConnection() override { Close(); }

  long Receive(char* data, size_t size, bool peek) override {
    const size_t there = *alive_ ? client_.toBoard_.size() - client_.read_ : 0;
    if (there == 0 && IsReset()) return -TakeError(0);
    if (there == 0) return client_.sendingClosed_ || client_.closed_ ? 0 : -EAGAIN;
    const size_t taken = std::min(size, there);
    client_.toBoard_.copy(data, taken, client_.read_);
    if (!peek) client_.read_ += taken;
    return static_cast<long>(taken);
  }

  long Send(const char* data, size_t size) override {
    if (IsReset()) return -TakeError(EPIPE);
    if (client_.closed_) {  // the first is gone, and answered by a reset, which is seen from then on
      client_.reset_ = true;
      client_.resetError_ = EPIPE;
      return static_cast<long>(size);
    }
    if (!client_.slow_) {
      client_.received_.append(data, size);
      return static_cast<long>(size);
    }
    const size_t room = Client::kWindow - std::min(Client::kWindow, client_.window_.size());
    if (size > 0 && room == 0) return -EAGAIN;
    client_.window_.append(data, std::min(size, room));
    client_.Drain();
    return static_cast<long>(std::min(size, room));
  }

  void Close() override {
    if (closed_ || !*alive_) return;
    closed_ = true;
    client_.boardClosed_ = true;
    if (client_.read_ < client_.toBoard_.size()) client_.ReceiveReset();
    client_.changed_ = nullptr;
  }

 private:
  bool IsReset() const { return !*alive_ || client_.reset_; }
  // A reset is told once, by the call that comes next.
  int TakeError(int afterwards) {
    if (std::exchange(isTold_, true)) return afterwards;
    return *alive_ ? client_.resetError_ : ECONNRESET;
  }

  Client& client_;
  std::shared_ptr<bool> alive_;
  bool closed_ = false;
  bool isTold_ = false;
};

std::unique_ptr<Connection> Client::Accept() {
  isIn_ = true;
  return std::make_unique<MemoryConnection>(kernel_, *this);
}

// What was sent to the client and not read yet is gone with it.
void Client::ReceiveReset() {
  boardReset_ = true;
  window_.clear();
}

void Client::Tell() {
  if (changed_ != nullptr) changed_->Notify();
}

void Client::Send(std::string_view data) {
  if (boardClosed_) {
    ReceiveReset();
  } else {
    toBoard_ += data;
  }
  Tell();
}

void Client::CloseSending() {
  sendingClosed_ = true;
  Tell();
}

void Client::Close() {
  closed_ = true;
  Tell();
}

void Client::Reset() {
  reset_ = true;
  resetError_ = ECONNRESET;
  Tell();
}

void Client::ReadSlowly(uint64_t bytesPerSecond) {
  slow_ = true;
  bytesPerSecond_ = bytesPerSecond;
  Drain();
}

// Reads what the rate allows, every so often, as long as something is there.
void Client::Drain() {
  if (draining_ || bytesPerSecond_ == 0 || window_.empty()) return;
  draining_ = true;
  kernel_.After(kDrainPeriod, [this, alive = alive_] {
    if (!*alive) return;
    draining_ = false;
    const auto amount = static_cast<size_t>(bytesPerSecond_ * static_cast<uint64_t>(kDrainPeriod / 1ms) / 1000);
    const size_t taken = std::min(window_.size(), std::max<size_t>(amount, 1));
    received_.append(window_, 0, taken);
    window_.erase(0, taken);
    Tell();
    Drain();
  });
}

}  // namespace twin

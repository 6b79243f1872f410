#include "twin/kernel/watchdog.h"

#include <cstdio>

namespace twin {

Kernel::Watchdog::Watchdog(const std::atomic<uint64_t>& doorCalls)
    : doorCalls_(doorCalls), thread_([this] { Watch(); }) {}

Kernel::Watchdog::~Watchdog() {
  {
    std::lock_guard lock(mutex_);
    end_ = true;
  }
  ended_.notify_one();
  thread_.join();
}

void Kernel::Watchdog::Enter(const std::string& fiber) { running_.store(fiber.c_str(), std::memory_order_release); }

void Kernel::Watchdog::Leave() { running_.store(nullptr, std::memory_order_release); }

void Kernel::Watchdog::Watch() {
  std::unique_lock lock(mutex_);
  uint64_t seen = 0;
  const char* stuck = nullptr;
  int rounds = 0;
  bool told = false;
  while (!ended_.wait_for(lock, std::chrono::milliseconds(250), [this] { return end_; })) {
    const char* running = running_.load(std::memory_order_acquire);
    const uint64_t calls = doorCalls_.load(std::memory_order_relaxed);
    if (running == nullptr || running != stuck || calls != seen) {
      rounds = 0;
      told = false;
    } else if (++rounds >= 4 && !told) {
      // The name is the fiber's own, and the fiber is the one that stands here: it cannot go away meanwhile.
      fprintf(stderr, "board: thread \"%s\" has run for more than a second without a call to the outside\n", running);
      told = true;
    }
    stuck = running;
    seen = calls;
  }
}

}  // namespace twin

#include "twin/kernel/watchdog.h"

#include <pthread.h>

#include <cstdio>

namespace twin {
namespace {

clockid_t ClockOfThisThread() {
  clockid_t clock = CLOCK_PROCESS_CPUTIME_ID;
  pthread_getcpuclockid(pthread_self(), &clock);
  return clock;
}

}  // namespace

Kernel::Watchdog::Watchdog(const std::atomic<uint64_t>& doorCalls)
    : host_(ClockOfThisThread()), doorCalls_(doorCalls), thread_([this] { Watch(); }) {}

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

double Kernel::Watchdog::HostSeconds() const {
  timespec now{};
  clock_gettime(host_, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

void Kernel::Watchdog::Watch() {
  std::unique_lock lock(mutex_);
  uint64_t seen = 0;
  const char* stuck = nullptr;
  double since = 0;
  bool told = false;
  while (!ended_.wait_for(lock, std::chrono::milliseconds(250), [this] { return end_; })) {
    const char* running = running_.load(std::memory_order_acquire);
    const uint64_t calls = doorCalls_.load(std::memory_order_relaxed);
    if (running == nullptr || running != stuck || calls != seen) {
      since = HostSeconds();
      told = false;
    } else if (HostSeconds() - since > 1 && !told) {
      // The name is the fiber's own, and the fiber is the one that stands here: it cannot go away meanwhile.
      fprintf(stderr, "board: thread \"%s\" has run for more than a second without a call to the outside\n", running);
      told = true;
    }
    stuck = running;
    seen = calls;
  }
}

}  // namespace twin

// Notices a fiber that spins without ever going through a door: the clock stands still and nothing else can run.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "twin/kernel/kernel.h"

namespace twin {

struct Kernel::Watchdog {
  // `doorCalls` counts doors. Reports on standard error, once a fiber, after a second without one.
  explicit Watchdog(const std::atomic<uint64_t>& doorCalls);
  ~Watchdog();
  void Enter(const std::string& fiber);  // the fiber begins or goes on to run
  void Leave();

 private:
  void Watch();

  const std::atomic<uint64_t>& doorCalls_;
  std::atomic<const char*> running_{nullptr};
  std::mutex mutex_;
  std::condition_variable ended_;
  bool end_ = false;
  std::thread thread_;
};

}  // namespace twin

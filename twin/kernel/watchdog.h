// Notices a fiber that spins without ever going through a door: the clock stands still and nothing else can run.
#pragma once

#include <ctime>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "twin/kernel/kernel.h"

namespace twin {

struct Kernel::Watchdog {
  // Made on the thread that runs the fibers. `doorCalls` counts doors. Reports on standard error, once a fiber, after a
  // second of that thread's processor time without one: a busy host makes nobody spin.
  explicit Watchdog(const std::atomic<uint64_t>& doorCalls);
  ~Watchdog();
  void Enter(const std::string& fiber);  // the fiber begins or goes on to run
  void Leave();

 private:
  void Watch();
  double HostSeconds() const;

  clockid_t host_;
  const std::atomic<uint64_t>& doorCalls_;
  std::atomic<const char*> running_{nullptr};
  std::mutex mutex_;
  std::condition_variable ended_;
  bool end_ = false;
  std::thread thread_;
};

}  // namespace twin

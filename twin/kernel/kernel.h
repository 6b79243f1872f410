// The board's time. One host thread runs everything: each application thread is a fiber, each wait an event.
//
// Time moves only in doors, the calls that leave the application: a sleep moves it by its length, a register access
// or a disk write by what it would cost on the board. Between two doors no time passes.
//
// Two contexts. A *fiber* runs application code and may Spend, Wait and be killed. The *scheduler* runs Run, RunUntil
// and the actions given to At; actions must not wait.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "twin/kernel/host_poll.h"

namespace twin {

using namespace std::chrono_literals;

using Duration = std::chrono::nanoseconds;
using Time = std::chrono::nanoseconds;  // since the board was built; goes on while its power is off

struct Fiber;

// Thrown through a fiber's stack to end it. Never catch it.
struct FiberKilled {};

enum class Pace {
  Free,  // time jumps from event to event: tests
  Real,  // the host's clock is waited for: a person looks
};

class Kernel {
 public:
  using EventId = uint64_t;

  explicit Kernel(uint64_t seed = 0, Pace pace = Pace::Free);
  ~Kernel();
  Kernel(const Kernel&) = delete;
  Kernel& operator=(const Kernel&) = delete;

  Time Now() const { return now_; }

  // Calls `action` in the scheduler at `when`, or at once if that has passed. Equal times run in order of request,
  // unless Explore has been called. Cancelling an event that has run is harmless.
  EventId At(Time when, std::function<void()> action);
  EventId After(Duration delay, std::function<void()> action) { return At(now_ + delay, std::move(action)); }
  void Cancel(EventId id);

  // Starts a fiber at the present time. The kernel owns it until its body returns or KillFibers.
  Fiber* Spawn(std::string name, std::function<void()> body);
  bool Finished(const Fiber* fiber) const;  // true also for a fiber that no longer exists

  // For fibers: lets `cost` of board time pass. Others run meanwhile if they have something to do by then.
  void Spend(Duration cost) {
    const Time target = now_ + cost;
    doorCalls_.store(doorCalls_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    if (target < horizon_ && current_ != nullptr && !exploring_) {
      now_ = target;
    } else {
      SpendSlowly(target);
    }
  }
  bool InFiber() const { return current_ != nullptr; }
  const std::string& FiberName() const;  // of the calling one; "board" for the scheduler

  // How deep the stack of each living fiber has been, in bytes, in order of their starts.
  struct StackDepth {
    std::string fiber;
    size_t bytes;
  };
  std::vector<StackDepth> StackDepths() const;

  // Ends every fiber where it stands: the power is gone. Their stacks are unwound, so that the host loses no memory;
  // doors that are reached while unwinding do nothing (see Dying). From a fiber, this does not return: it throws
  // FiberKilled, which only the kernel catches.
  void KillFibers();
  // Ends the calling fiber where it stands. Does not return.
  [[noreturn]] void EndFiber();
  // True while the calling fiber is being unwound.
  bool Dying() const;

  // Runs the board; for the host side only, never from a fiber or an action.
  void Run(Duration length);
  // Runs until `done` holds, looked at after each event and at least once a millisecond of board time, or until
  // `limit` has passed. Returns whether `done` held.
  bool RunUntil(const std::function<bool()>& done, Duration limit);
  // Makes Run and RunUntil return after the present event.
  void Interrupt() { interrupted_ = true; }

  // From now on, equal-time events run in an order drawn from the seed, and any door may let others run first.
  void Explore() { exploring_ = true; }

  // Host descriptors that the board listens to while it has nothing to do, and every few milliseconds of the host's
  // time when it has.
  HostPoll& Host() { return host_; }

  // From now on. For the host side, and for what the host poll calls.
  void SetPace(Pace pace);
  Pace PresentPace() const { return pace_; }
  // When something is due next; nothing if nothing ever is.
  std::optional<Time> NextEvent();

  // Called in the scheduler each time a fiber has run and waits or has returned, unless it is being unwound. Must not
  // wait.
  void AfterEachTurn(std::function<void(const Fiber* fiber)> listener) { turnListener_ = std::move(listener); }

  uint64_t Random();  // from the seed; the only source of chance on the board
  uint64_t Switches() const { return switches_; }

 private:
  friend class WaitQueue;
  struct Events;
  struct Watchdog;

  void SpendSlowly(Time target);
  void SwitchOut();  // the current fiber gives the host thread back until it is resumed
  void WakeAt(Time when, Fiber* fiber);
  void Resume(Fiber* fiber);
  bool RunNext();
  void UpdateHorizon();
  bool WaitForHost(Time until);
  void ListenToHost(std::chrono::steady_clock::time_point now);
  void Reap();

  Time now_{0};
  Time horizon_{0};  // first moment at which something else is due; a Spend that ends before it needs no switch
  Time limit_{0};    // where the present Run ends
  Time slice_{0};    // where RunUntil wants to look at its condition again
  bool exploring_ = false;
  bool interrupted_ = false;
  std::atomic<uint64_t> doorCalls_{0};  // written by the board's thread, read by the watchdog
  uint64_t switches_ = 0;
  uint64_t order_ = 0;
  uint64_t random_;
  Fiber* current_ = nullptr;
  Pace pace_;
  HostPoll host_;
  std::chrono::steady_clock::time_point lastPoll_;
  std::vector<std::unique_ptr<Fiber>> fibers_;
  std::unique_ptr<Events> events_;
  std::unique_ptr<Watchdog> watchdog_;
  std::function<void(const Fiber*)> turnListener_;
  std::chrono::steady_clock::time_point hostAnchor_;  // real pace: the host's time ...
  Time boardAnchor_{0};                               // ... at this time of the board
};

// Fibers that wait for one thing.
class WaitQueue {
 public:
  explicit WaitQueue(Kernel& kernel) : kernel_(kernel) {}
  // For fibers: until Notify, or until `limit` of board time has passed. Returns true if notified.
  bool Wait(Duration limit);
  void Wait();  // without limit
  // The same on several queues at once; true if one of them was notified.
  static bool WaitAny(Kernel& kernel, const std::vector<WaitQueue*>& queues, Duration limit);
  // Wakes all that wait, at the present time. From anywhere.
  void Notify();

 private:
  friend class Kernel;
  Kernel& kernel_;
  std::vector<Fiber*> waiting_;
};

}  // namespace twin

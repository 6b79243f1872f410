#include "twin/kernel/kernel.h"

#include <unistd.h>

#include <algorithm>
#include <boost/context/protected_fixedsize_stack.hpp>
#include <cerrno>
#include <queue>
#include <thread>
#include <unordered_map>

#include "twin/kernel/fiber.h"
#include "twin/kernel/watchdog.h"

namespace twin {

namespace {

constexpr size_t kStackSize = 1 << 20;  // the record of all threads and the shot's state are locals of the main thread
constexpr Time kNever = Time::max();
constexpr Duration kForever = Duration::max();

// Boost's protected stack, remembering where it lies for the sanitizer.
struct NotedStack {
  Fiber* fiber;
  boost::context::protected_fixedsize_stack inner{kStackSize};
  boost::context::stack_context allocate() {
    auto stack = inner.allocate();
    fiber->stackBottom = static_cast<char*>(stack.sp) - stack.size;
    fiber->stackSize = stack.size;
    return stack;
  }
  void deallocate(boost::context::stack_context& stack) {
    ForgetStack(static_cast<char*>(stack.sp) - stack.size, stack.size);
    inner.deallocate(stack);
  }
};

uint64_t NextRandom(uint64_t& state) {  // splitmix64
  uint64_t z = state += 0x9E3779B97F4A7C15u;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
  return z ^ (z >> 31);
}

}  // namespace

struct Kernel::Events {
  struct Event {
    Time at;
    uint64_t rank;    // among equal times
    Fiber* fiber;     // to wake, or null: an action
    uint64_t ticket;  // the fiber's ticket, or the action's number
    bool operator<(const Event& other) const { return at != other.at ? at > other.at : rank > other.rank; }
  };
  std::priority_queue<Event> queue;
  std::unordered_map<EventId, std::function<void()>> actions;
  boost::context::fiber scheduler;  // set while a fiber runs
  const void* schedulerBottom = nullptr;
  size_t schedulerSize = 0;
  void* schedulerFakeStack = nullptr;
  SeenThread schedulerThread = nullptr;
};

Kernel::Kernel(uint64_t seed, Pace pace)
    : random_(seed), pace_(pace), events_(std::make_unique<Events>()), hostAnchor_(std::chrono::steady_clock::now()) {
  watchdog_ = std::make_unique<Watchdog>(doorCalls_);
}

Kernel::~Kernel() { KillFibers(); }

uint64_t Kernel::Random() { return NextRandom(random_); }

// --- events ---

Kernel::EventId Kernel::At(Time when, std::function<void()> action) {
  const EventId id = ++order_;
  events_->actions.emplace(id, std::move(action));
  events_->queue.push({std::max(when, now_), exploring_ ? Random() : order_, nullptr, id});
  horizon_ = std::min(horizon_, std::max(when, now_));
  return id;
}

void Kernel::Cancel(EventId id) { events_->actions.erase(id); }

void Kernel::WakeAt(Time when, Fiber* fiber) {
  fiber->ticket = ++order_;
  fiber->pending++;
  events_->queue.push({when, exploring_ ? Random() : order_, fiber, fiber->ticket});
  horizon_ = std::min(horizon_, when);
}

// --- fibers ---

const std::string& Kernel::FiberName() const {
  static const std::string scheduler = "board";
  return current_ == nullptr ? scheduler : current_->name;
}

Fiber* Kernel::Spawn(std::string name, std::function<void()> body) {
  auto owned = std::make_unique<Fiber>();
  Fiber* fiber = owned.get();
  fiber->name = std::move(name);
  fiber->body = std::move(body);
  fiber->thread = BeginThread();
  fiber->context =
      boost::context::fiber(std::allocator_arg, NotedStack{fiber}, [this, fiber](boost::context::fiber&& from) {
        AfterSwitch(nullptr, &events_->schedulerBottom, &events_->schedulerSize);
        events_->scheduler = std::move(from);
        if (!fiber->dying) {
          try {
            fiber->body();
          } catch (const FiberKilled&) {
          }
        }
        fiber->done = true;
        Release(fiber);
        BeforeSwitch(nullptr, events_->schedulerBottom, events_->schedulerSize);  // this stack is not coming back
        EnterThread(events_->schedulerThread);
        return std::move(events_->scheduler);
      });
  fibers_.push_back(std::move(owned));
  WakeAt(now_, fiber);
  return fiber;
}

bool Kernel::Finished(const Fiber* fiber) const {
  const auto found = std::find_if(fibers_.begin(), fibers_.end(), [fiber](const auto& f) { return f.get() == fiber; });
  return found == fibers_.end() || (*found)->done;
}

// A fresh stack is zero, and what has been written on it hardly ever is all zero again: the deepest trace tells. Its
// lowest page is the guard.
std::vector<Kernel::StackDepth> Kernel::StackDepths() const {
  std::vector<StackDepth> depths;
  for (const auto& fiber : fibers_) {
    if (fiber->done) continue;
    const char* bottom = static_cast<const char*>(fiber->stackBottom);
    const char* top = bottom + fiber->stackSize;
    const char* trace = std::find_if(bottom + sysconf(_SC_PAGESIZE), top, [](char byte) { return byte != 0; });
    depths.push_back({fiber->name, static_cast<size_t>(top - trace)});
  }
  return depths;
}

bool Kernel::Dying() const { return current_ != nullptr && current_->dying; }

void Kernel::Resume(Fiber* fiber) {
  current_ = fiber;
  switches_++;
  watchdog_->Enter(fiber->name);
  const int hostErrno = errno;
  errno = fiber->savedErrno;
  BeforeSwitch(&events_->schedulerFakeStack, fiber->stackBottom, fiber->stackSize);
  events_->schedulerThread = PresentThread();
  EnterThread(fiber->thread);
  fiber->context = std::move(fiber->context).resume();
  AfterSwitch(events_->schedulerFakeStack, nullptr, nullptr);
  if (fiber->done) {
    Acquire(fiber);
    EndThread(fiber->thread);
  }
  errno = hostErrno;
  watchdog_->Leave();
  current_ = nullptr;
  if (turnListener_ && !fiber->dying) turnListener_(fiber);
}

void Kernel::SwitchOut() {
  Fiber* self = current_;
  if (self->dying) return;  // unwinding: nothing waits any more
  self->savedErrno = errno;
  BeforeSwitch(&self->fakeStack, events_->schedulerBottom, events_->schedulerSize);
  EnterThread(events_->schedulerThread);
  events_->scheduler = std::move(events_->scheduler).resume();
  AfterSwitch(self->fakeStack, &events_->schedulerBottom, &events_->schedulerSize);
  errno = self->savedErrno;
  if (self->dying) throw FiberKilled{};
}

void Kernel::SpendSlowly(Time target) {
  if (current_ == nullptr || current_->dying) return;  // host side, or unwinding: no time passes
  if (exploring_ && target < horizon_ && Random() % 16 != 0) {
    now_ = target;
    return;
  }
  WakeAt(target, current_);
  SwitchOut();
}

void Kernel::KillFibers() {
  horizon_ = Time{0};  // a Spend while unwinding must not move time
  for (auto& fiber : fibers_) fiber->dying = !fiber->done;
  if (current_ != nullptr) throw FiberKilled{};
  Reap();
}

void Kernel::EndFiber() {
  current_->dying = true;
  throw FiberKilled{};
}

// Unwinds the fibers that are to die, and drops those that are done and that no event names any more.
void Kernel::Reap() {
  for (size_t i = 0; i < fibers_.size(); i++) {
    if (fibers_[i]->dying && !fibers_[i]->done) Resume(fibers_[i].get());
  }
  std::erase_if(fibers_, [](const auto& fiber) { return fiber->done && fiber->pending == 0; });
}

// --- running ---

void Kernel::UpdateHorizon() {
  const Time next = events_->queue.empty() ? kNever : events_->queue.top().at;
  horizon_ = std::min({next, limit_ + Time(1), slice_});
}

// Runs the next event, if there is one up to the limit. Otherwise time moves to the limit.
bool Kernel::RunNext() {
  const bool none = events_->queue.empty() || events_->queue.top().at > limit_;
  const Time next = none ? limit_ : events_->queue.top().at;
  if (pace_ == Pace::Real) {
    if (!WaitForHost(next)) return true;
  } else if (!host_.Empty()) {
    ListenToHost(std::chrono::steady_clock::now());
  }
  if (next > now_) now_ = next;
  if (none) return false;
  const Events::Event event = events_->queue.top();
  events_->queue.pop();
  UpdateHorizon();
  if (event.fiber == nullptr) {
    const auto found = events_->actions.find(event.ticket);
    if (found == events_->actions.end()) return true;  // cancelled
    const auto action = std::move(found->second);
    events_->actions.erase(found);
    action();
    return true;
  }
  Fiber* fiber = event.fiber;
  fiber->pending--;
  if (!fiber->done && fiber->ticket == event.ticket) Resume(fiber);
  if (fiber->done || fiber->dying) Reap();
  return true;
}

void Kernel::Run(Duration length) {
  interrupted_ = false;
  limit_ = now_ + length;
  slice_ = kNever;
  UpdateHorizon();
  while (!interrupted_ && RunNext()) {
  }
}

bool Kernel::RunUntil(const std::function<bool()>& done, Duration limit) {
  constexpr Duration kLookAgain = 1ms;
  interrupted_ = false;
  limit_ = now_ + limit;
  while (!done()) {
    slice_ = now_ + kLookAgain;
    UpdateHorizon();
    if (interrupted_ || !RunNext()) return done();
  }
  return true;
}

// True when the host's clock has come so far; false after an idle stretch in which something may have happened.
bool Kernel::WaitForHost(Time until) {
  constexpr Duration kLongestIdle = 20ms;
  constexpr Duration kTooLate = 100ms;
  const auto host = std::chrono::steady_clock::now();
  const Time wanted = std::chrono::duration_cast<Time>(host - hostAnchor_) + boardAnchor_;
  if (wanted >= until) {
    if (wanted - until > kTooLate) {  // the host is too slow: the board runs late rather than hurrying after it
      hostAnchor_ = host;
      boardAnchor_ = until;
    }
    ListenToHost(host);
    return true;
  }
  now_ = std::max(now_, std::min(wanted, until));  // what the outside does now happens now
  host_.Wait(std::min<Duration>(until - wanted, kLongestIdle));
  lastPoll_ = std::chrono::steady_clock::now();
  return false;
}

// A board that has no time to idle still listens now and then.
void Kernel::ListenToHost(std::chrono::steady_clock::time_point now) {
  constexpr Duration kLongestDeaf = 5ms;
  if (now - lastPoll_ <= kLongestDeaf) return;
  host_.Wait(Duration{0});
  lastPoll_ = now;
}

void Kernel::SetPace(Pace pace) {
  pace_ = pace;
  hostAnchor_ = std::chrono::steady_clock::now();
  boardAnchor_ = now_;
}

std::optional<Time> Kernel::NextEvent() {
  auto& queue = events_->queue;
  const auto stale = [&](const Events::Event& event) {  // cancelled, or its fiber was woken otherwise
    if (event.fiber == nullptr) return !events_->actions.contains(event.ticket);
    return event.fiber->done || event.fiber->ticket != event.ticket;
  };
  while (!queue.empty() && stale(queue.top())) {
    if (queue.top().fiber != nullptr) queue.top().fiber->pending--;
    queue.pop();
  }
  if (queue.empty()) return std::nullopt;
  return queue.top().at;
}

// --- waiting for each other ---

namespace {

// A fiber stands in its queues for as long as this lives, also when it is unwound.
class Standing {
 public:
  Standing(std::vector<std::vector<Fiber*>*> lists, Fiber* fiber) : lists_(std::move(lists)), fiber_(fiber) {
    for (auto* list : lists_) list->push_back(fiber_);
  }
  ~Standing() {
    for (auto* list : lists_) std::erase(*list, fiber_);
  }
  Standing(const Standing&) = delete;
  Standing& operator=(const Standing&) = delete;

 private:
  std::vector<std::vector<Fiber*>*> lists_;
  Fiber* fiber_;
};

}  // namespace

bool WaitQueue::WaitAny(Kernel& kernel, const std::vector<WaitQueue*>& queues, Duration limit) {
  Fiber* self = kernel.current_;
  if (self->dying) return false;
  std::vector<std::vector<Fiber*>*> lists;
  for (WaitQueue* queue : queues) lists.push_back(&queue->waiting_);
  const Standing standing(std::move(lists), self);
  if (limit == kForever) {
    self->ticket = ++kernel.order_;  // no event of its own: only Notify ends it
  } else {
    kernel.WakeAt(kernel.now_ + limit, self);
  }
  const uint64_t timeout = self->ticket;
  kernel.SwitchOut();
  return self->ticket != timeout;  // Notify gave a newer ticket
}

bool WaitQueue::Wait(Duration limit) { return WaitAny(kernel_, {this}, limit); }

void WaitQueue::Wait() { WaitAny(kernel_, {this}, kForever); }

void WaitQueue::Notify() {
  for (Fiber* fiber : std::exchange(waiting_, {})) kernel_.WakeAt(kernel_.now_, fiber);
}

}  // namespace twin

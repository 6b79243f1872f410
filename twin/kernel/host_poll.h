// Host descriptors (sockets, a terminal) that somebody waits for while the board is idle.
#pragma once

#include <chrono>
#include <functional>
#include <map>

namespace twin {

class HostPoll {
 public:
  // Calls `ready` when the descriptor has one of `events` (POLLIN, POLLOUT) or an error, each time until Remove. One
  // interest a descriptor: a second Add takes the place of the first.
  void Add(int descriptor, short events, std::function<void()> ready);
  void Remove(int descriptor);
  bool Empty() const { return interests_.empty(); }
  // Waits until something is ready, or for `limit`, and calls what is to be called. A signal ends it early.
  void Wait(std::chrono::nanoseconds limit);

 private:
  struct Interest {
    short events;
    std::function<void()> ready;
  };
  std::map<int, Interest> interests_;
};

}  // namespace twin

#include "twin/kernel/host_poll.h"

#include <poll.h>

#include <utility>
#include <vector>

namespace twin {

void HostPoll::Add(int descriptor, short events, std::function<void()> ready) {
  interests_[descriptor] = {events, std::move(ready)};
}

void HostPoll::Remove(int descriptor) { interests_.erase(descriptor); }

void HostPoll::Wait(std::chrono::nanoseconds limit) {
  std::vector<pollfd> polled;
  for (const auto& [descriptor, interest] : interests_) polled.push_back({descriptor, interest.events, 0});
  const timespec time{static_cast<time_t>(limit.count() / 1'000'000'000),
                      static_cast<long>(limit.count() % 1'000'000'000)};
  if (ppoll(polled.data(), polled.size(), &time, nullptr) <= 0) return;
  for (const pollfd& entry : polled) {
    if (entry.revents == 0) continue;
    const auto found = interests_.find(entry.fd);  // an earlier one may have taken it away
    if (found == interests_.end()) continue;
    const auto ready = found->second.ready;
    ready();
  }
}

}  // namespace twin

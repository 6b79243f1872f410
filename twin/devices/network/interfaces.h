// The network interfaces that the board has at the moment, by name: "eth0", "wlan0".
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace twin {

class NetworkInterfaces {
 public:
  bool Exists(const std::string& name) const { return up_.contains(name); }
  bool Up(const std::string& name) const {
    const auto found = up_.find(name);
    return found != up_.end() && found->second;
  }

  // A driver has found its adapter, or lost it.
  void Add(const std::string& name) { Set(name, false); }
  void Remove(const std::string& name) {
    if (up_.erase(name) > 0) Tell();
  }
  // ifconfig, or the access point's script. No effect on one that does not exist.
  void SetUp(const std::string& name, bool up) {
    if (Exists(name)) Set(name, up);
  }
  void RemoveAll() {
    up_.clear();
    Tell();
  }

  // `listener` hears of every change. For the life of this object; must not wait.
  void OnChange(std::function<void()> listener) { listeners_.push_back(std::move(listener)); }

 private:
  void Set(const std::string& name, bool up) {
    up_[name] = up;
    Tell();
  }
  void Tell() {
    for (const auto& listener : listeners_) listener();
  }

  std::map<std::string, bool> up_;
  std::vector<std::function<void()>> listeners_;
};

}  // namespace twin

#include "twin/panel/merge_diff.h"

namespace twin::panel {

nlohmann::json MergeDiff(const nlohmann::json& from, const nlohmann::json& to) {
  nlohmann::json difference = nlohmann::json::object();
  for (const auto& [name, old] : from.items()) {
    if (!to.contains(name)) difference[name] = nullptr;
  }
  for (const auto& [name, now] : to.items()) {
    const auto before = from.find(name);
    if (before != from.end() && *before == now) continue;
    difference[name] = before != from.end() && before->is_object() && now.is_object() ? MergeDiff(*before, now) : now;
  }
  return difference;
}

}  // namespace twin::panel

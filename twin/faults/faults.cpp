#include "twin/faults/faults.h"

#include <algorithm>
#include <stdexcept>

namespace twin {

FaultPoint::FaultPoint(Faults& faults, std::string name, std::string what)
    : faults_(faults), name_(std::move(name)), what_(std::move(what)) {
  for (const FaultPoint* point : faults_.points_) {
    if (point->Name() == name_) throw std::logic_error("two fault points are called " + name_);
  }
  faults_.points_.push_back(this);
}

FaultPoint::~FaultPoint() {
  std::erase(faults_.points_, this);
  std::erase_if(faults_.rules_, [this](const Faults::ActiveRule& active) { return active.point == this; });
}

// Every rule counts every operation; the first in order that fires decides what happens.
std::optional<Effect> FaultPoint::AskRules(int64_t detail) {
  for (Faults::ActiveRule& active : faults_.rules_) {
    if (active.point != this || !faults_.Fires(active, detail)) continue;
    const Effect effect = active.rule.effect;
    for (auto later = &active + 1; later != faults_.rules_.data() + faults_.rules_.size(); later++) {
      if (later->point == this && faults_.Matches(*later, detail)) later->seen++;
    }
    if (effect.kind == Effect::Kind::PowerCut) faults_.CutSoon();
    return effect;
  }
  return std::nullopt;
}

bool Faults::Matches(const ActiveRule& active, int64_t detail) const {
  const FaultRule& rule = active.rule;
  return (!rule.detail || *rule.detail == detail) && (!rule.after || kernel_.Now() >= *rule.after) &&
         (!rule.until || kernel_.Now() < *rule.until) && (!rule.condition || rule.condition());
}

bool Faults::Fires(ActiveRule& active, int64_t detail) {
  if (!Matches(active, detail)) return false;
  active.seen++;
  const FaultRule& rule = active.rule;
  if (active.seen < rule.nth || active.fired >= rule.times) return false;
  if (rule.probability < 1.0) {
    constexpr double kSteps = 9007199254740992.0;  // 2^53: as fine as a double between 0 and 1 can be
    if (static_cast<double>(kernel_.Random() >> 11) / kSteps >= rule.probability) return false;
  }
  active.fired++;
  fired_++;
  return true;
}

// For points that leave the power cut to the engine: at this board time, as soon as the operation lets time pass.
void Faults::CutSoon() {
  if (cutPending_) return;
  cutPending_ = true;
  pendingCut_ = kernel_.At(kernel_.Now(), [this] { PowerCut(); });
}

void Faults::PowerCut() {
  if (cutPending_) kernel_.Cancel(pendingCut_);
  cutPending_ = false;
  if (powerCut_) powerCut_();
}

void Faults::Add(FaultRule rule) {
  const auto point = std::find_if(points_.begin(), points_.end(), [&](auto* p) { return p->Name() == rule.point; });
  if (point == points_.end()) throw std::invalid_argument(UnknownPoint(rule.point));
  rules_.push_back({std::move(rule), *point});
  (*point)->armed_ = true;
}

void Faults::Clear(std::string_view name) {
  const auto point = std::find_if(points_.begin(), points_.end(), [&](auto* p) { return p->Name() == name; });
  if (point == points_.end()) throw std::invalid_argument(UnknownPoint(name));
  std::erase_if(rules_, [&](const ActiveRule& active) { return active.point == *point; });
  (*point)->armed_ = false;
}

void Faults::Clear() {
  rules_.clear();
  fired_ = 0;
  for (FaultPoint* point : points_) point->armed_ = false;
}

}  // namespace twin

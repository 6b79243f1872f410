#include "tools/campaign/course.h"

namespace campaign {

namespace {

constexpr size_t kFirstVisited = 2;
constexpr uint64_t kRare = 3;  // what a press comes by so seldom is broken from the first time on in each life

}  // namespace

const std::vector<Plan>& Lives() {
  static const std::vector<Plan> lives = {{}, {.off = true}, {.phone = true}, {.remote = true}, {.raw = true}};
  return lives;
}

Course::Course(const Way& way, const std::vector<Counts>& counts, uint64_t dense, std::mt19937_64& chance)
    : way_(&way), counts_(&counts), dense_(dense), chance_(&chance) {}

Plan Course::Next(uint64_t seed) const {
  Plan plan = Lives()[life_];
  plan.seed = seed;
  plan.faults = {Name() + " nth=" + std::to_string(nth_)};
  return plan;
}

uint64_t Course::Operations(size_t life) const {
  const Counts& counts = (*counts_)[life];
  const auto found = counts.find(way_->point);
  return found == counts.end() ? 0 : found->second;
}

void Course::Fired(bool slow) {
  uint64_t step = 1;
  if (dense_ != 0 && nth_ >= dense_) step += nth_ / 8 + (*chance_)() % (1 + nth_ / 16);
  if (dense_ != 0 && slow) step += nth_;
  sampled_ = sampled_ || step > 1;
  nth_ += step;
}

// The switch-off goes on where the press ended: what breaks may make operations.
void Course::NotFired() {
  const uint64_t ofPress = Operations(0);
  do {
    life_++;
  } while (life_ >= kFirstVisited && !Ended() && Operations(life_) <= ofPress && ofPress > kRare);
  if (life_ >= kFirstVisited) nth_ = dense_ == 0 || ofPress <= kRare ? 1 : ofPress + 1;
}

uint64_t Course::RunsLeft() const {
  std::mt19937_64 chance(*chance_);
  Course ahead(*this);
  ahead.chance_ = &chance;
  uint64_t runs = 0;
  for (; !ahead.Ended(); runs++) {
    ahead.nth_ <= ahead.Operations(ahead.life_) ? ahead.Fired(false) : ahead.NotFired();
  }
  return runs;
}

}  // namespace campaign

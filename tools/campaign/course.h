// How --singles takes one way to fail through the lives of a camera: operation after operation of each.
#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tools/campaign/plan.h"
#include "tools/campaign/points.h"

namespace campaign {

using Counts = std::map<std::string, uint64_t>;  // operations by point

// A press, the same with a switch-off, a phone, the remote, raw frames.
const std::vector<Plan>& Lives();

class Course {
 public:
  // `counts`: of each life, what an unbroken one comes by. From the `dense`-th operation on not every one is broken, in
  // steps that grow by an eighth, begun at a place drawn from `chance`. 0: every one. All must outlive it.
  Course(const Way& way, const std::vector<Counts>& counts, uint64_t dense, std::mt19937_64& chance);

  bool Ended() const { return life_ == Lives().size(); }
  uint64_t Nth() const { return nth_; }
  bool Sampled() const { return sampled_; }  // not every operation so far
  std::string Name() const { return way_->point + ' ' + way_->effect; }
  Plan Next(uint64_t seed) const;

  // The run of Next has broken something. `slow`: it took so long that the steps are doubled from here on.
  void Fired(bool slow);
  // It came by no such operation. The next life begins, in a visitor's behind the operations that a press alone has, if
  // those are more than a few; a life that has no more of them is left out.
  void NotFired();

  // Runs to the end, this one too, if what breaks neither adds operations nor takes any away, and none is slow.
  uint64_t RunsLeft() const;

 private:
  uint64_t Operations(size_t life) const;

  const Way* way_;
  const std::vector<Counts>* counts_;
  uint64_t dense_;
  std::mt19937_64* chance_;
  uint64_t nth_ = 1;
  size_t life_ = 0;
  bool sampled_ = false;
};

}  // namespace campaign

#include "tools/rescue/doubts.h"

#include <algorithm>

#include "tools/rescue/likeness.h"

namespace rescue {
namespace {

struct Tally {
  int right = 0, all = 0;
  double Share() const { return all > 0 ? static_cast<double>(right) / all : 1; }
};

// Whether the half pictures get brighter with the exposure, if the first ones follow each other in this order.
Tally Brightening(const Evidence& e, const std::vector<Frame>& order) {
  constexpr double black = 16, white = 240, step = 1;
  std::vector<double> means(order.size(), -1);
  for (size_t i = 0; i < e.pictures.size() && i / 2 < order.size(); ++i) {
    if (!e.pictures[i].ended || !e.pictures[i].Sound()) break;
    if (e.pictures[i].kind == shot::PictureSize::Half) means[i / 2] = Mean(e.pictures[i].look.small);
  }
  Tally tally;
  for (size_t i = 0; i < order.size(); ++i) {
    for (size_t j = i + 1; j < order.size() && means[i] >= 0; ++j) {
      if (order[j].camera != order[i].camera || order[j].exposure != order[i].exposure + 1 || means[j] < 0) continue;
      if ((means[i] < black && means[j] < black) || (means[i] > white && means[j] > white)) continue;
      tally.all++;
      tally.right += means[j] > means[i] + step;
    }
  }
  return tally;
}

int CommonFrames(const std::vector<Frame>& a, const std::vector<Frame>& b) {
  const auto differ = std::mismatch(a.begin(), a.end(), b.begin(), b.end(), [](const Frame& x, const Frame& y) {
    return x.camera == y.camera && x.exposure == y.exposure;
  });
  return static_cast<int>(differ.first - a.begin());
}

bool SameBytes(Source source, const Found& a, const Found& b) {
  return a.size == b.size && std::equal(source.begin() + a.offset, source.begin() + a.End(), source.begin() + b.offset);
}

}  // namespace

int OrderHoldsUntil(const Evidence& e) {
  constexpr int fewest = 4;
  constexpr double bad = 0.6, good = 0.9;
  int holds = static_cast<int>(e.order.size());
  if (!e.head.sure) holds = CommonFrames(e.order, FilingOrder(9 - e.head.exposures, e.head.twoHalf));
  const auto other = FilingOrder(e.head.exposures, !e.head.twoHalf);
  const Tally told = Brightening(e, e.order);
  const double otherShare = Brightening(e, other).Share();
  const bool borneOut = told.all >= fewest && told.Share() >= good && otherShare <= bad;
  const bool refuted = told.all >= fewest && told.Share() <= bad && otherShare >= good;
  if (refuted || (!e.head.halvesSure && !borneOut)) holds = std::min(holds, CommonFrames(e.order, other));
  return holds;
}

std::vector<bool> RunsOutOfOrder(const Evidence& e, const std::vector<int>& pictures) {
  std::vector<bool> same(e.order.empty() ? 0 : static_cast<size_t>(e.order.back().run) + 1);
  std::vector<bool> different = same, whole(same.size(), true);
  for (size_t slot = 0; slot < pictures.size(); ++slot) {
    const auto run = static_cast<size_t>(e.order[slot / 2].run);
    if (pictures[slot] < 0) whole[run] = false;
    const size_t behind = slot / 2 * 2 + 2;  // its own frame has its two sizes
    for (size_t next = behind; next < pictures.size() && e.order[next / 2].run == e.order[slot / 2].run; ++next) {
      if (pictures[slot] < 0 || pictures[next] < 0) continue;
      const Found &a = e.pictures[static_cast<size_t>(pictures[slot])],
                  &b = e.pictures[static_cast<size_t>(pictures[next])];
      if (a.kind != b.kind || !a.Sound() || !b.Sound()) continue;
      if (SameBytes(e.source, a, b))
        same[run] = true;
      else
        different[run] = true;
    }
  }
  std::vector<bool> doubtful(same.size());
  for (size_t run = 0; run < same.size(); ++run) {
    if (!same[run] || !different[run]) continue;
    doubtful[run] = true;
    if (run > 0) doubtful[run - 1] = true;
    if (run + 1 < same.size() && !whole[run + 1]) doubtful[run + 1] = true;
  }
  return doubtful;
}

std::vector<bool> FramesOfAnotherCamera(const Evidence& e, const std::vector<int>& pictures) {
  constexpr double alike = 0.75, clearly = 0.3;
  constexpr int beside = 2;
  const auto small = [&](size_t frame) -> const Small* {
    for (const size_t slot : {2 * frame, 2 * frame + 1})
      if (pictures[slot] >= 0 && e.pictures[static_cast<size_t>(pictures[slot])].Sound())
        return &e.pictures[static_cast<size_t>(pictures[slot])].look.small;
    return nullptr;
  };
  // The best agreement of a frame with another exposure of a camera; nothing if there is none.
  const auto agreement = [&](size_t frame, int camera) {
    std::optional<double> best;
    for (size_t other = 0; other < e.order.size(); ++other) {
      if (e.order[other].camera != camera || e.order[other].exposure == e.order[frame].exposure || !small(other))
        continue;
      best = std::max(best.value_or(-1), Correlation(*small(frame), *small(other)));
      if (*best >= alike) break;
    }
    return best;
  };
  std::vector<bool> another(e.order.size());
  for (size_t frame = 0; frame < e.order.size(); ++frame) {
    if (!small(frame)) continue;
    const auto own = agreement(frame, e.order[frame].camera);
    if (!own || *own >= alike) continue;
    for (int step = -beside; step <= beside; ++step) {
      const auto neighbour = frame + static_cast<size_t>(step);  // below 0 it is far above
      if (step == 0 || neighbour >= e.order.size() || e.order[neighbour].run != e.order[frame].run) continue;
      const double theirs = agreement(frame, e.order[neighbour].camera).value_or(0);
      if (theirs >= alike && theirs >= *own + clearly) another[frame] = true;
    }
  }
  return another;
}

}  // namespace rescue

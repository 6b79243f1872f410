#include "tools/rescue/gap_estimate.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tools/rescue/likeness.h"

namespace rescue {
namespace {

constexpr int mostComparisons = 40;   // for a place of a chain
constexpr int fewestComparisons = 2;  // below that, pixels say nothing
constexpr double alike = 0.75;        // correlation of one camera's exposures
constexpr double margin = 0.15;       // by which another place is worse

double MeanPairSize(const Evidence& e) {
  double sum[2] = {}, count[2] = {};
  for (const Found& picture : e.pictures) {
    const auto kind = static_cast<size_t>(picture.kind);
    if (!picture.ended || !picture.Sound()) continue;
    sum[kind] += static_cast<double>(picture.size);
    count[kind]++;
  }
  double size = 0;
  for (const size_t kind : {0, 1}) size += count[kind] > 0 ? sum[kind] / count[kind] : 0;
  return std::max(size, 1.0);
}

// How well a chain at `base` shows what the same cameras show elsewhere: mean correlation, and how many comparisons.
std::pair<double, int> Agreement(const Evidence& e, const std::vector<int>& known, const Chain& chain, int base) {
  double sum = 0;
  int count = 0;
  for (size_t i = chain.begin; i < chain.end && count < mostComparisons; ++i) {
    if (!e.pictures[i].Sound()) continue;
    const auto frame = static_cast<size_t>((base + static_cast<int>(i - chain.begin)) / 2);
    for (size_t other = 0; other < e.order.size(); ++other) {
      const int picture = known[2 * other] >= 0 ? known[2 * other] : known[2 * other + 1];
      if (other == frame || picture < 0 || e.order[other].camera != e.order[frame].camera) continue;
      if (std::abs(e.order[other].exposure - e.order[frame].exposure) != 1)
        continue;  // others differ in what is clipped
      const Found& found = e.pictures[static_cast<size_t>(picture)];
      if (!found.Sound()) continue;
      sum += Correlation(e.pictures[i].look.small, found.look.small);
      count++;
    }
  }
  return {count > 0 ? sum / count : 0, count};
}

int FaultsAt(const Evidence& e, const Chain& chain, int base) {
  int faults = 0;
  for (size_t i = chain.begin + static_cast<size_t>(base % 2); i + 1 < chain.end; i += 2)
    faults += !MakeAFrame(e.pictures[i], e.pictures[i + 1]);
  return faults;
}

struct Option {
  int base;
  double misfit;     // of the bytes in between, in frames
  double agreement;  // of the pixels
  int comparisons;
  int faults;
};

}  // namespace

void Estimate(const Evidence& e, const Between& between, const std::vector<int>& known, Chain& chain) {
  const int last = between.beforeSlot - chain.Length();
  const double frames = static_cast<double>(e.pictures[chain.begin].offset - between.afterOffset) / MeanPairSize(e);
  std::vector<Option> options;
  int fewestFaults = chain.Length();
  for (int base = between.afterSlot + 1; base <= last; ++base) {
    const int faults = FaultsAt(e, chain, base);
    fewestFaults = std::min(fewestFaults, faults);
    const auto [agreement, comparisons] = Agreement(e, known, chain, base);
    const double away = (base - std::max(between.afterSlot, 0)) / 2.0;
    options.push_back({base, std::abs(away - frames), agreement, comparisons, faults});
  }
  std::erase_if(options, [&](const Option& option) { return option.faults > fewestFaults; });
  if (options.empty()) return;
  double best = 0;
  for (const Option& option : options)
    if (option.comparisons >= fewestComparisons) best = std::max(best, option.agreement);
  const bool pixelsTell = best >= alike;
  const auto open = [&](const Option& option) {
    return !pixelsTell || (option.comparisons >= fewestComparisons && option.agreement >= best - margin);
  };
  const Option* chosen = nullptr;
  double next = 0;
  int places = 0;
  for (const Option& option : options) {
    if (!open(option)) {
      next = std::max(next, option.agreement);
      continue;
    }
    places++;
    if (chosen == nullptr || option.misfit < chosen->misfit) chosen = &option;
  }
  chain.base = chosen->base;
  char text[200];
  if (pixelsTell && places == 1)
    std::snprintf(text, sizeof text, "its camera's other exposures agree (%.2f; the next best place %.2f)", best, next);
  else if (pixelsTell)
    std::snprintf(text, sizeof text, "by the bytes missing before it; %d places fit its camera's other exposures",
                  places);
  else
    std::snprintf(text, sizeof text, "by the bytes missing before it; %d places are open, and its pixels do not decide",
                  places);
  chain.why = (chain.why.empty() ? "" : chain.why + "; ") + text;
}

}  // namespace rescue

#include "tools/rescue/placement.h"

#include <algorithm>

#include "tools/rescue/chains.h"
#include "tools/rescue/doubts.h"
#include "tools/rescue/gap_estimate.h"
#include "tools/rescue/index_claims.h"

namespace rescue {
namespace {

// The order in which other cameras file their pictures is not known; there the index alone tells.
Placement ByTheIndexAlone(Source source, const Head& head, const Finds& finds) {
  Placement placement;
  const auto claims = IndexClaims(source, head, finds);
  for (size_t i = 0; i < claims.size(); ++i) {
    if (claims[i])
      placement.placed.push_back({*claims[i], i, Certainty::Certain, ""});
    else if (finds.pictures[i].ended)
      placement.unplaced.push_back(i);
  }
  return placement;
}

Evidence Gather(Source source, const Head& head, const Finds& finds) {
  Evidence evidence{source, head, finds.pictures, FilingOrder(head.exposures, head.twoHalf), {}};
  for (const auto& claim : IndexClaims(source, head, finds)) {
    evidence.claims.emplace_back();
    for (size_t i = 0; claim && i < evidence.order.size(); ++i)
      if (evidence.order[i].camera == claim->camera && evidence.order[i].exposure == claim->exposure)
        evidence.claims.back() = static_cast<int>(i);
  }
  evidence.endIsKnown = head.sure && finds.thumbnail && !finds.pictures.empty() &&
                        finds.pictures.back().End() == finds.thumbnailAt() &&
                        head.storedSize == finds.thumbnailAt() - head.picturesAt;
  return evidence;
}

// Gives the chains without a place the likeliest one, from the first to the last.
void PlaceTheRest(const Evidence& e, std::vector<Chain>& chains) {
  std::vector<int> known(static_cast<size_t>(e.Slots()), -1);
  for (const Chain& chain : chains)
    for (size_t i = chain.begin; i < chain.end && chain.base >= 0 && chain.certain; ++i)
      if (chain.SlotOf(i) < e.Slots()) known[static_cast<size_t>(chain.SlotOf(i))] = static_cast<int>(i);
  Between between{-1, e.head.picturesAt >= 0 ? e.head.picturesAt : e.pictures.front().offset, 0};
  for (size_t i = 0; i < chains.size(); ++i) {
    Chain& chain = chains[i];
    if (chain.base < 0) {
      between.beforeSlot = e.Slots();
      for (size_t next = i + 1; next < chains.size(); ++next)
        if (chains[next].base >= 0) between.beforeSlot = std::min(between.beforeSlot, chains[next].base);
      Estimate(e, between, known, chain);
    }
    if (chain.base < 0) continue;
    between.afterSlot = chain.EndSlot() - 1;
    between.afterOffset = e.pictures[chain.end - 1].offset;
  }
}

class Result {
 public:
  Result(const Evidence& e, const std::vector<Chain>& chains) : e_(e), holds_(OrderHoldsUntil(e)) {
    std::vector<int> bySlot(static_cast<size_t>(e.Slots()), -1);
    for (const Chain& chain : chains)
      for (size_t i = chain.begin; i < chain.end; ++i)
        if (chain.base >= 0 && chain.SlotOf(i) < e.Slots() && e.pictures[i].ended)
          bySlot[static_cast<size_t>(chain.SlotOf(i))] = static_cast<int>(i);
    outOfOrder_ = RunsOutOfOrder(e, bySlot);
    another_ = FramesOfAnotherCamera(e, bySlot);
    for (const Chain& chain : chains)
      for (size_t i = chain.begin; i < chain.end; ++i) Add(chain, i);
  }
  Placement placement;

 private:
  void Add(const Chain& chain, size_t i) {
    const Found& picture = e_.pictures[i];
    if (!picture.ended) return;
    const int slot = chain.base < 0 ? e_.Slots() : chain.SlotOf(i);
    if (slot >= e_.Slots()) {
      placement.unplaced.push_back(i);
      return;
    }
    const Frame& frame = e_.order[static_cast<size_t>(slot / 2)];
    const bool claimed = e_.claims[i] && *e_.claims[i] == slot / 2;
    Placed placed{{picture.kind, frame.camera, frame.exposure}, i, Certainty::Doubtful, ""};
    if (outOfOrder_[static_cast<size_t>(frame.run)])
      placed.why = "two cameras of its row, or of the next one, show the very same: a frame came twice or late";
    else if (another_[static_cast<size_t>(slot / 2)])
      placed.why = "it shows what the camera beside it shows in its other exposures";
    else if (slot / 2 >= holds_ && !claimed)
      placed.why = e_.head.sure ? "it is not sure whether the shot was taken in two halves"
                                : "it is not sure how many exposures the shot has";
    else if (!chain.Decides(i) && !claimed)
      placed.why = "the index tells of its neighbour alone, and it may be of the frame before or behind";
    else if (!chain.certain || (e_.claims[i] && !claimed))
      placed.why = chain.why.empty() ? "the index tells another place" : chain.why;
    else
      placed.certainty = Certainty::Certain;
    const auto same = std::find_if(placement.placed.begin(), placement.placed.end(),
                                   [&](const Placed& other) { return other.place == placed.place; });
    if (same == placement.placed.end()) {
      placement.placed.push_back(placed);
    } else if (placed.certainty == Certainty::Certain && same->certainty == Certainty::Doubtful) {
      placement.unplaced.push_back(same->picture);
      *same = placed;
    } else {
      placement.unplaced.push_back(i);
    }
  }

  const Evidence& e_;
  const int holds_;
  std::vector<bool> outOfOrder_, another_;
};

}  // namespace

Placement PlacePictures(Source source, const Head& head, const Finds& finds) {
  if (finds.pictures.empty()) return {};
  if (head.cameras != 25) return ByTheIndexAlone(source, head, finds);
  const Evidence evidence = Gather(source, head, finds);
  std::vector<Chain> chains = FindChains(evidence);
  PlaceTheRest(evidence, chains);
  Placement placement = Result(evidence, chains).placement;
  std::sort(placement.placed.begin(), placement.placed.end(),
            [](const Placed& a, const Placed& b) { return a.picture < b.picture; });
  return placement;
}

}  // namespace rescue

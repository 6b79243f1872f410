#include "tools/rescue/chains.h"

#include <algorithm>
#include <map>

#include "tools/rescue/likeness.h"

namespace rescue {
namespace {

constexpr double mostDifference = 8;  // of two sizes of one frame, levels
constexpr int anchorVotes = 2;        // of where the pictures begin, and of where they end

bool Neighbours(const Found& a, const Found& b) { return a.ended && a.Sound() && a.End() == b.offset; }

// Whether the index tells of two neighbours that they follow each other.
bool ClaimsFollow(const Evidence& e, size_t picture) {
  const auto &before = e.claims[picture - 1], &own = e.claims[picture];
  if (!before || !own) return true;
  return *own == *before ? e.pictures[picture].kind != e.pictures[picture - 1].kind : *own == *before + 1;
}

std::vector<Chain> Split(const Evidence& e) {
  std::vector<Chain> chains;
  for (size_t i = 0; i < e.pictures.size(); ++i) {
    if (i == 0 || !Neighbours(e.pictures[i - 1], e.pictures[i]) || !ClaimsFollow(e, i)) chains.push_back({i, i});
    chains.back().end = i + 1;
  }
  return chains;
}

// The first pictures of those frames of a chain, placed at `base`, that cannot be one frame.
std::vector<size_t> FramesAtFault(const Evidence& e, const Chain& chain, int base) {
  std::vector<size_t> faults;
  for (size_t i = chain.begin + static_cast<size_t>(base % 2 != 0); i + 1 < chain.end; i += 2)
    if (!MakeAFrame(e.pictures[i], e.pictures[i + 1])) faults.push_back(i);
  return faults;
}

// How many claims of a chain's pictures agree with a place of it, and how many do not.
std::pair<int, int> ClaimsFor(const Evidence& e, const Chain& chain, int base) {
  int agree = 0, differ = 0;
  for (size_t i = chain.begin; i < chain.end; ++i)
    if (e.claims[i]) (*e.claims[i] == (base + static_cast<int>(i - chain.begin)) / 2 ? agree : differ)++;
  return {agree, differ};
}

class Decision {
 public:
  Decision(const Evidence& e, const Chain& chain)
      : e_(e),
        chain_(chain),
        front_(chain.begin == 0 && e.head.picturesAt >= 0 && e.pictures[0].offset == e.head.picturesAt),
        back_(chain.end == e.pictures.size() && e.endIsKnown) {}

  // The chain with its place; behind it, or before it, what had to be cut off because it is out of step.
  std::vector<Chain> Make() {
    if (front_) Vote(0);
    if (back_) Vote(e_.Slots() - chain_.Length());
    for (size_t i = chain_.begin; i < chain_.end; ++i)
      if (e_.claims[i])
        for (const int slot : {2 * *e_.claims[i], 2 * *e_.claims[i] + 1})
          Vote(slot - static_cast<int>(i - chain_.begin));
    for (const auto& [base, votes] : votes_)
      if (votes > chain_.votes) chain_.base = base, chain_.votes = votes;
    for (const auto& [base, votes] : votes_)
      if (votes == chain_.votes && base != chain_.base) chain_.rival = base;
    if (chain_.base < 0) return {chain_};
    const auto [agree, differ] = ClaimsFor(e_, chain_, chain_.base);
    const bool bothEnds = !front_ || !back_ || chain_.Length() == e_.Slots();
    chain_.certain = chain_.EndSlot() <= e_.Slots() && differ <= agree / 8 && (bothEnds || agree > anchorVotes);
    if (!chain_.certain) chain_.why = "the index and the order of the pictures tell different things";
    const auto faults = FramesAtFault(e_, chain_, chain_.base);
    if (faults.empty()) return {chain_};
    if (agree == 0 && front_ && !back_) return CutBehind(faults.front());
    if (agree == 0 && back_ && !front_) return CutBefore(faults.back() + 2);
    chain_.certain = false;
    chain_.why = OutOfStep();
    return {chain_};
  }

 private:
  static const char* OutOfStep() { return "its two sizes are out of step: a frame was asked for again"; }

  // For a place that the pictures bear out: both parities fit the claims of a frame, only one fits the sizes.
  void Vote(int base) {
    if (base < 0 || votes_.contains(base)) return;
    const bool anchored = (front_ && base == 0) || (back_ && base == e_.Slots() - chain_.Length());
    const int faults = static_cast<int>(FramesAtFault(e_, chain_, base).size());
    votes_[base] = std::max(1, (anchored ? anchorVotes : 0) + ClaimsFor(e_, chain_, base).first - faults);
  }

  std::vector<Chain> CutBehind(size_t picture) {
    Chain rest{picture, chain_.end};
    rest.why = OutOfStep();
    chain_.end = picture;
    if (chain_.Length() == 0) return {rest};
    return {chain_, rest};
  }

  std::vector<Chain> CutBefore(size_t picture) {
    Chain rest{chain_.begin, picture};
    rest.why = OutOfStep();
    chain_.base += static_cast<int>(picture - chain_.begin);
    chain_.begin = picture;
    if (chain_.Length() == 0) return {rest};
    return {rest, chain_};
  }

  const Evidence& e_;
  Chain chain_;
  const bool front_, back_;
  std::map<int, int> votes_;
};

}  // namespace

bool MakeAFrame(const Found& a, const Found& b) {
  if (a.kind == b.kind) return false;
  return !a.Sound() || !b.Sound() || Difference(a.look.small, b.look.small) <= mostDifference;
}

std::vector<Chain> FindChains(const Evidence& evidence) {
  std::vector<Chain> chains;
  for (const Chain& chain : Split(evidence))
    for (const Chain& part : Decision(evidence, chain).Make()) chains.push_back(part);
  // Places rise along the source. Where they do not, the chain that more speaks for is right.
  Chain* before = nullptr;
  for (Chain& chain : chains) {
    if (chain.base < 0) continue;
    if (before != nullptr && before->EndSlot() > chain.base) {
      Chain& wrong = before->votes >= chain.votes ? chain : *before;
      const bool drop = &wrong == &chain;
      wrong.base = -1;
      wrong.certain = false;
      wrong.why = "the index and the order of the pictures tell different things";
      if (drop) continue;
    }
    before = &chain;
  }
  return chains;
}

}  // namespace rescue

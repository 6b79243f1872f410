#include "tools/rescue/index_claims.h"

#include <algorithm>

#include "tools/lumora-shot/layout.h"

namespace rescue {
namespace {

struct Entry {
  shot::Place place;
  int64_t offset, size;  // offset in the source
};

// The entries that are sound in themselves, in the order of their pictures.
std::vector<Entry> SoundEntries(Source source, const Head& head) {
  std::vector<Entry> entries;
  shot::Shot numbering;
  numbering.cameras = head.cameras;
  numbering.exposures = head.exposures;
  for (int number = 0; number < 2 * head.cameras * head.exposures; ++number) {
    const int64_t at = head.indexAt + shot::sectionHead + number * shot::entrySize;
    const shot::Place place = numbering.PlaceOf(number);
    const bool own = NumberAt(source, at, 2) == (place.size == shot::PictureSize::Half ? 1 : 2) &&
                     NumberAt(source, at + 2, 2) == place.camera && NumberAt(source, at + 4, 2) == place.exposure;
    const bool empty = NumberAt(source, at + 6, 2) == 0 && NumberAt(source, at + 8, 4) == 0;
    const int64_t size = NumberAt(source, at + 16, 4);
    if (own && empty && size > 0) entries.push_back({place, head.picturesAt + NumberAt(source, at + 12, 4), size});
  }
  std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.offset < b.offset; });
  return entries;
}

bool Fits(const Entry& entry, const Found& picture) {
  return picture.ended && picture.kind == entry.place.size && picture.size == entry.size;
}

// Entry `first` and those behind it tell of neighbours of just these sizes.
bool Fits(const std::vector<Entry>& entries, size_t first, std::span<const Found> pictures) {
  if (entries.size() - first < pictures.size()) return false;
  for (size_t i = 0; i < pictures.size(); ++i) {
    const Entry& entry = entries[first + i];
    if (!Fits(entry, pictures[i])) return false;
    if (i > 0 && entry.offset != entries[first + i - 1].offset + entries[first + i - 1].size) return false;
  }
  return true;
}

using Claims = std::vector<std::optional<shot::Place>>;

void ClaimExactly(const std::vector<Entry>& entries, const std::vector<Found>& pictures, Claims& claims) {
  std::vector<int> claimants(pictures.size());
  for (const Entry& entry : entries) {
    const auto found = std::lower_bound(pictures.begin(), pictures.end(), entry.offset,
                                        [](const Found& picture, int64_t wanted) { return picture.offset < wanted; });
    if (found == pictures.end() || found->offset != entry.offset || !Fits(entry, *found)) continue;
    const auto picture = static_cast<size_t>(found - pictures.begin());
    claims[picture] = claimants[picture]++ == 0 ? std::optional(entry.place) : std::nullopt;
  }
}

// Behind missing bytes, or bytes too many, all stands elsewhere: there neighbours are known by their sizes.
void ClaimBySizes(const std::vector<Entry>& entries, const std::vector<Found>& pictures, Claims& claims) {
  constexpr size_t fewest = 2;
  for (size_t begin = 0, end; begin < pictures.size(); begin = end) {
    bool claimed = claims[begin].has_value();
    for (end = begin + 1; end < pictures.size(); ++end) {
      const Found& before = pictures[end - 1];
      if (!before.ended || !before.Sound() || before.End() != pictures[end].offset) break;
      claimed = claimed || claims[end];
    }
    // The last one may be damaged, and shorter or longer than it was.
    const size_t sound = end - begin - (pictures[end - 1].Sound() ? 0 : 1);
    if (claimed || sound < fewest) continue;
    const std::span chain(&pictures[begin], sound);
    std::optional<size_t> only;
    int fits = 0;
    for (size_t first = 0; first < entries.size(); ++first)
      if (Fits(entries, first, chain)) only = first, fits++;
    for (size_t i = 0; fits == 1 && i < sound; ++i) claims[begin + i] = entries[*only + i].place;
  }
}

}  // namespace

std::vector<std::optional<shot::Place>> IndexClaims(Source source, const Head& head, const Finds& finds) {
  Claims claims(finds.pictures.size());
  if (head.picturesAt < 0) return claims;
  const auto entries = SoundEntries(source, head);
  ClaimExactly(entries, finds.pictures, claims);
  ClaimBySizes(entries, finds.pictures, claims);
  return claims;
}

}  // namespace rescue

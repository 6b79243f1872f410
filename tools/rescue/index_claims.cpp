#include "tools/rescue/index_claims.h"

#include <algorithm>

#include "tools/lumora-shot/layout.h"

namespace rescue {

std::vector<std::optional<shot::Place>> IndexClaims(Source source, const Head& head, const Finds& finds) {
  std::vector<std::optional<shot::Place>> claims(finds.pictures.size());
  if (head.picturesAt < 0) return claims;
  std::vector<int> claimants(finds.pictures.size());
  shot::Shot numbering;
  numbering.cameras = head.cameras;
  numbering.exposures = head.exposures;
  for (int number = 0; number < 2 * head.cameras * head.exposures; ++number) {
    const int64_t at = head.indexAt + shot::sectionHead + number * shot::entrySize;
    const shot::Place place = numbering.PlaceOf(number);
    const bool own = NumberAt(source, at, 2) == (place.size == shot::PictureSize::Half ? 1 : 2) &&
                     NumberAt(source, at + 2, 2) == place.camera && NumberAt(source, at + 4, 2) == place.exposure;
    if (!own || NumberAt(source, at + 6, 2) != 0 || NumberAt(source, at + 8, 4) != 0) continue;
    const int64_t offset = head.picturesAt + NumberAt(source, at + 12, 4);
    const auto found = std::lower_bound(finds.pictures.begin(), finds.pictures.end(), offset,
                                        [](const Found& picture, int64_t wanted) { return picture.offset < wanted; });
    if (found == finds.pictures.end() || found->offset != offset || found->size != NumberAt(source, at + 16, 4))
      continue;
    if (!found->ended || found->kind != place.size) continue;
    const auto picture = static_cast<size_t>(found - finds.pictures.begin());
    claims[picture] = claimants[picture]++ == 0 ? std::optional(place) : std::nullopt;
  }
  return claims;
}

}  // namespace rescue

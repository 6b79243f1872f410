#include "tools/rescue/rescue.h"

#include <algorithm>

#include "tools/lumora-shot/layout.h"
#include "tools/lumora-shot/pictures.h"

namespace rescue {
namespace {

constexpr int thumbnailCamera = 12, thumbnailQuality = 80;

// The lower, the better the picture does for a thumbnail: a half picture of the camera that the device takes, in the
// middle exposure.
int Unfit(const Rescued& rescued, const Placed& placed) {
  const int middle = rescued.head.exposures == 3 ? 1 : 3;
  return (placed.place.camera != thumbnailCamera) * 100 + std::abs(placed.place.exposure - middle) * 10 +
         (placed.place.size != shot::PictureSize::Half) + (placed.certainty == Certainty::Doubtful) * 1000;
}

// As the device makes it: a quarter of the half picture's size, turned upright.
shot::Bytes MakeThumbnail(Source source, const Rescued& rescued) {
  const Placed* best = nullptr;
  for (const Placed& placed : rescued.placement.placed) {
    if (!rescued.finds.pictures[placed.picture].Sound()) continue;
    if (best == nullptr || Unfit(rescued, placed) < Unfit(rescued, *best)) best = &placed;
  }
  if (best == nullptr) return {};
  const Found& found = rescued.finds.pictures[best->picture];
  const Source jpeg = source.subspan(static_cast<size_t>(found.offset), static_cast<size_t>(found.size));
  shot::Rgb small = shot::DecodeRgb(jpeg, found.kind == shot::PictureSize::Half ? 4 : 8);
  for (size_t i = 0, j = small.pixels.size() / 3 - 1; i < j; ++i, --j)
    std::swap_ranges(&small.pixels[3 * i], &small.pixels[3 * i] + 3, &small.pixels[3 * j]);
  return shot::EncodeRgb(small, thumbnailQuality);
}

}  // namespace

int Rescued::Certain() const {
  return static_cast<int>(std::count_if(placement.placed.begin(), placement.placed.end(),
                                        [](const Placed& p) { return p.certainty == Certainty::Certain; }));
}

int Rescued::Damaged() const {
  return static_cast<int>(std::count_if(placement.placed.begin(), placement.placed.end(),
                                        [&](const Placed& p) { return !finds.pictures[p.picture].Sound(); }));
}

Rescued Rescue(Source source, const Looker& look) {
  Rescued rescued;
  rescued.head = ReadHead(source);
  rescued.finds = FindPictures(source, std::max<int64_t>(rescued.head.picturesAt, 0), look);
  rescued.placement = PlacePictures(source, rescued.head, rescued.finds);
  if (rescued.finds.thumbnail) {
    const auto at = source.begin() + rescued.finds.thumbnail->offset;
    rescued.thumbnail.assign(at, at + rescued.finds.thumbnail->size);
  } else {
    rescued.thumbnail = MakeThumbnail(source, rescued);
    rescued.thumbnailMade = !rescued.thumbnail.empty();
  }
  return rescued;
}

}  // namespace rescue

#include "tools/campaign/rescue_check.h"

#include <algorithm>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/rescue/rescue.h"

namespace campaign {

namespace {

constexpr size_t kHead = 78076 + 12;  // without a logo, up to the pictures less the index
constexpr size_t kIndexSizes[] = {3000, 6000};
constexpr std::string_view kBegin = "\xFF\xD8", kBoundary = "\xFF\xD9\xFF\xD8", kEnd = "\xFF\xD9";

// Begin and end of each picture that was written to its end.
std::vector<std::pair<size_t, size_t>> PicturesIn(std::string_view bytes) {
  std::vector<std::pair<size_t, size_t>> pictures;
  size_t at = 0;
  for (const size_t index : kIndexSizes) {
    if (bytes.size() > kHead + index && bytes.substr(kHead + index).starts_with(kBegin)) at = kHead + index;
  }
  while (at != 0 && at < bytes.size()) {
    const size_t boundary = bytes.find(kBoundary, at);
    const bool last = boundary == std::string_view::npos;
    if (last && !bytes.ends_with(kEnd)) break;
    const size_t end = last ? bytes.size() : boundary + kEnd.size();
    pictures.emplace_back(at, end);
    at = end;
  }
  return pictures;
}

}  // namespace

std::string WrongRescue(const std::string& written, const std::string& left) {
  std::vector<size_t> expected;
  for (const auto& [begin, end] : PicturesIn(written)) {
    if (end <= left.size() &&
        std::equal(left.begin() + static_cast<std::ptrdiff_t>(begin), left.begin() + static_cast<std::ptrdiff_t>(end),
                   written.begin() + static_cast<std::ptrdiff_t>(begin))) {
      expected.push_back(begin);
    }
  }
  const rescue::Rescued rescued = rescue::Rescue(std::span(reinterpret_cast<const uint8_t*>(left.data()), left.size()));
  std::vector<size_t> sound;
  for (const rescue::Placed& placed : rescued.placement.placed) {
    const rescue::Found& picture = rescued.finds.pictures[placed.picture];
    if (picture.Sound()) sound.push_back(static_cast<size_t>(picture.offset));
  }
  std::sort(sound.begin(), sound.end());
  if (sound == expected) return "";
  return std::to_string(sound.size()) + " pictures, and " + std::to_string(expected.size()) + " reached the disk";
}

}  // namespace campaign

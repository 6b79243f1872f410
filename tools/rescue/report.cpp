// What a rescue tells a person.
#include <cstdarg>
#include <cstdio>
#include <map>

#include "tools/rescue/rescue.h"

namespace rescue {
namespace {

[[gnu::format(printf, 1, 2)]] std::string Text(const char* format, ...) {
  char text[400];
  va_list values;
  va_start(values, format);
  // It has been started. NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
  vsnprintf(text, sizeof text, format, values);
  va_end(values);
  return text;
}

const char* Plural(size_t count) { return count == 1 ? "" : "s"; }

}  // namespace

std::string ListOf(const Rescued& rescued) {
  shot::Shot numbering;
  numbering.cameras = rescued.head.cameras;
  numbering.exposures = rescued.head.exposures;
  std::map<int, const Placed*> byNumber;
  for (const Placed& placed : rescued.placement.placed) byNumber[numbering.NumberOf(placed.place)] = &placed;
  std::string list;
  for (int number = 0; number < rescued.Places(); ++number) {
    const shot::Place place = numbering.PlaceOf(number);
    list += Text("%s  camera %2d  exposure %d  ", shot::NameOf(place.size), place.camera, place.exposure);
    const auto found = byNumber.find(number);
    if (found == byNumber.end()) {
      list += "lost\n";
      continue;
    }
    const Placed& placed = *found->second;
    const Found& picture = rescued.finds.pictures[placed.picture];
    list += Text("%-8s  %8lld bytes at %lld", placed.certainty == Certainty::Certain ? "certain" : "doubtful",
                 static_cast<long long>(picture.size), static_cast<long long>(picture.offset));
    if (!picture.Sound()) list += ", damaged: " + picture.look.wrong;
    if (!placed.why.empty()) list += "; " + placed.why;
    list += "\n";
  }
  return list;
}

std::string SummaryOf(const Rescued& rescued) {
  std::string text;
  for (const std::string& mended : rescued.head.mended) text += mended + "\n";
  const size_t placed = rescued.placement.placed.size(), unplaced = rescued.placement.unplaced.size();
  const size_t doubtful = placed - static_cast<size_t>(rescued.Certain());
  text += Text("%zu of %d pictures", placed, rescued.Places());
  if (doubtful > 0) text += Text(", %zu of them in a doubtful place", doubtful);
  if (rescued.Damaged() > 0) text += Text(", %d damaged", rescued.Damaged());
  text += "\n";
  if (unplaced > 0) text += Text("%zu more picture%s without a place left out\n", unplaced, Plural(unplaced));
  if (rescued.thumbnailMade) text += "the thumbnail is made anew\n";
  return text;
}

}  // namespace rescue

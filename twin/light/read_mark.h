// Reads the mark of mark.h back from a decoded picture: the proof of which frame a picture really is.
#pragma once

#include <optional>
#include <span>

#include "tools/lumora-shot/pictures.h"
#include "twin/light/mark.h"

namespace twin {

struct FoundMark {
  Mark mark;
  double field = 0;     // mean gray of the field as seen in the pixels
  bool turned = false;  // the picture stands on its head, as a thumbnail does

  // Whether the pixels of the field show what the mark says.
  bool FieldAgrees() const { return field > mark.gray - 2.5 && field < mark.gray + 2.5; }
};

// Any size from about 200 pixels of width, upright or turned by 180 degrees. Nothing if there is no whole mark.
std::optional<FoundMark> ReadMark(const shot::Gray& picture);

// The same for a JPEG, decoded at an eighth of its size (at its own size if it is a small picture).
std::optional<FoundMark> ReadMark(std::span<const uint8_t> jpeg);

}  // namespace twin

// Finds the pictures in the bytes of a damaged shot, by what they are and not by what an index says.
//
// Where a picture ends is found by walking its markers: coded data hold none. Whether it is whole is told by decoding
// it: damage that took the boundary between two pictures away leaves what looks like one, whose data are too many.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/lumora-shot/shot_file.h"

namespace rescue {

using Source = std::span<const uint8_t>;

// A picture's luma at 1/64 of the full size, for comparing.
struct Small {
  static constexpr int width = 51, height = 38;
  std::array<uint8_t, width * height> pixels{};
};

struct Look {
  std::string wrong;  // what the decoder says of the data; empty: they are sound
  Small small;        // only of sound data
};
using Looker = std::function<Look(std::span<const uint8_t> jpeg)>;

// Decodes. Takes some 0.1 s for a full picture of a real scene.
Look LookAt(std::span<const uint8_t> jpeg);

struct Found {
  int64_t offset = 0;
  int64_t size = 0;  // to behind its end mark; if it has none, to the next picture or the end of all
  shot::PictureSize kind = shot::PictureSize::Full;
  bool ended = false;  // has an end mark
  Look look;           // wrong, if it has none

  int64_t End() const { return offset + size; }
  bool Sound() const { return look.wrong.empty(); }
};

struct Finds {
  std::vector<Found> pictures;          // in the order of the source, without overlap
  std::optional<shot::Span> thumbnail;  // the JPEG of a thumbnail's section, if it is whole and ends the source
  int64_t thumbnailAt() const { return thumbnail->offset - 6; }  // its section
};

// Everything from `from` on. At gaps it goes on at the next picture.
Finds FindPictures(Source source, int64_t from, const Looker& look);

// The next position from `from` on where a picture's head stands; -1 if there is none.
int64_t NextPicture(Source source, int64_t from);

// What stands at `at` as far as its markers tell, without decoding; nothing if no picture's head does.
std::optional<Found> PictureAt(Source source, int64_t at);

}  // namespace rescue

// Takes the pictures of a shot out of its file.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/lumora-shot/shot_file.h"

namespace shot {

// What to take; all of a kind where nothing is chosen.
struct Choice {
  std::optional<int> camera;
  std::optional<int> exposure;
  std::optional<PictureSize> size;
  bool Everything() const { return !camera && !exposure && !size; }
};

struct CannotWrite : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Extracted {
  std::vector<std::string> files;    // paths written: the pictures, then thumbnail and logo
  std::vector<Place> places;         // of the pictures
  std::vector<std::string> missing;  // what was asked for and is not in the file, in words
};

// Writes each JPEG into `directory` (made if it is not there) as NAME_cam03_exp1_half.jpg, with EXIF (photo_tags.h);
// with no choice made also the thumbnail and the logo, as they are. Older files of these names are replaced.
//   plain  byte for byte as the shot has them, without EXIF
// Throws CannotWrite, CannotRead.
Extracted Extract(const File& file, const std::string& directory, const Choice& choice, bool plain = false);

// Tells each thing that a shot lacks on standard error; `path` is the shot's.
void TellMissing(const std::string& path, const std::vector<std::string>& missing);

// Writes a whole file, replacing an older one. Throws CannotWrite; then no half-written file is left.
void WriteWhole(const std::string& path, const Bytes& bytes);

}  // namespace shot

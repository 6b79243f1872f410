// Judges a shot of marked pictures by its pixels: every picture is the frame that its index entry says.
#pragma once

#include <filesystem>
#include <vector>

struct Misplaced {
  int number;                     // index entry
  int camera, bracket;            // that the entry says
  int foundCamera, foundBracket;  // that the picture shows; -1 if there is no picture with a whole mark
  bool operator==(const Misplaced&) const = default;
};

// All pictures that are not what their entry says, or not of the same exposure of the array as the first one. Fails the
// test if the file is not whole or an entry's own numbers do not fit its position.
std::vector<Misplaced> MisplacedPictures(const std::filesystem::path& shotFile);

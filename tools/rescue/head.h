// The head of a damaged shot: where its sections really stand, whichever of its numbers are wrong.
//
// A place counts by how many independent facts agree on it: tokens, sizes, the record, and the first picture. So one
// wrong number never leads astray, and is put right in what is written.
#pragma once

#include <string>
#include <vector>

#include "tools/rescue/picture_finder.h"

namespace rescue {

// Places in a shot are told in 31 bits; its head and its thumbnail come on top.
constexpr int64_t longestShot = (int64_t{1} << 31) + (16 << 20);

struct Head {
  int64_t indexAt = -1;     // the index section's token; -1: no head was found
  int64_t picturesAt = -1;  // the first byte of the picture section
  int cameras = 25;         // 36 in the second form, which other cameras write
  int exposures = 3;        // 3 or 6
  bool sure = false;        // enough facts agree on these
  bool twoHalf = false;     // filed in two halves
  bool halvesSure = false;  // the record that says so is sound
  int64_t storedSize = 0;   // of the picture section, as told
  shot::Bytes bytes;        // all up to the index section, put right; if no head was found, what could be made of it
  std::vector<std::string> mended;  // what was put right, in words
};

Head ReadHead(Source source);

// A number as the file has it, little-endian; 0 where the source has ended.
int64_t NumberAt(Source source, int64_t at, int bytes);
// The record where a head has it; zeros where the source has ended.
shot::Record RecordIn(Source source);

}  // namespace rescue

// The mark: what a marked picture says of itself, and where in the picture it stands.
//
// The layout is told in fractions of the picture, so that it is the same at both sizes and in a thumbnail. Six columns
// of equal width carry, from the top, twelve rows of bits, each row 64/1224 of the picture's height. The rest, below,
// is one even gray field: the scene's light as this exposure shows it. A dark cell (32) is 0, a bright one (224) is 1.
//
// The 72 bits, in reading order (left to right, top to bottom), each number with its highest bit first:
//
//   bits   what
//    8     10110010, to find the picture's orientation
//    5     camera, 0 to 24
//    3     bracket, 0 to 5
//   24     shot, its lowest 24 bits
//    1     mirror, as the sensor was set
//    1     flip
//    8     gray value of the field
//    6     0
//   16     CRC-16 (polynomial 1021, start FFFF, no reflection) of the 56 bits before
//
// In a readout a gray value stands as its linear signal, with waves of 2 % along each row and without any noise.
//
// The picture itself is not mirrored or flipped by those two bits: a mark must be read whatever a sensor was told.
#pragma once

#include <bitset>
#include <cstdint>

namespace twin {

constexpr int markColumns = 6;
constexpr int markRows = 12;
constexpr int markBits = markColumns * markRows;
constexpr double markRowHeight = 64.0 / 1224.0;  // of the picture's height
constexpr int markDark = 32;
constexpr int markBright = 224;
constexpr unsigned markStart = 0b10110010;

struct Mark {
  int camera = 0;
  int bracket = 0;
  uint32_t shot = 0;
  bool mirror = false;
  bool flip = false;
  int gray = 0;  // 0 to 255

  bool operator==(const Mark&) const = default;
};

using MarkBits = std::bitset<markBits>;  // [0] is the first bit in reading order

MarkBits BitsOf(const Mark& mark);

}  // namespace twin

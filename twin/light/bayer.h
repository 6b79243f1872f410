// What the sensors themselves give: levels of 10 bits behind a mosaic of colour filters.
//
// Blue and green in turn in the first row, green and red in the next, whatever the orientation registers say. Black
// lies at 14, a linear signal of 1 at full scale, 1023. Colours are the sensors' own: what each filter lets through of
// the picture's red, green and blue. A gray light is as bright behind all three.
//
// Orientation: the levels of the cameras 0, 1, 23 and 24 stand as their JPEGs do, those of the others turned by 180
// degrees. That is chosen, since nothing tells it: it is how a reader who mirrors the rows of the cameras 2 to 22 and
// takes them from the last to the first gets pictures that lie as the JPEGs of the same frames.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "twin/light/develop.h"
#include "twin/light/view.h"

namespace twin {

constexpr int blackLevel = 14;
constexpr int fullLevel = 1023;

// signal  linear, noise included; clipped.
inline uint16_t LevelOf(float signal) {
  const float level = signal * (fullLevel - blackLevel) + (blackLevel + 0.5f);
  return static_cast<uint16_t>(static_cast<int>(std::min(std::max(level, 0.0f), fullLevel + 0.5f)));
}

constexpr bool ReadsOutTurned(int camera) { return camera >= 2 && camera <= 22; }

// Levels of the full size from a view of the half: its pixels are the mosaic's blocks of blue, two greens and red.
void ReadOutView(const View& view, const Development& development, std::span<uint16_t> levels);

// The pixels of one camera that do not work: some see nothing, some always white.
//   mirror, flip  of the picture in `levels`, against the sensor
void AddDefects(uint64_t sensor, bool mirror, bool flip, std::span<uint16_t> levels);

}  // namespace twin

// The 25 cameras by image number, and where each of them hangs: nine on layer 0, eight each on layers 1 and 2.
// Constant data, for any thread.
#pragma once

#include <array>

#include "common/types.h"

constexpr int kCameraCount = 25;
constexpr int kLayers = 3;
constexpr int kLayerCameras[kLayers] = {9, 8, 8};

// Image numbers run through layer 0, layer 1 but for its last camera, and layer 2; that last camera ends them.
constexpr int ImgIdxAt(int layIdx, int camIdx) {
  constexpr int kFirst[kLayers] = {0, 9, 16};
  return layIdx == 1 && camIdx == 7 ? kCameraCount - 1 : kFirst[layIdx] + camIdx;
}

// Layer, and camera within the layer, by image number.
inline constexpr auto layIdxTable = [] {
  std::array<BYTE, kCameraCount> table{};
  for (int layIdx = 0; layIdx < kLayers; layIdx++) {
    for (int camIdx = 0; camIdx < kLayerCameras[layIdx]; camIdx++) {
      table[static_cast<size_t>(ImgIdxAt(layIdx, camIdx))] = static_cast<BYTE>(layIdx);
    }
  }
  return table;
}();
inline constexpr auto camIdxTable = [] {
  std::array<BYTE, kCameraCount> table{};
  for (int layIdx = 0; layIdx < kLayers; layIdx++) {
    for (int camIdx = 0; camIdx < kLayerCameras[layIdx]; camIdx++) {
      table[static_cast<size_t>(ImgIdxAt(layIdx, camIdx))] = static_cast<BYTE>(camIdx);
    }
  }
  return table;
}();
static_assert(layIdxTable[8] == 0 && camIdxTable[8] == 8);
static_assert(layIdxTable[9] == 1 && camIdxTable[9] == 0 && layIdxTable[15] == 1 && camIdxTable[15] == 6);
static_assert(layIdxTable[16] == 2 && camIdxTable[16] == 0 && layIdxTable[23] == 2 && camIdxTable[23] == 7);
static_assert(layIdxTable[24] == 1 && camIdxTable[24] == 7);

// Whether a camera stands upright in its raw frames: by image number 0, 1, 23 and 24 do, the others stand on their
// heads. Cleaning mirrors the rows of those, and their files begin with the last row.
constexpr bool LumoIsUpright(int camIdx) { return camIdx == 0 || camIdx == 1 || camIdx == 23 || camIdx == 24; }

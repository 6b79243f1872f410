// The replay sequence of a shot, and what each of its frames is. Constant data, for any thread.
//
// One entry a frame: layers 0 to 2, in each its exposures, in each a run over its cameras with the first and the last
// given twice, because the pipeline is one frame deep and a change of settings shows a frame late. The entries of
// subIdxTable say what to load, those of idxMapTable what to keep: the doubled ends are thrown away.
#pragma once

#include <array>
#include <cstdint>

#include "common/cameras.h"
#include "common/sample_comm_venc/container.h"
#include "common/types.h"

// Sub-image number of a stored frame, which is its read address in the layer.
constexpr int SubIdxOf(int position, int exposure) { return position * 6 + exposure; }

// Entries of the first `layers` layers.
constexpr int ReplayEntries(int hdrCnt, int layers) {
  int entries = 0;
  for (int layer = 0; layer < layers; layer++) entries += hdrCnt * (kLayerCameras[layer] + 2);
  return entries;
}

template <int hdrCnt>
constexpr std::array<BYTE, ReplayEntries(hdrCnt, kLayers)> MakeSubIdxTable() {
  std::array<BYTE, ReplayEntries(hdrCnt, kLayers)> table{};
  int entry = 0;
  for (int cameras : kLayerCameras) {
    for (int exposure = 0; exposure < hdrCnt; exposure++) {
      table[entry++] = static_cast<BYTE>(SubIdxOf(0, exposure));
      for (int position = 0; position < cameras; position++) {
        table[entry++] = static_cast<BYTE>(SubIdxOf(position, exposure));
      }
      table[entry++] = static_cast<BYTE>(SubIdxOf(cameras - 1, exposure));
    }
  }
  return table;
}

template <int hdrCnt>
constexpr std::array<int16_t, ReplayEntries(hdrCnt, kLayers)> MakeIdxMapTable() {
  std::array<int16_t, ReplayEntries(hdrCnt, kLayers)> table{};
  int entry = 0;
  for (int layer = 0; layer < kLayers; layer++) {
    for (int exposure = 0; exposure < hdrCnt; exposure++) {
      table[entry++] = -1;
      for (int position = 0; position < kLayerCameras[layer]; position++) {
        table[entry++] = static_cast<int16_t>(hdrCnt * ImgIdxAt(layer, position) + exposure);
      }
      table[entry++] = -1;
    }
  }
  return table;
}

inline constexpr auto subIdxTableA = MakeSubIdxTable<3>();
inline constexpr auto subIdxTableB = MakeSubIdxTable<6>();
inline constexpr auto idxMapTableA = MakeIdxMapTable<3>();
inline constexpr auto idxMapTableB = MakeIdxMapTable<6>();

// Which half of a two-half shot keeps a camera: 1 the first, 0 the second.
inline constexpr std::array<BYTE, kCameraCount> twoHalfTable = {1, 1, 0, 0, 1, 1, 1, 1, 0, 0, 0, 1, 1,
                                                                1, 1, 0, 0, 0, 1, 1, 1, 1, 0, 1, 1};

template <class Table, size_t rows>
constexpr bool StandsAt(const Table& table, size_t first, const int (&known)[rows]) {
  for (size_t i = 0; i < rows; i++) {
    if (table[first + i] != known[i]) return false;
  }
  return true;
}
static_assert(subIdxTableA.size() == 93 && subIdxTableB.size() == 186);
static_assert(StandsAt(subIdxTableA, 0, {0, 0, 6, 12, 18, 24, 30, 36, 42, 48, 48, 1, 1, 7}));
static_assert(StandsAt(subIdxTableA, 33, {0, 0, 6, 12, 18, 24, 30, 36, 42, 42, 1, 1}));
static_assert(StandsAt(idxMapTableA, 0, {-1, 0, 3, 6, 9, 12, 15, 18, 21, 24, -1, -1, 1, 4, 7}));
static_assert(StandsAt(idxMapTableA, 33, {-1, 27, 30, 33, 36, 39, 42, 45, 72, -1}));

// All that a shot's mode decides about its sequence.
struct ReplaySequence {
  int hdrCnt;             // exposures
  int cntA;               // entries of layer 0
  int cntB;               // entries of layers 0 and 1
  int cntD;               // all entries
  int maxSubIdx;          // loaded past the table's end
  const BYTE* subIdx;     // cntD entries
  const int16_t* idxMap;  // cntD entries: hdrCnt x camera + exposure, or -1
  int fullOffset;         // from a half picture's index entry to that of the full one
  int jpgDataIndexSize;   // bytes
  int midHdrIdx;          // the middle exposure
};

constexpr ReplaySequence kReplayThree = {3,
                                         ReplayEntries(3, 1),
                                         ReplayEntries(3, 2),
                                         ReplayEntries(3, 3),
                                         44,
                                         subIdxTableA.data(),
                                         idxMapTableA.data(),
                                         75,
                                         3000,
                                         1};
constexpr ReplaySequence kReplaySix = {6,
                                       ReplayEntries(6, 1),
                                       ReplayEntries(6, 2),
                                       ReplayEntries(6, 3),
                                       47,
                                       subIdxTableB.data(),
                                       idxMapTableB.data(),
                                       150,
                                       6000,
                                       3};
static_assert(kReplayThree.cntA == 33 && kReplayThree.cntB == 63 && kReplayThree.cntD == 93);
static_assert(kReplaySix.cntA == 66 && kReplaySix.cntB == 126 && kReplaySix.cntD == 186);

// `mode`: captureMode of the shot.
constexpr const ReplaySequence& ReplaySequenceOf(int mode) { return mode < 2 ? kReplayThree : kReplaySix; }

// Index entry of the half picture that becomes the thumbnail: the middle exposure of the camera.
constexpr int ThumbIdxOf(const ReplaySequence& sequence, int thumbCamIdx) {
  return thumbCamIdx * sequence.hdrCnt + sequence.midHdrIdx;
}

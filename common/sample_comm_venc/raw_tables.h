// The sequence of a raw pass: every stored frame of a shot once, and which camera and exposure each of them is.
// Constant data, for any thread. Layers 0 to 2, in each its exposures, in each its cameras; nothing is doubled, since
// raw frames do not pass the pipeline that is one frame deep.
#pragma once

#include <array>

#include "common/sample_comm_venc/replay_tables.h"

namespace raw_pass {

// Frames of the first `layers` layers.
constexpr int Frames(int hdrCnt, int layers) {
  int frames = 0;
  for (int layer = 0; layer < layers; layer++) frames += hdrCnt * kLayerCameras[layer];
  return frames;
}

template <int hdrCnt>
struct Tables {
  std::array<BYTE, Frames(hdrCnt, kLayers)> subIdx{};  // to load: its read address in the layer
  std::array<BYTE, Frames(hdrCnt, kLayers)> idxMap{};  // hdrCnt x camera + exposure
};

// The replay tables without the entries that are thrown away.
template <int hdrCnt, class SubIdx, class IdxMap>
constexpr Tables<hdrCnt> MakeTables(const SubIdx& subIdx, const IdxMap& idxMap) {
  Tables<hdrCnt> tables;
  size_t entry = 0;
  for (size_t i = 0; i < idxMap.size(); i++) {
    if (idxMap[i] < 0) continue;
    tables.subIdx[entry] = subIdx[i];
    tables.idxMap[entry] = static_cast<BYTE>(idxMap[i]);
    entry++;
  }
  return tables;
}

inline constexpr auto tablesA = MakeTables<3>(::subIdxTableA, ::idxMapTableA);
inline constexpr auto tablesB = MakeTables<6>(::subIdxTableB, ::idxMapTableB);
inline constexpr const auto& subIdxTableA = tablesA.subIdx;
inline constexpr const auto& subIdxTableB = tablesB.subIdx;
inline constexpr const auto& idxMapTableA = tablesA.idxMap;
inline constexpr const auto& idxMapTableB = tablesB.idxMap;

static_assert(subIdxTableA.size() == 75 && subIdxTableB.size() == 150);
static_assert(StandsAt(subIdxTableA, 0, {0, 6, 12, 18, 24, 30, 36, 42, 48, 1, 7}));
static_assert(StandsAt(idxMapTableA, 0, {0, 3, 6, 9, 12, 15, 18, 21, 24, 1, 4}));

}  // namespace raw_pass

// All that a shot's mode decides about its raw pass.
struct RawSequence {
  int imgNum;          // frames
  int hdrCnt;          // exposures
  int cntA;            // frames of layer 0
  int cntB;            // frames of layers 0 and 1
  const BYTE* subIdx;  // imgNum entries
  const BYTE* idxMap;  // imgNum entries
};

constexpr RawSequence kRawThree = {raw_pass::Frames(3, 3),        3,
                                   raw_pass::Frames(3, 1),        raw_pass::Frames(3, 2),
                                   raw_pass::subIdxTableA.data(), raw_pass::idxMapTableA.data()};
constexpr RawSequence kRawSix = {raw_pass::Frames(6, 3),        6,
                                 raw_pass::Frames(6, 1),        raw_pass::Frames(6, 2),
                                 raw_pass::subIdxTableB.data(), raw_pass::idxMapTableB.data()};
static_assert(kRawThree.imgNum == 75 && kRawThree.cntA == 27 && kRawThree.cntB == 51);
static_assert(kRawSix.imgNum == 150 && kRawSix.cntA == 54 && kRawSix.cntB == 102);

// `mode`: captureMode of the shot.
constexpr const RawSequence& RawSequenceOf(int mode) { return mode < 2 ? kRawThree : kRawSix; }

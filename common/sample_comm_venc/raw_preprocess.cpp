#include "common/sample_comm_venc/raw_preprocess.h"

#include <bit>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>

BYTE g_rangeTable[kRawLevels];
BYTE g_rndTable[kRndRows * kRawWidth];

namespace {

constexpr int kLevelShift = 6;
constexpr int kLowBits = (1 << kLevelShift) - 1;
constexpr int kBlackLevel = 14;
constexpr int kMaxLevel = 1020;
constexpr int kNoiseValues = 8;

// From these levels on noise counts double what it did below them; under the first it is an eighth, and so nothing.
constexpr int kRangeSteps[] = {64, 192, 384};

// Eight samples at a time, in the vectors that every compiler of ours knows and every processor of ours has. Levels and
// their differences fit 16 signed bits.
using Samples = uint16_t __attribute__((vector_size(16)));
using Levels = int16_t __attribute__((vector_size(16)));
using Pairs = uint32_t __attribute__((vector_size(16)));
using Bytes = BYTE __attribute__((vector_size(16)));
using Halves = uint64_t __attribute__((vector_size(16)));
constexpr int kLanes = 8;

[[gnu::always_inline]] inline Samples Load(const uint16_t* from) {
  Samples samples;
  memcpy(&samples, from, sizeof(samples));
  return samples;
}

[[gnu::always_inline]] inline void Store(uint16_t* to, Samples samples) { memcpy(to, &samples, sizeof(samples)); }

// --- the order of the samples ---

// How much samples differ, two apart and six apart.
struct Scores {
  double sumScoreA;
  double sumScoreB;
};

int Difference(const uint16_t* minuend, const uint16_t* subtrahend) {
  return abs((*minuend - *subtrahend) >> kLevelShift);
}

// (minuend - subtrahend) >> 6, which rounds down: the levels' difference, and one less where the low bits borrow.
[[gnu::always_inline]] inline Levels Differences(Samples minuend, Samples subtrahend) {
  const Levels levels = reinterpret_cast<Levels>((minuend >> kLevelShift) - (subtrahend >> kLevelShift));
  const Levels borrow = reinterpret_cast<Levels>(minuend & kLowBits) < reinterpret_cast<Levels>(subtrahend & kLowBits);
  const Levels difference = levels + borrow;
  const Levels opposite = -difference;
  return difference > opposite ? difference : opposite;
}

// Exchanges the pairs of each group of four.
[[gnu::always_inline]] inline Samples Exchanged(Samples samples) {
  const Pairs pairs = reinterpret_cast<Pairs>(samples);
  return reinterpret_cast<Samples>(__builtin_shufflevector(pairs, pairs, 1, 0, 3, 2));
}

// Adds one row's scores. `left` counts the samples from its start to the frame's end: a group that would read on behind
// them is left out, so that the decision hangs on the frame alone. Others may read into the next row.
void AddRow(const uint16_t* row, int width, size_t left, Scores* scores) {
  constexpr int kSumLimit = 32;  // differences of 1024 that a sum of 16 bits holds, and some more
  const int readable = left < static_cast<size_t>(width) + 4 ? static_cast<int>(left) - 4 : width;
  Pairs sums = {};
  int column = 0;
  for (int blocks = readable / kLanes; blocks > 0;) {
    // The pairs behind a group less its own pairs crosswise: in each group the first pair of differences is between
    // samples two apart, and the second between samples six apart.
    Samples part = {};
    const int end = column + kLanes * (blocks < kSumLimit ? blocks : kSumLimit);
    blocks -= (end - column) / kLanes;
    for (; column < end; column += kLanes) {
      part += reinterpret_cast<Samples>(Differences(Load(row + column + 4), Exchanged(Load(row + column))));
    }
    const Pairs pairs = reinterpret_cast<Pairs>(part);
    sums += (pairs & 0xFFFF) + (pairs >> 16);
  }
  uint32_t curScoreA = sums[0] + sums[2];
  uint32_t curScoreB = sums[1] + sums[3];
  for (; column < width && left >= static_cast<size_t>(column) + kLanes; column += 4) {
    const uint16_t* const s = row + column;
    curScoreA += Difference(s + 4, s + 2) + Difference(s + 5, s + 3);
    curScoreB += Difference(s + 6, s) + Difference(s + 7, s + 1);
  }
  scores->sumScoreA += curScoreA;
  scores->sumScoreB += curScoreB;
}

int MeasuredOrder(const uint16_t* rawBuf, int imgWidth, int imgHeight) {
  Scores scores = {};
  for (int row = 0; row < imgHeight; row++) {
    const size_t left = static_cast<size_t>(imgHeight - row) * imgWidth;
    AddRow(rawBuf + static_cast<size_t>(row) * imgWidth, imgWidth, left, &scores);
  }
  return scores.sumScoreB <= scores.sumScoreA ? -1 : 1;
}

// --- cleaning ---

uint16_t Cleaned(uint16_t sample, BYTE noise) {
  const int level = sample >> kLevelShift;
  const int dithered = level - (noise >> g_rangeTable[level]);
  const int out = dithered < kBlackLevel ? 0 : dithered - kBlackLevel;
  return static_cast<uint16_t>((out > kMaxLevel ? kMaxLevel : out) << kLevelShift);
}

// Eight numbers of noise, as words.
[[gnu::always_inline]] inline Levels LoadNoise(const BYTE* noise) {
  static_assert(std::endian::native == std::endian::little, "a byte is the lower half of a word");
  uint64_t numbers;
  memcpy(&numbers, noise, sizeof(numbers));
  const Bytes bytes = reinterpret_cast<Bytes>(Halves{numbers, 0});
  return reinterpret_cast<Levels>(
      __builtin_shufflevector(bytes, Bytes{}, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23));
}

// Eight cleaned levels.
[[gnu::always_inline]] inline Levels CleanedLevels(const uint16_t* from, const BYTE* noise) {
  const Levels level = reinterpret_cast<Levels>(Load(from) >> kLevelShift);
  // A comparison that holds gives -1: noise is taken never, once, twice or four times, and shifted down by two.
  const Levels some = level >= static_cast<int16_t>(kRangeSteps[0]);
  const Levels more = level >= static_cast<int16_t>(kRangeSteps[1]);
  const Levels full = level >= static_cast<int16_t>(kRangeSteps[2]);
  const Levels times = -(some + more + full + full);
  const Levels black = Levels{} + static_cast<int16_t>(kBlackLevel);
  const Levels most = Levels{} + static_cast<int16_t>(kMaxLevel);
  const Levels dithered = level - (LoadNoise(noise) * times >> 2);
  const Levels out = (dithered > black ? dithered : black) - black;
  return out > most ? most : out;
}

// Eight levels as samples in the cleaned row, at their own place or at that which mirrors it.
template <bool mirrored, bool exchanged>
[[gnu::always_inline]] inline Samples InPlace(Levels levels) {
  Pairs pairs = reinterpret_cast<Pairs>(levels);
  if constexpr (mirrored) {
    // Each two change places and move up in one: a level has no bit that the other's place would see.
    pairs = pairs << (16 + kLevelShift) | pairs >> (16 - kLevelShift);
    pairs = exchanged ? __builtin_shufflevector(pairs, pairs, 2, 3, 0, 1)
                      : __builtin_shufflevector(pairs, pairs, 3, 2, 1, 0);
  } else {
    pairs = pairs << kLevelShift;
    if constexpr (exchanged) pairs = __builtin_shufflevector(pairs, pairs, 1, 0, 3, 2);
  }
  return reinterpret_cast<Samples>(pairs);
}

// Cleans a row whose width is a multiple of eight. A mirrored one is worked on from both ends, which change places: so
// no row is copied back. The row at `ahead` is fetched meanwhile.
template <bool mirrored, bool exchanged>
void CleanRow(uint16_t* row, const uint16_t* ahead, const BYTE* noise, int width) {
  if constexpr (mirrored) {
    for (int left = 0, right = width - kLanes; left <= right; left += kLanes, right -= kLanes) {
      __builtin_prefetch(ahead + 2 * left);
      const Levels first = CleanedLevels(row + left, noise + left);
      const Levels last = CleanedLevels(row + right, noise + right);
      Store(row + left, InPlace<mirrored, exchanged>(last));
      Store(row + right, InPlace<mirrored, exchanged>(first));
    }
  } else {
    for (int x = 0; x < width; x += kLanes) {
      Store(row + x, InPlace<mirrored, exchanged>(CleanedLevels(row + x, noise + x)));
    }
  }
}

// The same for any width. Samples behind the last whole group of four have no pair to change places with.
void CleanAnyRow(uint16_t* row, const BYTE* noise, int width, bool mirrored, bool exchanged) {
  uint16_t rowBuf[kRawWidth];
  for (int x = 0; x < width; x++) {
    const bool moved = exchanged && x < width / 4 * 4;
    const int column = !moved ? x : x % 4 < 2 ? x + 2 : x - 2;
    rowBuf[mirrored ? width - 1 - column : column] = Cleaned(row[x], noise[x]);
  }
  memcpy(row, rowBuf, sizeof(rowBuf[0]) * width);
}

template <bool mirrored, bool exchanged>
void CleanRows(uint16_t* rawBuf, int imgWidth, int imgHeight) {
  for (int i = 0; i < imgHeight; i++) {
    uint16_t* const row = rawBuf + static_cast<size_t>(i) * imgWidth;
    const BYTE* const noise = g_rndTable + imgWidth * (i % kRndRows);
    if (imgWidth % kLanes == 0) {
      CleanRow<mirrored, exchanged>(row, i + 1 < imgHeight ? row + imgWidth : row, noise, imgWidth);
    } else {
      CleanAnyRow(row, noise, imgWidth, mirrored, exchanged);
    }
  }
}

}  // namespace

void InitRandomTable() {
  for (int level = 0; level < kRawLevels; level++) {
    BYTE range = 0;
    for (int step : kRangeSteps) range += level < step;
    g_rangeTable[level] = range;
  }
  srand(static_cast<unsigned int>(time(nullptr)));
  for (BYTE& noise : g_rndTable) noise = static_cast<BYTE>(rand() % kNoiseValues);
}

void PreProcRawData(uint16_t* rawBuf, int imgWidth, int imgHeight, int camIdx, int* orderTable) {
  if (imgWidth < 1 || imgWidth > kRawWidth || camIdx < 0 || camIdx >= kCameraCount) return;
  if (orderTable[camIdx] == 0) orderTable[camIdx] = MeasuredOrder(rawBuf, imgWidth, imgHeight);
  const bool exchanged = orderTable[camIdx] == -1;
  const auto clean = LumoIsUpright(camIdx) ? (exchanged ? CleanRows<false, true> : CleanRows<false, false>)
                                           : (exchanged ? CleanRows<true, true> : CleanRows<true, false>);
  clean(rawBuf, imgWidth, imgHeight);
}

#include "common/sample_comm_venc/raw_preprocess.h"

#include <bit>
#include <cstddef>
#include <cstdint>
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

// Eight samples at a time, two groups of four that are four pairs, in the vectors that every compiler of ours knows and
// every processor of ours has. Levels and their differences fit 16 signed bits.
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

// Two groups of four, a and b, against those four samples on, b and c:
//
//   at + 4            | b0 b1 | b2 b3 | c0 c1 | c2 c3 |
//   at, exchanged     | a2 a3 | a0 a1 | b2 b3 | b0 b1 |
//   differences       |  A  A |  B  B |  A  A |  B  B |    A: of samples two apart, B: six apart
[[gnu::always_inline]] inline Samples GroupDifferences(const uint16_t* at) {
  return reinterpret_cast<Samples>(Differences(Load(at + 4), Exchanged(Load(at))));
}

// Sums of both lanes of each pair.
[[gnu::always_inline]] inline Pairs PairTotals(Samples samples) {
  const Pairs pairs = reinterpret_cast<Pairs>(samples);
  return (pairs & 0xFFFF) + (pairs >> 16);
}

// Adds one row's scores. Each group is compared with the four samples behind it, which in the row's last group are the
// next row's. In the frame's last row that group would look behind the frame: it is left out, so that the decision
// hangs on the frame alone.
void AddRow(const uint16_t* row, int width, bool isLast, Scores* scores) {
  constexpr int kSumLimit = 32;  // differences that a lane gathers before they are taken out
  static_assert(kSumLimit * kRawLevels <= 0xFFFF, "a lane has 16 bits, a difference is at most 1024");
  const int whole = isLast ? width - kLanes : width;
  Pairs sums = {};
  for (int column = 0; column < whole;) {
    Samples part = {};
    const int end = column + kLanes * kSumLimit < whole ? column + kLanes * kSumLimit : whole;
    for (; column < end; column += kLanes) part += GroupDifferences(row + column);
    sums += PairTotals(part);
  }
  if (isLast) {
    // The last group but one, as the second of two: the first has been counted already.
    const Pairs two = PairTotals(GroupDifferences(row + width - kLanes - 4));
    sums += Pairs{0, 0, two[2], two[3]};
  }
  scores->sumScoreA += sums[0] + sums[2];
  scores->sumScoreB += sums[1] + sums[3];
}

int MeasuredOrder(const uint16_t* rawBuf, int imgWidth, int imgHeight) {
  Scores scores = {};
  for (int row = 0; row < imgHeight; row++) {
    AddRow(rawBuf + static_cast<size_t>(row) * imgWidth, imgWidth, row == imgHeight - 1, &scores);
  }
  return scores.sumScoreB <= scores.sumScoreA ? -1 : 1;
}

// --- cleaning ---

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
  static_assert(4 * (kNoiseValues - 1) <= INT16_MAX && kRawLevels <= INT16_MAX);
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

// Eight levels as samples in the cleaned row, at their own place or at that which mirrors it:
//
//   levels        | 0 1 | 2 3 | 4 5 | 6 7 |        mirrored      | 7 6 | 5 4 | 3 2 | 1 0 |
//   exchanged     | 2 3 | 0 1 | 6 7 | 4 5 |        both          | 5 4 | 7 6 | 1 0 | 3 2 |
template <bool mirrored, bool exchanged>
[[gnu::always_inline]] inline Samples InPlace(Levels levels) {
  static_assert(kMaxLevel << kLevelShift <= 0xFFFF, "a level moved up stays within its lane");
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

// Cleans a row. A mirrored one is worked on from both ends, which change places: so
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

template <bool mirrored, bool exchanged>
void CleanRows(uint16_t* rawBuf, int imgWidth, int imgHeight) {
  for (int i = 0; i < imgHeight; i++) {
    uint16_t* const row = rawBuf + static_cast<size_t>(i) * imgWidth;
    const BYTE* const noise = g_rndTable + imgWidth * (i % kRndRows);
    CleanRow<mirrored, exchanged>(row, i + 1 < imgHeight ? row + imgWidth : row, noise, imgWidth);
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
  static_assert(kRawWidth % kLanes == 0 && kRawWidth >= 2 * kLanes);
  if (imgWidth % kLanes != 0 || imgWidth < 2 * kLanes || imgWidth > kRawWidth) return;
  if (camIdx < 0 || camIdx >= kCameraCount) return;
  if (orderTable[camIdx] == 0) orderTable[camIdx] = MeasuredOrder(rawBuf, imgWidth, imgHeight);
  const bool exchanged = orderTable[camIdx] == -1;
  const auto clean = LumoIsUpright(camIdx) ? (exchanged ? CleanRows<false, true> : CleanRows<false, false>)
                                           : (exchanged ? CleanRows<true, true> : CleanRows<true, false>);
  clean(rawBuf, imgWidth, imgHeight);
}

#include "common/fpga_ctrl/capture/thumbnail.h"

#include <turbojpeg.h>

#include <bit>
#include <cstddef>
#include <cstring>

#include "common/log.h"

namespace {

constexpr int kPadding = 1;  // rows follow each other without a gap

// Sixteen bytes at a time, in the vectors that every compiler of ours knows and every processor of ours has.
using Bytes = BYTE __attribute__((vector_size(16)));
using Words = uint16_t __attribute__((vector_size(16)));
using Longs = uint32_t __attribute__((vector_size(16)));

[[gnu::always_inline]] inline Words LoadWords(const BYTE* from) {
  Words words;
  memcpy(&words, from, sizeof(words));
  return words;
}

// Sums of 2 wide, 4 high blocks, eight of them, of sixteen bytes in each of four rows:
//
//   a row's words      | 1 0 | 3 2 | 5 4 | ...    odd bytes are the upper halves
//   odd                | odd bytes of four rows, summed in a word each
//   all                | four whole words, summed: the even bytes' sum, plus 256 times the odd ones', cut to 16 bits
//   all - 256 odd      | the even bytes' sum alone: what was cut comes back as it went
[[gnu::always_inline]] inline Words PairSums(const BYTE* from, size_t srcWidth) {
  static_assert(8 * 0xFF <= 0xFFFF, "a word holds the sum of eight bytes");
  const Words a = LoadWords(from);
  const Words b = LoadWords(from + srcWidth);
  const Words c = LoadWords(from + 2 * srcWidth);
  const Words d = LoadWords(from + 3 * srcWidth);
  const Words odd = ((a >> 8) + (b >> 8)) + ((c >> 8) + (d >> 8));
  const Words all = (a + b) + (c + d);
  return all - (odd << 8) + odd;
}

// Means of eight 4 x 4 blocks, the last one first, from two vectors of eight pair sums (p0 and p1 make block 0):
//
//   left               | p1 p0 | p3 p2 | p5 p4 | p7 p6 |     a long is two words, its lower one at the right
//   + left << 16       | s0 .. | s1 .. | s2 .. | s3 .. |     s0 = p0 + p1; right gives s4 to s7
//   first, second      | s7 s5 s3 s1 |  and  | s6 s4 s2 s0 |  as upper halves of longs
//   together           | s7 s6 | s5 s4 | s3 s2 | s1 s0 |      first moved down, in the order of memory
[[gnu::always_inline]] inline Words EightMeans(const BYTE* from, size_t srcWidth) {
  static_assert(std::endian::native == std::endian::little, "the halves of a long are taken as two words");
  static_assert(16 * 0xFF + 8 <= 0xFFFF, "a word holds the sum of a block, and what rounds it");
  Longs left = reinterpret_cast<Longs>(PairSums(from, srcWidth));
  Longs right = reinterpret_cast<Longs>(PairSums(from + 16, srcWidth));
  left += left << 16;  // a block's sum now stands in the upper half
  right += right << 16;
  const Longs first = __builtin_shufflevector(left, right, 7, 5, 3, 1);
  const Longs second = __builtin_shufflevector(left, right, 6, 4, 2, 0);
  return (reinterpret_cast<Words>((first >> 16) | (second & 0xFFFF0000u)) + 8) >> 4;
}

constexpr int kBlockMeans = 16;  // samples made at a time, from 64 bytes of four rows
static_assert(kMinZoomWidth / 2 >= kBlockMeans, "the narrowest plane is a block wide");

// Makes the sixteen samples in front of `end`, in reverse order.
[[gnu::always_inline]] inline void StoreBlock(BYTE* end, const BYTE* from, size_t srcWidth) {
  const Bytes early = reinterpret_cast<Bytes>(EightMeans(from, srcWidth));
  const Bytes late = reinterpret_cast<Bytes>(EightMeans(from + 32, srcWidth));
  const Bytes means = __builtin_shufflevector(late, early, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
  memcpy(end - kBlockMeans, &means, sizeof(means));
}

// The four rows that come next lie behind the present four: fetching them early hides most of the memory's delay.
[[gnu::always_inline]] inline void FetchAhead(const BYTE* from) {
  for (int line = 0; line < 4; line++) __builtin_prefetch(from + 64 * line);
}

void ZoomQtrPlane(BYTE* dst, const BYTE* src, int dstWidth, int dstHeight) {
  const size_t width = static_cast<size_t>(dstWidth);
  const size_t srcWidth = 4 * width;
  for (int i = 0; i < dstHeight; i++) {
    const BYTE* const row = src + 4 * srcWidth * i;
    BYTE* const end = dst + width * (dstHeight - i);
    const BYTE* const ahead = i + 1 < dstHeight ? row + 4 * srcWidth : row;
    for (int j = 0; j + kBlockMeans <= dstWidth; j += kBlockMeans) {
      FetchAhead(ahead + 16 * j);
      StoreBlock(end - j, row + 4 * j, srcWidth);
    }
    // What is left is less than a block: the last block is made again, up to the end of the row.
    const int last = dstWidth - kBlockMeans;
    if (dstWidth % kBlockMeans != 0) StoreBlock(end - last, row + 4 * last, srcWidth);
  }
}

void ClearPicture(BYTE* imgYUVBytes, int imgWidth, int imgHeight) {
  memset(imgYUVBytes, 0, static_cast<size_t>(imgWidth) * imgHeight * 3 / 2);
}

}  // namespace

int LoadJPGBuf(BYTE* imgYUVBytes, const BYTE* jpgFileBuf, int jpgFileSize, int imgWidth, int imgHeight) {
  const tjhandle decompressor = tjInitDecompress();
  if (decompressor == nullptr) {
    LumoLog("tjInitDecompress error\n");
    return -1;
  }
  int width = 0;
  int height = 0;
  int subsampling = 0;
  int colorSpace = 0;
  if (tjDecompressHeader3(decompressor, jpgFileBuf, jpgFileSize, &width, &height, &subsampling, &colorSpace) != 0) {
    LumoLog("tjDecompressHeader3 error\n");
    ClearPicture(imgYUVBytes, imgWidth, imgHeight);
    return -2;
  }
  if (width != imgWidth || height != imgHeight || subsampling != TJSAMP_420 || colorSpace != TJCS_YCbCr) {
    LumoLog("jpeg size error\n");
    ClearPicture(imgYUVBytes, imgWidth, imgHeight);
    return -3;
  }
  if (tjDecompressToYUV2(decompressor, jpgFileBuf, jpgFileSize, imgYUVBytes, imgWidth, kPadding, imgHeight,
                         TJFLAG_BOTTOMUP | TJFLAG_NOREALLOC) != 0) {
    LumoLog("tjDecompressToYUV2 error\n");
    tjDestroy(decompressor);
    ClearPicture(imgYUVBytes, imgWidth, imgHeight);
    return -4;
  }
  tjDestroy(decompressor);
  return 0;
}

int SaveJPGBuf(BYTE* jpgFileBuf, int* jpgFileSize, const BYTE* imgYUVBytes, int imgWidth, int imgHeight,
               int outputQuality) {
  const tjhandle compressor = tjInitCompress();
  if (compressor == nullptr) {
    LumoLog("tjInitDecompress error\n");  // the text stands for the compressor here
    return -1;
  }
  unsigned char* buffer = jpgFileBuf;
  unsigned long size = tjBufSize(imgWidth, imgHeight, TJSAMP_420);
  const int result = tjCompressFromYUV(compressor, imgYUVBytes, imgWidth, kPadding, imgHeight, TJSAMP_420, &buffer,
                                       &size, outputQuality, TJFLAG_NOREALLOC);
  tjDestroy(compressor);
  if (result != 0) {
    LumoLog("tjCompressFromYUV error\n");
    return -2;
  }
  *jpgFileSize = static_cast<int>(size);
  return 0;
}

int LumoJPGBufSize(int imgWidth, int imgHeight) { return static_cast<int>(tjBufSize(imgWidth, imgHeight, TJSAMP_420)); }

void ZoomQtrYuv(BYTE* dstYUVBytes, const BYTE* srcYUVBytes, int dstWidth, int dstHeight) {
  const int dstHalfWidth = dstWidth / 2;
  const int dstHalfHeight = dstHeight / 2;
  const size_t lumaSize = static_cast<size_t>(dstWidth) * dstHeight;
  const size_t chromaSize = static_cast<size_t>(dstHalfWidth) * dstHalfHeight;
  ZoomQtrPlane(dstYUVBytes, srcYUVBytes, dstWidth, dstHeight);
  BYTE* const dstChroma = dstYUVBytes + lumaSize;
  const BYTE* const srcChroma = srcYUVBytes + 16 * lumaSize;
  ZoomQtrPlane(dstChroma, srcChroma, dstHalfWidth, dstHalfHeight);
  ZoomQtrPlane(dstChroma + chromaSize, srcChroma + 16 * chromaSize, dstHalfWidth, dstHalfHeight);
}

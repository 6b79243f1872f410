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

// Sums of 2 wide, 4 high blocks, eight of them: no word exceeds 8 x 255.
// Odd bytes come out by shifting. The sum of whole words overflows in its upper half only, which is taken away again.
[[gnu::always_inline]] inline Words PairSums(const BYTE* from, size_t srcWidth) {
  const Words a = LoadWords(from);
  const Words b = LoadWords(from + srcWidth);
  const Words c = LoadWords(from + 2 * srcWidth);
  const Words d = LoadWords(from + 3 * srcWidth);
  const Words odd = ((a >> 8) + (b >> 8)) + ((c >> 8) + (d >> 8));
  const Words all = (a + b) + (c + d);
  return all - (odd << 8) + odd;
}

// Means of eight 4 x 4 blocks, the last one first.
[[gnu::always_inline]] inline Words EightMeans(const BYTE* from, size_t srcWidth) {
  static_assert(std::endian::native == std::endian::little, "the halves of a long are taken as two words");
  Longs left = reinterpret_cast<Longs>(PairSums(from, srcWidth));
  Longs right = reinterpret_cast<Longs>(PairSums(from + 16, srcWidth));
  left += left << 16;  // a block's sum now stands in the upper half
  right += right << 16;
  const Longs first = __builtin_shufflevector(left, right, 7, 5, 3, 1);
  const Longs second = __builtin_shufflevector(left, right, 6, 4, 2, 0);
  return (reinterpret_cast<Words>((first >> 16) | (second & 0xFFFF0000u)) + 8) >> 4;
}

constexpr int kBlockMeans = 16;  // samples made at a time, from 64 bytes of four rows

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

BYTE OneMean(const BYTE* from, size_t srcWidth) {
  int sum = 8;
  for (int row = 0; row < 4; row++) {
    for (int column = 0; column < 4; column++) sum += from[row * srcWidth + column];
  }
  return static_cast<BYTE>(sum >> 4);
}

void ZoomQtrPlane(BYTE* dst, const BYTE* src, int dstWidth, int dstHeight) {
  const size_t width = static_cast<size_t>(dstWidth);
  const size_t srcWidth = 4 * width;
  for (int i = 0; i < dstHeight; i++) {
    const BYTE* const row = src + 4 * srcWidth * i;
    BYTE* const end = dst + width * (dstHeight - i);
    if (dstWidth < kBlockMeans) {
      for (int j = 0; j < dstWidth; j++) *(end - 1 - j) = OneMean(row + 4 * j, srcWidth);
      continue;
    }
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

int GiveUpLoad(int result, BYTE* imgYUVBytes, int imgWidth, int imgHeight) {
  memset(imgYUVBytes, 0, static_cast<size_t>(imgWidth) * imgHeight * 3 / 2);
  return result;
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
    return GiveUpLoad(-2, imgYUVBytes, imgWidth, imgHeight);
  }
  if (width != imgWidth || height != imgHeight || subsampling != TJSAMP_420 || colorSpace != TJCS_YCbCr) {
    LumoLog("jpeg size error\n");
    return GiveUpLoad(-3, imgYUVBytes, imgWidth, imgHeight);
  }
  if (tjDecompressToYUV2(decompressor, jpgFileBuf, jpgFileSize, imgYUVBytes, imgWidth, kPadding, imgHeight,
                         TJFLAG_BOTTOMUP | TJFLAG_NOREALLOC) != 0) {
    LumoLog("tjDecompressToYUV2 error\n");
    tjDestroy(decompressor);
    return GiveUpLoad(-4, imgYUVBytes, imgWidth, imgHeight);
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

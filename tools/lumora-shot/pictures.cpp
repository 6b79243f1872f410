#include "tools/lumora-shot/pictures.h"

#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <memory>

namespace shot {
namespace {

// No picture of the camera is wider or higher; so no bad head makes us take more memory than a picture needs.
constexpr int widest = 3264;
constexpr int highest = 2448;

// The standard's example table for luma at quality 50, in rows.
constexpr std::array<int, 64> lumaTable = {16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
                                           14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
                                           18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
                                           49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};

using Handle = std::unique_ptr<void, int (*)(tjhandle)>;

Handle Decompressor() {
  Handle handle(tjInitDecompress(), tjDestroy);
  if (!handle) throw BadJpeg("no decoder");
  return handle;
}

struct Head {
  int width, height, subsampling, colourSpace;
};

Head HeadOf(tjhandle handle, std::span<const uint8_t> jpeg) {
  Head head{};
  if (jpeg.empty()) throw BadJpeg("no bytes");
  if (tjDecompressHeader3(handle, jpeg.data(), jpeg.size(), &head.width, &head.height, &head.subsampling,
                          &head.colourSpace) != 0)
    throw BadJpeg(tjGetErrorStr2(handle));
  if (head.width < 1 || head.height < 1 || head.width > widest || head.height > highest)
    throw BadJpeg("picture of " + std::to_string(head.width) + " x " + std::to_string(head.height) +
                  ", larger than any of the camera");
  return head;
}

int Reduced(int size, int reduction) { return (size + reduction - 1) / reduction; }

// Decodes interleaved pixels; `wrong` receives the complaint about damaged data.
std::vector<uint8_t> Decode(std::span<const uint8_t> jpeg, int reduction, int format, int* width, int* height,
                            std::string* wrong) {
  const Handle handle = Decompressor();
  const Head head = HeadOf(handle.get(), jpeg);
  *width = Reduced(head.width, reduction);
  *height = Reduced(head.height, reduction);
  const size_t pixelSize = format == TJPF_GRAY ? 1 : 3;
  std::vector<uint8_t> pixels(static_cast<size_t>(*width) * static_cast<size_t>(*height) * pixelSize);
  if (tjDecompress2(handle.get(), jpeg.data(), jpeg.size(), pixels.data(), *width, 0, *height, format,
                    TJFLAG_LIMITSCANS) != 0)
    *wrong = tjGetErrorStr2(handle.get());
  return pixels;
}

// The position of the value that stands at `index` of a table written in zigzag order.
std::array<int, 64> ZigzagOrder() {
  std::array<int, 64> order{};
  int row = 0, column = 0;
  for (int i = 0; i < 64; ++i) {
    order[static_cast<size_t>(i)] = 8 * row + column;
    const bool up = (row + column) % 2 == 0;
    if (up && column == 7)
      ++row;
    else if (up && row == 0)
      ++column;
    else if (up)
      --row, ++column;
    else if (row == 7)
      ++column;
    else if (column == 0)
      ++row;
    else
      ++row, --column;
  }
  return order;
}

int QualityOf(std::span<const uint8_t> table) {
  static const std::array<int, 64> order = ZigzagOrder();
  for (int quality = 100; quality >= 1; --quality) {
    const int scale = quality < 50 ? 5000 / quality : 200 - 2 * quality;
    size_t i = 0;
    while (i < 64 && table[i] == std::clamp((lumaTable[static_cast<size_t>(order[i])] * scale + 50) / 100, 1, 255)) ++i;
    if (i == 64) return quality;
  }
  return 0;
}

// Walks the marker segments up to the first scan, looking for quantisation table 0.
int QualityOfJpeg(std::span<const uint8_t> jpeg) {
  size_t at = 2;
  while (at + 4 <= jpeg.size() && jpeg[at] == 0xFF && jpeg[at + 1] != 0xDA) {
    const size_t length = static_cast<size_t>(jpeg[at + 2] << 8 | jpeg[at + 3]);
    const size_t end = at + 2 + length;
    if (length < 2 || end > jpeg.size()) return 0;
    if (jpeg[at + 1] == 0xDB) {
      for (size_t table = at + 4; table + 65 <= end && jpeg[table] < 4; table += 65)  // above 3: 16-bit values
        if (jpeg[table] == 0) return QualityOf(jpeg.subspan(table + 1, 64));
    }
    at = end;
  }
  return 0;
}

}  // namespace

JpegFacts ReadJpegHead(std::span<const uint8_t> jpeg) {
  const Handle handle = Decompressor();
  const Head head = HeadOf(handle.get(), jpeg);
  return {head.width, head.height, head.subsampling == TJSAMP_420 && head.colourSpace == TJCS_YCbCr,
          QualityOfJpeg(jpeg)};
}

std::string WhatIsWrongWithTheData(std::span<const uint8_t> jpeg) {
  try {
    // The codes are read in full at any reduction; only the arithmetic behind them is spared.
    int width, height;
    std::string wrong;
    Decode(jpeg, 8, TJPF_RGB, &width, &height, &wrong);
    return wrong;
  } catch (const BadJpeg& bad) {
    return bad.what();
  }
}

Gray DecodeGray(std::span<const uint8_t> jpeg, int reduction) {
  Gray gray;
  std::string wrong;
  gray.pixels = Decode(jpeg, reduction, TJPF_GRAY, &gray.width, &gray.height, &wrong);
  if (!wrong.empty()) throw BadJpeg(wrong);
  return gray;
}

Yuv DecodeYuv(std::span<const uint8_t> jpeg) {
  const Handle handle = Decompressor();
  const Head head = HeadOf(handle.get(), jpeg);
  if (head.subsampling != TJSAMP_420 || head.colourSpace != TJCS_YCbCr) throw BadJpeg("not YCbCr 4:2:0");
  if (head.width % 2 != 0 || head.height % 2 != 0) throw BadJpeg("odd size");  // the decoder would pad the planes
  Yuv yuv{head.width, head.height, {}, {}, {}};
  const int chromaWidth = head.width / 2;
  yuv.y.resize(static_cast<size_t>(head.width) * static_cast<size_t>(head.height));
  yuv.u.resize(static_cast<size_t>(chromaWidth) * static_cast<size_t>(head.height / 2));
  yuv.v.resize(yuv.u.size());
  std::array<unsigned char*, 3> planes = {yuv.y.data(), yuv.u.data(), yuv.v.data()};
  std::array<int, 3> strides = {head.width, chromaWidth, chromaWidth};
  if (tjDecompressToYUVPlanes(handle.get(), jpeg.data(), jpeg.size(), planes.data(), 0, strides.data(), 0,
                              TJFLAG_LIMITSCANS) != 0)
    throw BadJpeg(tjGetErrorStr2(handle.get()));
  return yuv;
}

Rgb DecodeRgb(std::span<const uint8_t> jpeg, int reduction) {
  Rgb rgb;
  rgb.pixels = Decode(jpeg, reduction, TJPF_RGB, &rgb.width, &rgb.height, &rgb.wrong);
  return rgb;
}

std::vector<uint8_t> EncodeRgb(const Rgb& picture, int quality) {
  const Handle handle(tjInitCompress(), tjDestroy);
  if (!handle) throw BadJpeg("no encoder");
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  const int result = tjCompress2(handle.get(), picture.pixels.data(), picture.width, 0, picture.height, TJPF_RGB,
                                 &bytes, &size, TJSAMP_420, quality, 0);
  const std::unique_ptr<unsigned char, void (*)(unsigned char*)> owner(bytes, tjFree);
  if (result != 0) throw BadJpeg(tjGetErrorStr2(handle.get()));
  return {bytes, bytes + size};
}

}  // namespace shot

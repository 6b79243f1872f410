#include "twin/devices/media/treatment.h"

#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

namespace twin {

namespace {

constexpr uint16_t kWhite = 0x3FF;

struct Pixels {
  int width, height;
  std::vector<uint8_t> bytes;  // red, green, blue
  uint8_t* At(int x, int y) {
    return &bytes[(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) * 3];
  }
};

void Check(tjhandle handle, int result) {
  if (result != 0) throw std::runtime_error(tjGetErrorStr2(handle));
}

Pixels Decode(const Jpeg& jpeg, PictureSize size) {
  Pixels pixels{WidthOf(size), HeightOf(size), {}};
  pixels.bytes.resize(static_cast<size_t>(pixels.width) * static_cast<size_t>(pixels.height) * 3);
  const tjhandle handle = tjInitDecompress();
  Check(handle, tjDecompress2(handle, jpeg->data(), jpeg->size(), pixels.bytes.data(), pixels.width, 0, pixels.height,
                              TJPF_RGB, 0));
  tjDestroy(handle);
  return pixels;
}

Jpeg Encode(const Pixels& pixels, int quality) {
  const tjhandle handle = tjInitCompress();
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  Check(handle, tjCompress2(handle, pixels.bytes.data(), pixels.width, 0, pixels.height, TJPF_RGB, &bytes, &size,
                            TJSAMP_420, quality, 0));
  Jpeg jpeg = std::make_shared<const std::vector<uint8_t>>(bytes, bytes + size);
  tjFree(bytes);
  tjDestroy(handle);
  return jpeg;
}

// The window stretched over the whole picture, turned as the treatment says.
Pixels Moved(Pixels& from, const Treatment& how, int fullWidth) {
  Pixels to{from.width, from.height, std::vector<uint8_t>(from.bytes.size())};
  const int reduction = fullWidth / from.width;
  const auto scaled = [](int at, int count, HI_U32 part) { return static_cast<int>(int64_t{at} * part / count); };
  for (int y = 0; y < to.height; y++) {
    for (int x = 0; x < to.width; x++) {
      const int atX = how.mirrored ? to.width - 1 - x : x, atY = how.flipped ? to.height - 1 - y : y;
      const int fromX = (how.window.s32X + scaled(atX, to.width, how.window.u32Width)) / reduction;
      const int fromY = (how.window.s32Y + scaled(atY, to.height, how.window.u32Height)) / reduction;
      std::copy_n(from.At(std::min(fromX, from.width - 1), std::min(fromY, from.height - 1)), 3, to.At(x, y));
    }
  }
  return to;
}

// A colour's place in a pixel, of those that stand for red, green and blue, if the rows are taken for others.
std::array<int, 3> ColoursOf(ISP_BAYER_FORMAT_E bayer) {
  switch (bayer) {
    case BAYER_BGGR: return {0, 1, 2};
    case BAYER_RGGB: return {2, 1, 0};
    case BAYER_GBRG: return {1, 2, 1};  // red and blue are green ones, and green a mean that is mostly blue
    case BAYER_GRBG: return {1, 0, 1};
  }
  return {0, 1, 2};
}
// What white balance makes of a colour that it takes for another: filters let through less red and blue than green.
constexpr std::array<double, 3> kFilter = {0.55, 1, 0.65};

void Blur(Pixels& pixels) {
  for (size_t i = 3; i + 3 < pixels.bytes.size(); i++) {
    pixels.bytes[i] = static_cast<uint8_t>((pixels.bytes[i - 3] + 2 * pixels.bytes[i] + pixels.bytes[i + 3]) / 4);
  }
}

// What becomes of each value of a colour that stands for another.
using Curve = std::array<double, 256>;
Curve CurveOf(const Treatment& how, size_t source, size_t colour) {
  Curve curve;
  for (size_t before = 0; before < curve.size(); before++) {
    double value = static_cast<double>(before) * std::sqrt(kFilter[source] / kFilter[colour]);
    value = how.Sample(static_cast<uint16_t>(std::min(value, 255.0) * kWhite / 255)) * 255.0 / kWhite;
    value -= how.black * 255.0 / kWhite;
    if (how.contrast) value = 128 + (value - 128) * 1.25;
    if (how.matrix == VI_CSC_TYPE_709) value += (colour == 1 ? -1 : 1) * 6;
    curve[before] = value;
  }
  return curve;
}

void Colour(Pixels& pixels, const Treatment& how) {
  const std::array<int, 3> from = ColoursOf(how.bayer);
  std::array<Curve, 3> curves;
  for (size_t colour = 0; colour < 3; colour++) {
    curves[colour] = CurveOf(how, static_cast<size_t>(from[colour]), colour);
  }
  uint32_t chance = 1;
  for (size_t i = 0; i < pixels.bytes.size(); i += 3) {
    const std::array<uint8_t, 3> before = {pixels.bytes[i], pixels.bytes[i + 1], pixels.bytes[i + 2]};
    for (size_t colour = 0; colour < 3; colour++) {
      double value = curves[colour][before[static_cast<size_t>(from[colour])]];
      if (how.noisy) value += static_cast<int>((chance = chance * 1664525u + 1013904223u) >> 27) - 16;
      pixels.bytes[i + colour] = static_cast<uint8_t>(std::clamp(value, 0.0, 255.0));
    }
  }
}

}  // namespace

std::vector<std::string> Treatment::Wrongs() const {
  std::vector<std::string> wrongs;
  const auto say = [&](bool wrong, const char* what) {
    if (wrong) wrongs.push_back(what);
  };
  say(mirrored, "mirrored");
  say(flipped, "upside down");
  say(window.s32X != 0 || window.s32Y != 0 || window.u32Width != 3264 || window.u32Height != 2448, "cut");
  say(sampleBits != kWhite, "without some bits of their samples");
  say(bitsReversed, "with the bits of their samples reversed");
  say(bayer != BAYER_BGGR, "in false colours");
  say(black != 0, "too dark, black having been taken away");
  say(matrix != VI_CSC_TYPE_601, "in colours of another matrix");
  say(contrast, "with another contrast");
  say(noisy, "noisy");
  say(soft, "soft");
  return wrongs;
}

uint16_t Treatment::Sample(uint16_t level) const {
  uint16_t sample = level & sampleBits;
  if (!bitsReversed) return sample;
  uint16_t reversed = 0;
  for (int bit = 0; bit < 10; bit++) reversed = static_cast<uint16_t>(reversed << 1 | (sample >> bit & 1));
  return reversed;
}

Jpeg Treatment::Apply(const Jpeg& picture, PictureSize size, int quality) const {
  if (Wrongs().empty()) return picture;
  Pixels pixels = Decode(picture, size);
  const bool whole = window.u32Width == 3264 && window.u32Height == 2448;
  if (mirrored || flipped || !whole) pixels = Moved(pixels, *this, WidthOf(PictureSize::Full));
  Colour(pixels, *this);
  if (soft) Blur(pixels);
  return Encode(pixels, quality);
}

}  // namespace twin

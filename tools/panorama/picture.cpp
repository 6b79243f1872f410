#include "tools/panorama/picture.h"

#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <numeric>
#include <string>

#include "tools/lumora-shot/pictures.h"
#include "tools/lumora-shot/shot_file.h"

namespace panorama {
namespace {

constexpr int phases = 64;
constexpr int fullWeight = 64;  // of a row: 255 x 64, and what a cubic goes beyond it, still fit into 16 bits

using Row8 = int16_t __attribute__((vector_size(16)));
using Bytes8 = uint8_t __attribute__((vector_size(8)));

// The cubic of Catmull and Rom: weights of the four pixels round a point `t` behind the second.
std::array<double, 4> CubicAt(double t) {
  return {((2 - t) * t - 1) * t / 2, ((3 * t - 5) * t * t + 2) / 2, ((4 - 3 * t) * t + 1) * t / 2, (t - 1) * t * t / 2};
}

struct Weights {
  std::array<std::array<Row8, 4>, phases> rows;
  std::array<std::array<Floats, 4>, phases> columns;  // these also take back what the rows have scaled up
};

const Weights& WeightTable() {
  static const Weights table = [] {
    Weights made{};
    for (size_t phase = 0; phase < phases; phase++) {
      const auto cubic = CubicAt(static_cast<double>(phase) / phases);
      std::array<int, 4> whole{};
      for (size_t i = 0; i < 4; i++) whole[i] = static_cast<int>(std::lround(cubic[i] * fullWeight));
      whole[phase < phases / 2 ? 1 : 2] += fullWeight - std::accumulate(whole.begin(), whole.end(), 0);
      for (size_t i = 0; i < 4; i++) {
        made.rows[phase][i] = Row8{} + static_cast<int16_t>(whole[i]);
        made.columns[phase][i] = Splat(static_cast<float>(cubic[i] / fullWeight));
      }
    }
    return made;
  }();
  return table;
}

// Two pixels of bytes, widened.
Row8 TwoPixels(const uint8_t* bytes) {
  Bytes8 pair;
  std::memcpy(&pair, bytes, sizeof pair);
  return __builtin_convertvector(pair, Row8);
}

// One of two pixels, in floats.
Floats First(Row8 pair) {
  return __builtin_convertvector(__builtin_convertvector(__builtin_shufflevector(pair, pair, 0, 1, 2, 3), Ints),
                                 Floats);
}
Floats Second(Row8 pair) {
  return __builtin_convertvector(__builtin_convertvector(__builtin_shufflevector(pair, pair, 4, 5, 6, 7), Ints),
                                 Floats);
}

}  // namespace

Picture::Picture(std::span<const uint8_t> jpeg, int reduction) : reduction_(reduction) {
  constexpr int fullWidth = shot::WidthOf(shot::PictureSize::Full),
                fullHeight = shot::HeightOf(shot::PictureSize::Full);
  const shot::JpegFacts facts = shot::ReadJpegHead(jpeg);
  if (facts.width != fullWidth || facts.height != fullHeight)
    throw shot::BadJpeg(std::to_string(facts.width) + " x " + std::to_string(facts.height) + " pixels");
  width_ = fullWidth / reduction;
  height_ = fullHeight / reduction;
  bytes_ = Block(size_t{4} * static_cast<size_t>(width_) * static_cast<size_t>(height_), Block::Content::Anything);
  const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), tjDestroy);
  if (!decoder) throw shot::BadJpeg("no decoder");
  if (tjDecompress2(decoder.get(), jpeg.data(), jpeg.size(), static_cast<uint8_t*>(bytes_.Get()), width_, 0, height_,
                    TJPF_RGBX, TJFLAG_LIMITSCANS) != 0)
    throw shot::BadJpeg(tjGetErrorStr2(decoder.get()));
}

void Picture::Sample(const float* x, const float* y, int count, Floats* levels) const {
  const Weights& weights = WeightTable();
  const float scale = phases / static_cast<float>(reduction_);
  constexpr float middle = 0.5f - phases / 2.0f;  // of the first pixel, and rounding
  const auto lastX = static_cast<float>((width_ - 3) * phases), lastY = static_cast<float>((height_ - 3) * phases);
  const size_t stride = size_t{4} * static_cast<size_t>(width_);
  const auto* bytes = static_cast<const uint8_t*>(bytes_.Get());
  for (int i = 0; i < count; i++) {
    // In phases from the middle of the first pixel; four pixels must stand around.
    const auto px =
        static_cast<unsigned>(static_cast<int>(std::min(std::max(x[i] * scale + middle, float{phases}), lastX)));
    const auto py =
        static_cast<unsigned>(static_cast<int>(std::min(std::max(y[i] * scale + middle, float{phases}), lastY)));
    const auto& rows = weights.rows[py % phases];
    const auto& columns = weights.columns[px % phases];
    const uint8_t* at = bytes + (py / phases - 1) * stride + size_t{4} * (px / phases - 1);
    // The panorama's next row most often lies a little higher up in a picture that stands on its head.
    __builtin_prefetch(at - stride);
    __builtin_prefetch(at - 2 * stride);
    Row8 left = TwoPixels(at) * rows[0], right = TwoPixels(at + 8) * rows[0];
    for (size_t row = 1; row < 4; row++) {
      at += stride;
      left += TwoPixels(at) * rows[row];
      right += TwoPixels(at + 8) * rows[row];
    }
    levels[i] =
        First(left) * columns[0] + Second(left) * columns[1] + First(right) * columns[2] + Second(right) * columns[3];
  }
}

}  // namespace panorama

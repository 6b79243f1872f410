#include "tools/panorama/picture.h"

#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string>

#include "tools/lumora-shot/pictures.h"
#include "tools/lumora-shot/shot_file.h"

namespace panorama {
namespace {

constexpr int phases = 64;
constexpr int fullWeight = 64;  // of a row: 255 x 64, and what a cubic goes beyond it, still fit into 16 bits

using Row8 = int16_t __attribute__((vector_size(16)));
using Bytes8 = uint8_t __attribute__((vector_size(8)));
using Ints = int32_t __attribute__((vector_size(16)));

// The cubic of Catmull and Rom: weights of the four pixels round a point `t` behind the second.
std::array<double, 4> CubicAt(double t) {
  return {((2 - t) * t - 1) * t / 2, ((3 * t - 5) * t * t + 2) / 2, ((4 - 3 * t) * t + 1) * t / 2, (t - 1) * t * t / 2};
}

struct Weights {
  std::array<std::array<int16_t, 4>, phases + 1> rows;
  std::array<std::array<float, 4>, phases + 1> columns;  // these also take back what the rows have scaled up
};

const Weights& WeightTable() {
  static const Weights table = [] {
    Weights made{};
    for (size_t phase = 0; phase <= phases; phase++) {
      const auto cubic = CubicAt(static_cast<double>(phase) / phases);
      int sum = 0;
      for (size_t i = 0; i < 4; i++) {
        made.columns[phase][i] = static_cast<float>(cubic[i] / fullWeight);
        made.rows[phase][i] = static_cast<int16_t>(std::lround(cubic[i] * fullWeight));
        sum += made.rows[phase][i];
      }
      made.rows[phase][phase < phases / 2 ? 1 : 2] += static_cast<int16_t>(fullWeight - sum);
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

Floats Half(Row8 pair, int first) {
  const Ints ints = first == 0 ? Ints{pair[0], pair[1], pair[2], pair[3]} : Ints{pair[4], pair[5], pair[6], pair[7]};
  return __builtin_convertvector(ints, Floats);
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
  bytes_ = std::make_unique_for_overwrite<uint8_t[]>(size_t{4} * width_ * height_);
  const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), tjDestroy);
  if (!decoder) throw shot::BadJpeg("no decoder");
  if (tjDecompress2(decoder.get(), jpeg.data(), jpeg.size(), bytes_.get(), width_, 0, height_, TJPF_RGBX,
                    TJFLAG_LIMITSCANS) != 0)
    throw shot::BadJpeg(tjGetErrorStr2(decoder.get()));
}

void Picture::Sample(const float* x, const float* y, int count, Floats* levels) const {
  const Weights& weights = WeightTable();
  const float scale = phases / static_cast<float>(reduction_);
  const auto lastX = static_cast<float>((width_ - 3) * phases), lastY = static_cast<float>((height_ - 3) * phases);
  const ptrdiff_t stride = ptrdiff_t{4} * width_;
  for (int i = 0; i < count; i++) {
    // In phases from the middle of the first pixel; four pixels must stand around.
    const int px = static_cast<int>(std::clamp(x[i] * scale - phases / 2 + 0.5f, float{phases}, lastX));
    const int py = static_cast<int>(std::clamp(y[i] * scale - phases / 2 + 0.5f, float{phases}, lastY));
    const auto& rows = weights.rows[static_cast<size_t>(py % phases)];
    const auto& columns = weights.columns[static_cast<size_t>(px % phases)];
    const uint8_t* at = bytes_.get() + (py / phases - 1) * stride + ptrdiff_t{4} * (px / phases - 1);
    Row8 left = TwoPixels(at) * rows[0], right = TwoPixels(at + 8) * rows[0];
    for (size_t row = 1; row < 4; row++) {
      at += stride;
      left += TwoPixels(at) * rows[row];
      right += TwoPixels(at + 8) * rows[row];
    }
    const Floats sum = Half(left, 0) * columns[0] + Half(left, 4) * columns[1] + Half(right, 0) * columns[2] +
                       Half(right, 4) * columns[3];
    levels[i] = Smaller(Larger(sum, Splat(0)), Splat(255));
  }
}

}  // namespace panorama

#include "tools/panorama/tone_map.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace panorama {
namespace {

constexpr float stop = RadianceScale::codesPerStop;
constexpr float texture = 0.33f * stop;  // differences up to about this are detail, larger ones divide the scene
// Where the large parts come to lie, in stops below white: half of the sphere on either side of middleGray.
constexpr float brightest = -0.6f * stop, middleGray = -2.0f * stop, darkest = -4.6f * stop;
constexpr float mostLift = 2 * stop;  // of the middle against the middle exposure; what is darker was night
constexpr float detailGain = 1.55f;   // the scene's range is smaller than it was; this keeps it crisp

// How light a pixel is to the eye, in codes.
int Lightness(Codes codes) { return (2 * codes[0] + 5 * codes[1] + codes[2]) >> 3; }

// Means over squares of 2 `radius` + 1; columns go round, rows end.
Layer<float> Means(const Layer<float>& layer, int radius) {
  const int width = layer.Width(), height = layer.Height();
  Layer<float> across(width, height), means(width, height);
  const auto round = [width](int x) { return (x % width + width) % width; };
  for (int y = 0; y < height; y++) {
    const float* row = layer.Row(y);
    double sum = 0;
    for (int x = -radius; x <= radius; x++) sum += row[round(x)];
    for (int x = 0; x < width; x++) {
      across.Row(y)[x] = static_cast<float>(sum / (2 * radius + 1));
      sum += row[round(x + radius + 1)] - row[round(x - radius)];
    }
  }
  std::vector<double> sums(static_cast<size_t>(width), 0.0);
  const auto add = [&](int y, double sign) {
    const float* row = across.Row(std::clamp(y, 0, height - 1));
    for (int x = 0; x < width; x++) sums[static_cast<size_t>(x)] += sign * row[x];
  };
  for (int y = -radius; y <= radius; y++) add(y, 1);
  for (int y = 0; y < height; y++) {
    for (int x = 0; x < width; x++)
      means.Row(y)[x] = static_cast<float>(sums[static_cast<size_t>(x)] / (2 * radius + 1));
    add(y + radius + 1, 1);
    add(y - radius, -1);
  }
  return means;
}

// A new layer of what `make` says of each pixel.
template <typename Make>
Layer<float> Each(int width, int height, const Make& make) {
  Layer<float> layer(width, height);
  for (int y = 0; y < height; y++)
    for (int x = 0; x < width; x++) layer.Row(y)[x] = make(x, y);
  return layer;
}

// One side of the middle: distances from it as they are shown. Near the middle nothing changes; `found` comes to
// `wanted`, if that is less, and what is beyond is squeezed more and more.
class Side {
 public:
  Side(float found, float wanted)
      : squeeze_(wanted < found ? (found - std::max(wanted, stop / 4)) / (found * std::max(wanted, stop / 4)) : 0) {}
  float Bent(float distance) const { return distance / (1 + distance * squeeze_); }

 private:
  float squeeze_;
};

// White is reached slowly: what is near it is bent.
double Soft(double signal) {
  constexpr double straight = 0.7;
  return signal < straight ? signal : 1 - (1 - straight) * std::exp(-(signal - straight) / (1 - straight));
}

}  // namespace

ToneMap::ToneMap(const Layer<Codes>& small, int width, const RadianceScale& scale, double middle) : width_(width) {
  Smooth(small);
  ChooseCurve(small, scale.CodeOf(Splat(static_cast<float>(middle)))[0]);
  for (int code = lowestShifted_; code <= 2 * highestCode; code++)
    levels_.push_back(
        static_cast<uint8_t>(std::lround(255 * Display(Soft(std::max(scale.RadianceAt(code), 0.0) / middle)))));
}

void ToneMap::Smooth(const Layer<Codes>& small) {
  const int width = small.Width(), height = small.Height(), radius = std::max(width / 56, 2);
  const auto light = Each(width, height, [&](int x, int y) { return static_cast<float>(Lightness(small.Row(y)[x])); });
  const auto square = Each(width, height, [&](int x, int y) { return light.Row(y)[x] * light.Row(y)[x]; });
  const Layer<float> mean = Means(light, radius), meanSquare = Means(square, radius);
  const auto slope = Each(width, height, [&](int x, int y) {
    const float variance = std::max(meanSquare.Row(y)[x] - mean.Row(y)[x] * mean.Row(y)[x], 0.0f);
    return variance / (variance + texture * texture);
  });
  const auto offset = Each(width, height, [&](int x, int y) { return mean.Row(y)[x] * (1 - slope.Row(y)[x]); });
  slope_ = Means(slope, radius);
  offset_ = Means(offset, radius);
}

void ToneMap::ChooseCurve(const Layer<Codes>& small, int full) {
  // How much of the sphere has which code.
  std::vector<double> counts(highestCode + 1, 0.0);
  for (int y = 0; y < small.Height(); y++)
    for (int x = 0; x < small.Width(); x++) {
      const auto large =
          static_cast<int>(slope_.Row(y)[x] * static_cast<float>(Lightness(small.Row(y)[x])) + offset_.Row(y)[x]);
      counts[static_cast<size_t>(std::clamp(large, 0, highestCode))] +=
          std::sin((y + 0.5) / small.Height() * std::numbers::pi);
    }
  const double all = std::accumulate(counts.begin(), counts.end(), 0.0);
  const auto part = [&](double share) {
    double sum = 0;
    int code = 0;
    while (code < highestCode && (sum += counts[static_cast<size_t>(code)]) < share * all) code++;
    return static_cast<float>(code);
  };
  const float low = part(0.02), middle = part(0.5), high = part(0.985);
  const auto white = static_cast<float>(full);
  const float shownMiddle = std::clamp(white + middleGray, middle - mostLift, middle + mostLift);
  const Side up(high - middle, white + brightest - shownMiddle);
  const Side down(middle - low, shownMiddle - (white + darkest));
  for (int code = 0; code <= highestCode; code++) {
    const float from = static_cast<float>(code) - middle;
    const float shown = shownMiddle + (from > 0 ? up.Bent(from) : -down.Bent(-from));
    shift_.push_back(static_cast<int16_t>(std::lround(shown - static_cast<float>(code))));
  }
}

void ToneMap::Show(int row, const Codes* codes, Shade* out) const {
  // The small picture's rows and columns round this one, in halves of its pixels.
  const int reduction = width_ / slope_.Width();
  const float y = (static_cast<float>(row) + 0.5f) / static_cast<float>(reduction) - 0.5f;
  const int above = std::clamp(static_cast<int>(std::floor(y)), 0, slope_.Height() - 1);
  const int below = std::min(above + 1, slope_.Height() - 1);
  const float low = std::clamp(y - static_cast<float>(above), 0.0f, 1.0f);
  const auto at = [&](const Layer<float>& layer, int x) {
    const int column = (x + layer.Width()) % layer.Width();
    return layer.Row(above)[column] * (1 - low) + layer.Row(below)[column] * low;
  };
  for (int x = -1; x < slope_.Width(); x++) {
    // Pixels between the middles of two columns of the small picture.
    const float slope = at(slope_, x), slopeStep = at(slope_, x + 1) - slope;
    const float offset = at(offset_, x), offsetStep = at(offset_, x + 1) - offset;
    const int begin = x * reduction + reduction / 2;
    for (int i = 0; i < reduction; i++) {
      const int column = begin + i;
      if (column < 0 || column >= width_) continue;
      const float way = (static_cast<float>(i) + 0.5f) / static_cast<float>(reduction);
      const Codes pixel = Shown(codes[column]);
      const auto large = static_cast<int>((slope + slopeStep * way) * static_cast<float>(Lightness(pixel)) + offset +
                                          offsetStep * way);
      const int detail = Lightness(pixel) - large;
      const int shift = shift_[static_cast<size_t>(std::clamp(large, 0, highestCode))] +
                        static_cast<int>(static_cast<float>(detail) * (detailGain - 1)) - lowestShifted_;
      for (size_t colour = 0; colour < 3; colour++)
        out[column][colour] =
            levels_[static_cast<size_t>(std::clamp(pixel[colour] + shift, 0, static_cast<int>(levels_.size()) - 1))];
    }
  }
}

}  // namespace panorama

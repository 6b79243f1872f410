#include "tools/panorama/tone_map.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace panorama {
namespace {

constexpr float stop = RadianceScale::codesPerStop;
// Where the large parts come to lie, in stops below white: half of the sphere on either side of middleGray.
constexpr float brightest = -0.45f * stop, middleGray = -2.0f * stop, darkest = -4.6f * stop;
constexpr float mostLift = 2 * stop;   // of the middle against the middle exposure; what is darker was night
constexpr double clipsFrom = 0.72;     // signal from which on an exposure shows less and less: level 220
constexpr double moreDetail = 1.1;     // than the best exposure: some of it is taken for large parts
constexpr double mostGain = 4;         // of detail: what would need more is noise
constexpr float detail = 1.0f * stop;  // about as much is detail, more is an edge and keeps its own height
constexpr int columnsOfGrid = 64;      // a cell is 5.6 degrees wide and high

// How light a pixel is to the eye, in codes.
int Lightness(Codes codes) { return (2 * codes[0] + 5 * codes[1] + codes[2]) >> 3; }

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

LargeParts::LargeParts(const Layer<Codes>& small)
    : width_(columnsOfGrid), height_(columnsOfGrid / 2), cells_(static_cast<size_t>(width_ * height_), Cell{}) {
  std::vector<Cell> weights(cells_.size(), Cell{});
  for (int y = 0; y < small.Height(); y++)
    for (int x = 0; x < small.Width(); x++) {
      const int lightness = Lightness(Shown(small.Row(y)[x]));
      const auto cell = static_cast<size_t>(y * height_ / small.Height() * width_ + x * width_ / small.Width());
      const auto step = static_cast<size_t>((lightness + codesPerStep / 2) / codesPerStep);
      weights[cell][step] += 1;
      cells_[cell][step] += static_cast<float>(lightness);
    }
  Blur(cells_, width_, height_);
  Blur(weights, width_, height_);
  for (size_t cell = 0; cell < cells_.size(); cell++)
    for (size_t step = 0; step < steps; step++) {
      constexpr float alone = 1e-3f;  // what nobody around is like is its own mean
      cells_[cell][step] =
          (cells_[cell][step] + alone * static_cast<float>(step) * codesPerStep) / (weights[cell][step] + alone);
    }
}

// Binomial weights, 1 4 6 4 1, along columns, rows and codes; columns go round.
void LargeParts::Blur(std::vector<Cell>& cells, int width, int height) {
  const auto along = [](const auto& at) {
    Cell sum;
    for (size_t i = 0; i < steps; i++) sum[i] = (at(-2)[i] + at(2)[i] + 4 * (at(-1)[i] + at(1)[i]) + 6 * at(0)[i]) / 16;
    return sum;
  };
  std::vector<Cell> from = cells;
  for (int y = 0; y < height; y++)
    for (int x = 0; x < width; x++)
      cells[static_cast<size_t>(y * width + x)] =
          along([&](int i) -> const Cell& { return from[static_cast<size_t>(y * width + (x + i + width) % width)]; });
  from = cells;
  for (int y = 0; y < height; y++)
    for (int x = 0; x < width; x++)
      cells[static_cast<size_t>(y * width + x)] = along([&](int i) -> const Cell& {
        return from[static_cast<size_t>(std::clamp(y + i, 0, height - 1) * width + x)];
      });
  for (Cell& cell : cells) {
    const Cell lone = cell;
    const auto at = [&](int step) { return step >= 0 && step < steps ? lone[static_cast<size_t>(step)] : 0.0f; };
    for (int step = 0; step < steps; step++)
      cell[static_cast<size_t>(step)] =
          (at(step - 2) + at(step + 2) + 4 * (at(step - 1) + at(step + 1)) + 6 * at(step)) / 16;
  }
}

LargeParts::Row::Row(const LargeParts& parts, int row, int width, int height)
    : perColumn_(static_cast<float>(parts.width_) / static_cast<float>(width)) {
  const float y =
      (static_cast<float>(row) + 0.5f) * static_cast<float>(parts.height_) / static_cast<float>(height) - 0.5f;
  const int above = std::clamp(static_cast<int>(std::floor(y)), 0, parts.height_ - 1);
  const int below = std::min(above + 1, parts.height_ - 1);
  const float low = std::clamp(y - static_cast<float>(above), 0.0f, 1.0f);
  means_.reserve(static_cast<size_t>((parts.width_ + 1) * steps));
  for (int x = 0; x <= parts.width_; x++) {
    const Cell &upper = parts.At(x % parts.width_, above), &lower = parts.At(x % parts.width_, below);
    for (size_t step = 0; step < steps; step++) means_.push_back(upper[step] * (1 - low) + lower[step] * low);
  }
}

float LargeParts::Row::At(int column, int lightness) const {
  float x = (static_cast<float>(column) + 0.5f) * perColumn_ - 0.5f;
  if (x < 0) x += columnsOfGrid;
  const int left = static_cast<int>(x);
  const float right = x - static_cast<float>(left);
  const int step = lightness / codesPerStep;
  const float up = static_cast<float>(lightness - step * codesPerStep) / codesPerStep;
  const float* at = &means_[static_cast<size_t>(left * steps + step)];
  const float here = at[0] + (at[1] - at[0]) * up, there = at[steps] + (at[steps + 1] - at[steps]) * up;
  return here + (there - here) * right;
}

ToneMap::ToneMap(const Layer<Codes>& small, int width, const RadianceScale& scale, const std::vector<double>& whites,
                 double middle)
    : width_(width), parts_(small) {
  ChooseCurve(small, scale.CodeOf(Splat(static_cast<float>(middle)))[0]);
  for (int code = lowestShifted_; code <= 2 * highestCode; code++) {
    shown_.push_back(static_cast<float>(255 * Display(Soft(std::max(scale.RadianceAt(code), 0.0) / middle))));
    levels_.push_back(static_cast<uint8_t>(std::lround(shown_.back())));
  }
  ChooseGain(scale, whites);
}

void ToneMap::ChooseCurve(const Layer<Codes>& small, int full) {
  // How much of the sphere has which code.
  std::vector<double> counts(highestCode + 1, 0.0);
  for (int y = 0; y < small.Height(); y++) {
    const LargeParts::Row parts(parts_, y, small.Width(), small.Height());
    for (int x = 0; x < small.Width(); x++) {
      const auto large = static_cast<int>(parts.At(x, Lightness(Shown(small.Row(y)[x]))));
      counts[static_cast<size_t>(std::clamp(large, 0, highestCode))] +=
          std::sin((y + 0.5) / small.Height() * std::numbers::pi);
    }
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

// Detail is a small step of codes, which a picture shows as a step of levels: in one exposure by the slope of the curve
// at the part's own level, here by the slope where the part has come to lie.
void ToneMap::ChooseGain(const RadianceScale& scale, const std::vector<double>& whites) {
  constexpr int reach = 10;  // codes on either side
  for (int code = 0; code <= highestCode; code++) {
    double best = 0;
    for (const double white : whites)
      if (scale.RadianceAt(code) < clipsFrom * white)
        best = std::max(best, 255 * (Display(scale.RadianceAt(code + reach) / white) -
                                     Display(std::max(scale.RadianceAt(code - reach), 0.0) / white)));
    const auto at = shown_.begin() + code + shift_[static_cast<size_t>(code)] - lowestShifted_;
    const auto here = static_cast<double>(at[reach] - at[-reach]);
    gain_.push_back(best > 0 ? static_cast<float>(std::clamp(moreDetail * best / here, 1.0, mostGain)) : 1.0f);
  }
}

void ToneMap::Show(int row, const Codes* codes, Shade* out) const {
  const LargeParts::Row parts(parts_, row, width_, width_ / 2);
  for (int x = 0; x < width_; x++) {
    const Codes pixel = Shown(codes[x]);
    const int lightness = Lightness(pixel);
    const float large = parts.At(x, lightness);
    const auto part = static_cast<size_t>(std::clamp(static_cast<int>(large), 0, highestCode));
    const float over = static_cast<float>(lightness) - large;
    const float small = over / detail;
    const int shift = shift_[part] + static_cast<int>(over * (gain_[part] - 1) / (1 + small * small)) - lowestShifted_;
    for (size_t colour = 0; colour < 3; colour++)
      out[x][colour] =
          levels_[static_cast<size_t>(std::clamp(pixel[colour] + shift, 0, static_cast<int>(levels_.size()) - 1))];
  }
}

}  // namespace panorama

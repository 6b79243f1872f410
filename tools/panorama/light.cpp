#include "tools/panorama/light.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>

namespace panorama {
namespace {

constexpr double curveOffset = 0.055, curveScale = 1.055, curvePower = 2.4;

constexpr double trusted = 220, full = 250;  // levels of the brightest colour

struct LevelTables {
  std::array<float, highestCode + 1> signal;  // 0 to 1, by sixteenths of a level
  std::array<float, highestCode + 1> trust;   // 1 up to `trusted`, from there down to 0 at `full`
};

const LevelTables& Tables() {
  static const LevelTables tables = [] {
    LevelTables made{};
    for (size_t i = 0; i < made.signal.size(); i++) {
      const double level = static_cast<double>(i) / codesPerLevel;
      made.signal[i] = static_cast<float>(SignalOf(level / 255));
      made.trust[i] = static_cast<float>(std::clamp((full - level) / (full - trusted), 0.0, 1.0));
    }
    return made;
  }();
  return tables;
}

// log2 of numbers from 1 on, right within 1/1000.
Floats Log2(Floats x) {
  Ints bits;
  std::memcpy(&bits, &x, sizeof bits);
  const Floats exponent = __builtin_convertvector((bits >> 23) - 127, Floats);
  bits = (bits & 0x7FFFFF) | 0x3F800000;
  Floats m;
  std::memcpy(&m, &bits, sizeof m);
  // A cubic through log2 on [1, 2) with the ends kept.
  const Floats t = m - 1;
  return exponent + t * (1.42086f + t * (-0.58208f + t * 0.16122f));
}

}  // namespace

double Display(double signal) {
  const double s = std::clamp(signal, 0.0, 1.0);
  return s <= 0.0031308 ? 12.92 * s : curveScale * std::pow(s, 1 / curvePower) - curveOffset;
}

double SignalOf(double display) {
  const double d = std::clamp(display, 0.0, 1.0);
  return d <= 0.04045 ? d / 12.92 : std::pow((d + curveOffset) / curveScale, curvePower);
}

std::array<float, 3> WhiteBalanceOf(const shot::CameraVignet& first) {
  std::array<float, 3> gains{};
  const shot::VignettingCurve* curves[] = {&first.r, &first.g, &first.b};
  for (size_t i = 0; i < 3; i++) {
    const double gain = curves[i]->curve[63];
    gains[i] = gain >= 0.8 && gain <= 1.25 ? static_cast<float>(gain) : 1;  // the camera accepts no others
  }
  return gains;
}

bool IsOfALens(const shot::CameraVignet& row) {
  if (row.vignettingNum < 4 || row.vignettingNum > 63) return false;
  for (const auto* colour : {&row.r, &row.g, &row.b})
    for (size_t i = 0; i < static_cast<size_t>(row.vignettingNum); i++) {
      const double left = colour->curve[i];
      if (!(left > 0.05 && left < 2)) return false;
    }
  return true;
}

std::optional<Vignetting> Vignetting::Of(const shot::CameraVignet& row, const std::array<float, 3>& whiteBalance) {
  if (!IsOfALens(row)) return std::nullopt;
  const int points = row.vignettingNum;
  const shot::VignettingCurve* curves[] = {&row.r, &row.g, &row.b};
  Vignetting vignetting;
  vignetting.gains_.resize(steps + 1);
  for (size_t step = 0; step < vignetting.gains_.size(); step++) {
    Gain& gain = vignetting.gains_[step];
    const double at = std::sqrt(static_cast<double>(step) / steps) * (points - 1);
    const auto below = static_cast<size_t>(std::min(static_cast<int>(at), points - 2));
    gain.light[3] = gain.level[3] = 1;
    for (size_t i = 0; i < 3; i++) {
      const auto& curve = curves[i]->curve;
      const double left = curve[below] + (curve[below + 1] - curve[below]) * (at - static_cast<double>(below));
      gain.light[i] = static_cast<float>(whiteBalance[i] / left);
      gain.level[i] = static_cast<float>(std::pow(gain.light[i], 1 / curvePower));
    }
    gain.offset = (gain.level - 1) * static_cast<float>(255 * curveOffset);
  }
  return vignetting;
}

double FullSignalOf(const shot::ExposureSet& exposure) {
  const double gathered = exposure.Seconds() * exposure.gain / 16;
  return gathered > 1e-7 && gathered < 1e5 ? 1 / gathered : 1;
}

RadianceScale::RadianceScale(double brightest)
    : darkest_(static_cast<float>(brightest / std::exp2(highestCode / codesPerStop))),
      perDarkest_(1 / darkest_),
      table_(highestCode + 1) {
  for (size_t i = 0; i < table_.size(); i++) table_[i] = static_cast<float>(RadianceAt(static_cast<double>(i)));
}

double RadianceScale::RadianceAt(double code) const { return darkest_ * (std::exp2(code / codesPerStop) - 1); }

Codes RadianceScale::CodeOf(Floats radiance) const {
  return Shown(ToCodes(Log2(1 + radiance * perDarkest_) * codesPerStop));
}

float RadianceScale::RadianceOf(int code) const {
  return table_[static_cast<size_t>(std::clamp(code, 0, highestCode))];
}

Bracket::Bracket(const std::vector<shot::ExposureSet>& exposures) {
  perSignal_.reserve(exposures.size());
  for (const shot::ExposureSet& exposure : exposures) perSignal_.push_back(static_cast<float>(FullSignalOf(exposure)));
  brightest_ = *std::max_element(perSignal_.begin(), perSignal_.end());
  longestFirst_.resize(perSignal_.size());
  std::iota(longestFirst_.begin(), longestFirst_.end(), 0);
  std::stable_sort(longestFirst_.begin(), longestFirst_.end(), [&](int a, int b) {
    return perSignal_[static_cast<size_t>(a)] < perSignal_[static_cast<size_t>(b)];
  });
}

bool Bracket::Trusts(const Floats* levels, int count) {
  Ints above{};
  for (int i = 0; i < count; i++) above |= levels[i] >= static_cast<float>(trusted);
  return (above[0] | above[1] | above[2]) == 0;
}

Floats Bracket::Merge(const Floats* levels, size_t stride, const int* which, int count,
                      const Vignetting::Gain& gain) const {
  const LevelTables& tables = Tables();
  Floats sum = Splat(0);
  float left = 1;
  for (int i = 0; i < count && left > 0; i++) {
    const Codes place = Shown(ToCodes(levels[static_cast<size_t>(i) * stride] * codesPerLevel));
    const auto r = static_cast<size_t>(place[0]), g = static_cast<size_t>(place[1]), b = static_cast<size_t>(place[2]);
    const float share = i + 1 == count ? left : left * tables.trust[std::max({r, g, b})];
    sum += Floats{tables.signal[r], tables.signal[g], tables.signal[b], 0} *
           (perSignal_[static_cast<size_t>(which[i])] * share);
    left -= share;
  }
  return sum * gain.light;
}

}  // namespace panorama

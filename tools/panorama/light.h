// From the level of a picture to light and back, and what the lens has kept back.
//
// The levels of a JPEG are taken for those of the sRGB curve (IEC 61966-2-1) over the sensor's linear signal, 255 for
// full scale. That is the project's own reading: neither the shot nor the calibration tells the curve, and the ISP's is
// close to it. Radiance is told in units of what fills the sensor in one second at ISO 100: signal / (seconds x gain).
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "tools/lumora-shot/calibration.h"
#include "tools/lumora-shot/record.h"
#include "tools/panorama/pixel.h"

namespace panorama {

// The sRGB curve and its inverse, both from 0 to 1.
double Display(double signal);
double SignalOf(double display);

// The gains of the white balance that a person has set for the camera, red, green, blue: they stand behind the curves
// of the first row. 1 where there is none.
std::array<float, 3> WhiteBalanceOf(const shot::CameraVignet& first);

// The row can be that of a lens: at least four points, at each of which some of the light is left.
bool IsOfALens(const shot::CameraVignet& row);

// What undoes the fall-off of one lens, by the square of the distance from its axis, each colour for itself.
class Vignetting {
 public:
  static constexpr int steps = 1024;  // from the axis to half the diagonal
  // At one distance: factors on light, and what they come to on levels (see Levelled).
  struct Gain {
    Floats light, level, offset;
  };

  // Nothing if the row is not that of a lens.
  static std::optional<Vignetting> Of(const shot::CameraVignet& row, const std::array<float, 3>& whiteBalance);

  const Gain& At(int step) const { return gains_[static_cast<size_t>(step)]; }

 private:
  Vignetting() = default;
  std::vector<Gain> gains_;
};

// Levels (0 to 255) as they would be with more light. Where the curve is a power of 2.4 of (level + offset), a factor
// on light is a factor on that sum; near black, where it is a line, it is a factor on the level. The smaller one of the
// two is right within a third of a level.
inline Floats Levelled(Floats levels, const Vignetting::Gain& gain) {
  return Smaller(levels * gain.light, levels * gain.level + gain.offset);
}

// Radiance of a full signal at an exposure. A record that tells none still lets its pictures be seen: then it is 1.
double FullSignalOf(const shot::ExposureSet& exposure);

// Radiance as codes: the logarithm of it, with an offset that lets it run out into black. Steps of half a percent over
// twenty stops.
class RadianceScale {
 public:
  static constexpr float codesPerStop = 200;

  explicit RadianceScale(double brightest);
  Codes CodeOf(Floats radiance) const;
  double RadianceAt(double code) const;  // of any code
  // The same from a table; codes outside are taken for the nearest.
  float RadianceOf(int code) const;

 private:
  float darkest_, perDarkest_;
  std::vector<float> table_;
};

// Light out of the same place of several exposures: from the longest whose level is trusted, as it has the least noise;
// towards full scale the next shorter one takes over, little by little. What is left is the shortest one's.
class Bracket {
 public:
  explicit Bracket(const std::vector<shot::ExposureSet>& exposures);

  // The exposures' places in what it was made of.
  const std::vector<int>& LongestFirst() const { return longestFirst_; }
  // What a full signal of the shortest exposure stands for.
  double Brightest() const { return brightest_; }
  // All of these levels are trusted: shorter exposures add nothing to them.
  static bool Trusts(const Floats* levels, int count);
  // One pixel: its levels (0 to 255) in `count` exposures, longest first, are levels[0], levels[stride] and so on;
  // `which` are the exposures' places. The gain is the lens's.
  Floats Merge(const Floats* levels, size_t stride, const int* which, int count, const Vignetting::Gain& gain) const;

 private:
  std::vector<float> perSignal_;  // radiance of a full signal, by exposure
  std::vector<int> longestFirst_;
  double brightest_ = 0;
};

}  // namespace panorama

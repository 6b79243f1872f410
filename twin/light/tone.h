// From light to a pixel's value: the arithmetic that all pictures of the twin share.
//
// Light is told relative to a scene that the array measures as 28 of 255 when it is exposed for 1/100 s at unity gain.
// For a pixel of relative light L the sensor's linear signal is, up to its clipping at 1,
//
//     signal = L x seconds x gain x signalPerExposure
//
// and the picture shows the sRGB curve of it (IEC 61966-2-1).
#pragma once

#include <algorithm>
#include <cmath>

namespace twin {

constexpr double signalPerExposure = 28.0 / 255.0 / 0.01;  // per second at unity gain, for light 1

// signal  0 to 1, clipped outside.  Returns 0 to 1.
inline double Display(double signal) {
  const double s = std::clamp(signal, 0.0, 1.0);
  return s <= 0.0031308 ? 12.92 * s : 1.055 * std::pow(s, 1 / 2.4) - 0.055;
}

// The inverse of Display.
inline double LinearOf(double display) {
  const double d = std::clamp(display, 0.0, 1.0);
  return d <= 0.04045 ? d / 12.92 : std::pow((d + 0.055) / 1.055, 2.4);
}

}  // namespace twin

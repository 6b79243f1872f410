// What the numbers of commands may be: the console refuses others, and whoever draws a control takes its ends from
// here.
#pragma once

namespace twin {

struct Limits {
  double least, most;
};

namespace limits {

constexpr Limits kBattery{0, 63};         // samples
constexpr Limits kLight{1e-6, 1e6};       // factor
constexpr Limits kTemperature{-64, 191};  // degrees Celsius
constexpr Limits kCamera{0, 24};          // image number
constexpr Limits kTiltX{-90, 90};         // degrees, as all below
constexpr Limits kTiltY{-180, 180};
constexpr Limits kHeading{-360, 360};
constexpr Limits kLatitude{-90, 90};
constexpr Limits kLongitude{-180, 180};

}  // namespace limits

}  // namespace twin

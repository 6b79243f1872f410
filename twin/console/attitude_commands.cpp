// Commands for how the camera is held and where on Earth it is.
#include <array>
#include <cmath>
#include <iomanip>

#include "twin/console/console.h"
#include "twin/console/limits.h"

namespace twin {

namespace {

double DegreesFrom(const std::string& word, std::string_view what, const Limits& limit) {
  size_t end = 0;
  double degrees = 0;
  try {
    degrees = std::stod(word, &end);
  } catch (const std::exception&) {
    end = 0;
  }
  if (end != word.size() || word.empty() || !(degrees >= limit.least && degrees <= limit.most)) {
    throw CommandError(std::string(what) + " wants degrees, at most " + std::to_string(static_cast<int>(limit.most)) +
                       " either way, not \"" + word + '"');
  }
  return degrees;
}

void Tilt(Console& console, const Words& arguments) {
  Attitude& attitude = console.board.attitude;
  attitude.Set(DegreesFrom(arguments[0], "tilt x", limits::kTiltX), DegreesFrom(arguments[1], "tilt y", limits::kTiltY),
               attitude.Yaw());
}

// The angle of -180 to 180 that is the same direction.
double Wrapped(double degrees) { return std::remainder(degrees, 360); }

void ShowAttitude(Console& console, const Words&) {
  const Attitude& attitude = console.board.attitude;
  const auto place = console.out.precision(2);
  console.out << std::fixed << "tilt " << attitude.Pitch() << ' ' << attitude.Roll() << ", heading "
              << Wrapped(-attitude.Yaw()) << '\n'
              << std::defaultfloat;
  console.out.precision(place);
}

void Heading(Console& console, const Words& arguments) {
  Attitude& attitude = console.board.attitude;
  attitude.Set(attitude.Pitch(), attitude.Roll(), -DegreesFrom(arguments[0], "heading", limits::kHeading));
}

void Gps(Console& console, const Words& arguments) {
  GpsCompass& module = console.board.gpsCompass;
  if (arguments.size() == 1) {
    if (arguments[0] != "off") throw CommandError("usage: gps LATITUDE LONGITUDE, or gps off");
    return module.LoseFix();
  }
  module.SetPosition(DegreesFrom(arguments[0], "latitude", limits::kLatitude),
                     DegreesFrom(arguments[1], "longitude", limits::kLongitude));
}

constexpr std::array<Command, 4> kCommands = {{
    {"tilt", "X Y", "hold the camera so: degrees about its left axis (front down) and its front axis (left up)", 2, 2,
     Tilt},
    {"heading", "DEGREES", "turn its front so far from north to the east", 1, 1, Heading},
    {"attitude", "", "how the camera is held", 0, 0, ShowAttitude},
    {"gps", "LATITUDE LONGITUDE|off", "where it is, degrees, south and west negative; or no fix", 1, 2, Gps},
}};

}  // namespace

std::span<const Command> AttitudeCommands() { return kCommands; }

}  // namespace twin

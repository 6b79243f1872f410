#include "twin/devices/gps_compass/gps_compass.h"

#include <cmath>
#include <numbers>
#include <stdexcept>

namespace twin {

namespace {

constexpr uint16_t kLatitude = 0xFF00;
constexpr uint16_t kLongitude = 0xFF04;
constexpr uint16_t kField = 0xFF08;
constexpr uint16_t kCalibrationStart = 0xFF0E;
constexpr uint16_t kCalibrationEnd = 0xFF0F;
constexpr double kFullField = 7000;

// Whole degrees and minutes to five places, which may round up to the next degree.
int32_t DegreesAndMinutes(double degrees) {
  const int64_t minutes = std::llround(std::abs(degrees) * 60 * 100000);  // all of it, in 1e-5 minutes
  const int64_t value = minutes / 6000000 * 10000000 + minutes % 6000000;
  return static_cast<int32_t>(degrees < 0 ? -value : value);
}

double DegreesOf(int32_t value) { return value / 10000000 + value % 10000000 / 6e6; }

}  // namespace

double GpsCompass::Latitude() const { return DegreesOf(latitude_); }
double GpsCompass::Longitude() const { return DegreesOf(longitude_); }

GpsCompass::GpsCompass(Faults& faults, const Attitude& attitude)
    : attitude_(attitude),
      complain_([](const std::string&) {}),
      read_(faults, "module.read", "value=N: a byte of the GPS and compass module; detail is the register") {}

void GpsCompass::SetPosition(double latitude, double longitude) {
  if (!(std::abs(latitude) <= 90 && std::abs(longitude) <= 180)) {
    throw std::invalid_argument("a place on Earth has a latitude of -90 to 90 and a longitude of -180 to 180 degrees");
  }
  latitude_ = DegreesAndMinutes(latitude);
  longitude_ = DegreesAndMinutes(longitude);
}

int16_t GpsCompass::Field(size_t axis) const {
  const double dip = inclination_ * std::numbers::pi / 180;
  const Vector3 field = {std::cos(dip), 0, -std::sin(dip)};
  return static_cast<int16_t>(std::lround(kFullField * (Transposed(attitude_.ToWorld()) * field)[axis]));
}

uint8_t GpsCompass::ReadModule(uint16_t address) {
  if (const auto effect = read_.Ask(address); effect && effect->kind == Effect::Kind::Value) {
    return static_cast<uint8_t>(effect->value);
  }
  if (!plugged_) return 0;
  const auto byte = [address](int32_t value, uint16_t first) {
    return static_cast<uint8_t>(static_cast<uint32_t>(value) >> 8 * (address - first));
  };
  if (address < kLongitude) return byte(latitude_, kLatitude);
  if (address < kField) return byte(longitude_, kLongitude);
  if (address < kCalibrationStart) {
    const auto axis = static_cast<size_t>(address - kField) / 2;
    return byte(Field(axis), static_cast<uint16_t>(kField + 2 * axis));
  }
  complain_("GPS and compass: read of register " + std::to_string(address));
  return 0;
}

void GpsCompass::WriteModule(uint16_t address, uint8_t value) {
  if (!plugged_) return;
  if (value == 0xFF && address == kCalibrationStart) {
    calibrations_ += 'S';
  } else if (value == 0xFF && address == kCalibrationEnd) {
    calibrations_ += 'E';
  } else {
    complain_("GPS and compass: write of " + std::to_string(value) + " to register " + std::to_string(address));
  }
}

}  // namespace twin

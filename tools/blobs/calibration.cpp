#include "tools/blobs/calibration.h"

#include <bit>
#include <cmath>
#include <concepts>
#include <numbers>
#include <stdexcept>

#include "tools/blobs/stand_in_values.h"

namespace blobs {
namespace {

constexpr double degree = std::numbers::pi / 180;
constexpr double nominalFocus = 2127.0;  // pixels: 75 degrees across the full picture's 3264
constexpr int curvePoints = 49;

class Record {
 public:
  template <std::integral T>
  void Put(T value) {
    for (size_t i = 0; i < sizeof(T); i++) bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
  }
  void Put(double value) { Put(std::bit_cast<uint64_t>(value)); }

  std::vector<uint8_t> Finish(size_t size) {
    if (bytes.size() != size) throw std::logic_error("a calibration file has the wrong size");
    return bytes;
  }

  std::vector<uint8_t> bytes;
};

int32_t Scaled(double value, double unitsPerOne) { return static_cast<int32_t>(std::lround(value * unitsPerOne)); }

struct Aim {
  double azimuth, elevation;  // degrees
};

// Where a camera is meant to look. Rings run to the right; position 3 of the middle ring is the front.
Aim AimOf(int camera) {
  if (camera == 0) return {0, 90};
  if (camera <= 8) return {45.0 * (camera - 1) - 157.5, 45};
  if (camera == 24) return {180, 0};
  if (camera <= 15) return {45.0 * (camera - 12), 0};
  return {45.0 * (camera - 16) - 157.5, -45};
}

double Wrapped(double degrees) { return degrees > 180 ? degrees - 360 : degrees <= -180 ? degrees + 360 : degrees; }

// Natural fall-off of a rectilinear lens with an open aperture, at a distance of `radius` half diagonals, with some
// loss at the barrel. `strength` around 1 tells lenses and colours apart.
double RelativeLight(double radius, double strength) {
  constexpr double halfDiagonal = 2040.0 / nominalFocus;
  const double tangent = radius * halfDiagonal;
  const double cosine = 1 / std::sqrt(1 + tangent * tangent);
  const double natural = std::pow(cosine, 2.6 * strength);
  const double barrel = 1 - 0.08 * strength * std::pow(radius, 6);
  return natural * barrel;
}

void PutCurveAndTable(Record& record, double strength, double lastElement) {
  for (int point = 0; point < 64; point++) {
    const double radius = static_cast<double>(point) / (curvePoints - 1);
    record.Put(point < curvePoints ? RelativeLight(radius, strength) : point == 63 ? lastElement : 0.0);
  }
  for (int entry = 0; entry < 256; entry++) {
    const double gain = 1 / RelativeLight(std::sqrt(entry / 255.0), strength);
    record.Put(static_cast<int16_t>(Scaled(gain, 8192)));
  }
}

}  // namespace

std::vector<uint8_t> MakeCameraConf() {
  Record record;
  StandInValues deviation(0x434F4E46);
  for (int camera = 0; camera < cameraCount; camera++) {
    const Aim aim = AimOf(camera);
    // A camera that looks straight up must not lean over the pole: its deviation is roll alone.
    const double lean = camera == 0 ? 0 : 0.4;
    const double azimuth = Wrapped(aim.azimuth + lean * deviation.NextSigned());
    const double elevation = aim.elevation + lean * deviation.NextSigned();
    record.Put(static_cast<int16_t>(camera));
    record.Put(static_cast<int16_t>(8));
    record.Put(Scaled(azimuth * degree, 1e8));
    record.Put(Scaled(elevation * degree, 1e8));
    record.Put(Scaled(0.8 * deviation.NextSigned() * degree, 1e8));
    record.Put(Scaled(18 * deviation.NextSigned(), 1e3));
    record.Put(Scaled(18 * deviation.NextSigned(), 1e3));
    record.Put(Scaled(1 + 0.004 * deviation.NextSigned(), 1e6));
    record.Put(Scaled(nominalFocus, 1e3));
  }
  return record.Finish(cameraConfSize);
}

std::vector<uint8_t> MakeCameraVignet() {
  Record record;
  StandInValues deviation(0x5649474E);
  for (int camera = 0; camera < cameraCount; camera++) {
    const double strength = 1 + 0.03 * deviation.NextSigned();
    const double gain = camera == 0 ? 1.0 : 0.0;
    record.Put(static_cast<int32_t>(camera));
    record.Put(static_cast<int32_t>(curvePoints));
    PutCurveAndTable(record, strength * 1.04, gain);  // blue
    PutCurveAndTable(record, strength, gain);         // green
    PutCurveAndTable(record, strength * 0.97, gain);  // red
  }
  return record.Finish(cameraVignetSize);
}

}  // namespace blobs

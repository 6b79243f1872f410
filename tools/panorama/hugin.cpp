#include "tools/panorama/hugin.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <numbers>

#include "tools/panorama/light.h"
#include "tools/photos/extract.h"

namespace panorama {

namespace {

namespace fs = std::filesystem;
constexpr double kDegrees = 180 / std::numbers::pi;
constexpr int kWidth = shot::WidthOf(shot::PictureSize::Full), kHeight = shot::HeightOf(shot::PictureSize::Full);
constexpr double kLikelyFocus = 2125;  // pixels, of a lens whose calibration is lost

std::string Line(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string Line(const char* format, ...) {
  char text[600];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return text;
}

// How much less light than at aperture 1, ISO 100 and one second, in stops.
double ExposureValue(const shot::ExposureSet& set) {
  const double light = set.Seconds() * set.Iso() / 100;
  return light > 0 ? -std::log2(light) : 0;
}

double AngleOfView(double focus) { return 2 * std::atan(kWidth / (2 * focus)) * kDegrees; }

double Dot(const Direction& a, const Direction& b) { return a.right * b.right + a.front * b.front + a.up * b.up; }

// A direction of the body in the panorama's axes: the matrix the other way round, as a rotation's inverse is.
Direction InPanorama(const Matrix& m, const Direction& d) {
  const auto along = [&](size_t i) { return m[0][i] * d.right + m[1][i] * d.front + m[2][i] * d.up; };
  return {along(0), along(1), along(2)};
}

// Hugin's yaw (to the right), pitch (upwards) and roll (the right side down) of a picture, in degrees.
struct Aim {
  double yaw, pitch, roll;
};
Aim AimOf(const Camera& camera, const Matrix& bodyFromPanorama) {
  const Point axis = camera.Axis();
  const Direction ahead = InPanorama(bodyFromPanorama, camera.DirectionAt(axis));
  // Half a right angle to the right in the picture: its part across the axis points to the picture's right.
  const Direction aside = InPanorama(bodyFromPanorama, camera.DirectionAt({axis.x + camera.Focus(), axis.y}));
  const double azimuth = std::atan2(ahead.right, ahead.front), elevation = std::asin(std::clamp(ahead.up, -1.0, 1.0));
  const Direction right{std::cos(azimuth), -std::sin(azimuth), 0};
  const Direction down{std::sin(azimuth) * std::sin(elevation), std::cos(azimuth) * std::sin(elevation),
                       -std::cos(elevation)};
  return {azimuth * kDegrees, elevation * kDegrees, std::atan2(Dot(aside, down), Dot(aside, right)) * kDegrees};
}

// The light at radius r, 1 at half the diagonal, as 1 + b r^2 + c r^4 + d r^6: the least squares over the points of the
// three colours' mean, by the normal equations.
std::array<double, 3> Polynomial(const shot::CameraVignet& row) {
  std::array<std::array<double, 4>, 3> equations{};
  for (int i = 0; i < row.vignettingNum; i++) {
    const auto point = static_cast<size_t>(i);
    const double square = std::pow(static_cast<double>(i) / (row.vignettingNum - 1), 2);
    const double light = (row.r.curve[point] + row.g.curve[point] + row.b.curve[point]) / 3;
    const std::array<double, 4> terms = {square, square * square, square * square * square, light - 1};
    for (size_t j = 0; j < 3; j++)
      for (size_t k = 0; k < 4; k++) equations[j][k] += terms[j] * terms[k];
  }
  for (size_t j = 0; j < 3; j++) {  // elimination; the matrix is positive definite
    for (size_t other = 0; other < 3; other++) {
      const double factor = other == j ? 0 : equations[other][j] / equations[j][j];
      for (size_t k = j; k < 4; k++) equations[other][k] -= factor * equations[j][k];
    }
  }
  return {equations[0][3] / equations[0][0], equations[1][3] / equations[1][1], equations[2][3] / equations[2][2]};
}

struct Picture {
  shot::Place place;
  std::string name;
};

std::string Head(const shot::Record& record) {
  return "# hugin project file\n" +
         Line("p f2 w8000 h4000 v360 E%.4f R0 n\"TIFF_m c:NONE r:CROP\"\n",
              ExposureValue(record.Exposure(record.MiddleStep()))) +
         "m g1 i0 f0 m2 p0.00784314\n";
}

std::string Placed(const shot::File& file, const std::vector<Picture>& pictures, const std::vector<Camera>& cameras,
                   const std::vector<shot::CameraVignet>& vignetting, const View& view) {
  const shot::Record& record = file.Get().record;
  const Matrix body = BodyFromPanorama(record, view);
  std::string text = Head(record);
  for (const auto& [place, name] : pictures) {
    const auto number = static_cast<size_t>(place.camera);
    const Camera& camera = cameras[number];
    const Aim aim = AimOf(camera, body);
    const auto [b, c, d] = Polynomial(vignetting[number]);
    const double x = camera.Axis().x - kWidth / 2.0, y = camera.Axis().y - kHeight / 2.0;
    text +=
        Line("i w%d h%d f0 v%.8f Ra0 Rb0 Rc0 Rd0 Re0 Eev%.6f Er1 Eb1 r%.8f p%.8f y%.8f TrX0 TrY0 TrZ0 j%d a0 b0 c0 ",
             kWidth, kHeight, AngleOfView(camera.Focus()), ExposureValue(record.Exposure(place.exposure)), aim.roll,
             aim.pitch, aim.yaw, place.camera) +
        Line("d%.3f e%.3f g0 t0 Va1 Vb%.8f Vc%.8f Vd%.8f Vx%.3f Vy%.3f Vm5 n\"", x, y, b, c, d, x, y) + name + "\"\n";
  }
  return text;
}

// All pictures have one lens, which is to be found with them.
std::string Unplaced(const shot::File& file, const std::vector<Picture>& pictures, double focus) {
  const shot::Record& record = file.Get().record;
  std::string text = Head(record), variables;
  for (size_t i = 0; i < pictures.size(); i++) {
    const auto& [place, name] = pictures[i];
    const double exposure = ExposureValue(record.Exposure(place.exposure));
    const std::string lens =
        i == 0 ? Line("v%.8f Ra0 Rb0 Rc0 Rd0 Re0", AngleOfView(focus)) : "v=0 Ra=0 Rb=0 Rc=0 Rd=0 Re=0";
    const std::string bend = i == 0 ? "a0 b0 c0 d0 e0 g0 t0 Va1 Vb0 Vc0 Vd0 Vx0 Vy0"
                                    : "a=0 b=0 c=0 d=0 e=0 g=0 t=0 Va=0 Vb=0 Vc=0 Vd=0 Vx=0 Vy=0";
    text += Line("i w%d h%d f0 ", kWidth, kHeight) + lens +
            Line(" Eev%.6f Er1 Eb1 r180 p0 y0 TrX0 TrY0 TrZ0 j%d ", exposure, place.camera) + bend + " Vm5 n\"" + name +
            "\"\n";
    if (i > 0) variables += Line("v r%zu\nv p%zu\nv y%zu\n", i, i, i);
  }
  return text + "v v0\nv b0\n" + variables + "v\n";
}

void WriteText(const std::string& path, const std::string& text) {
  shot::WriteWhole(path, shot::Bytes(text.begin(), text.end()));
}

}  // namespace

HuginProjects WriteHugin(const shot::File& file, const std::string& directory, const View& view) {
  shot::Choice full;
  full.size = shot::PictureSize::Full;
  const shot::Extracted extracted = shot::Extract(file, directory, full);
  HuginProjects projects{
      .pictures = extracted.files.size(), .missing = extracted.missing, .placed = {}, .unplaced = {}};
  if (extracted.files.empty()) return projects;
  std::vector<Picture> pictures;
  for (size_t i = 0; i < extracted.files.size(); i++)
    pictures.push_back({extracted.places[i], fs::path(extracted.files[i]).filename().string()});

  std::vector<Camera> cameras;
  for (const shot::CameraConf& row : shot::ReadCameras(file)) {
    if (const auto camera = Camera::Of(row)) cameras.push_back(*camera);
  }
  const std::vector<shot::CameraVignet> vignetting = shot::ReadVignetting(file);
  const auto needed = static_cast<size_t>(file.Get().cameras);
  const std::string stem = (fs::path(directory) / fs::path(file.Path()).stem()).string();
  if (cameras.size() == needed && vignetting.size() == needed && std::ranges::all_of(vignetting, IsOfALens)) {
    projects.placed = stem + ".pto";
    WriteText(projects.placed, Placed(file, pictures, cameras, vignetting, view));
  }
  projects.unplaced = stem + "_features.pto";
  WriteText(projects.unplaced, Unplaced(file, pictures, cameras.empty() ? kLikelyFocus : cameras[0].Focus()));
  return projects;
}

}  // namespace panorama

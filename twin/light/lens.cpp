#include "twin/light/lens.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "twin/light/picture_source.h"

namespace twin {
namespace {

constexpr size_t confRowSize = 32, vignetRowSize = 3080;
constexpr float halfWidth = WidthOf(PictureSize::Full) / 2.0f;
constexpr float halfHeight = HeightOf(PictureSize::Full) / 2.0f;

template <typename T>
T At(const unsigned char* row, size_t offset) {
  T value;
  std::memcpy(&value, row + offset, sizeof value);
  return value;
}

Vec3 Sum(Vec3 a, float fa, Vec3 b, float fb) { return {a.x * fa + b.x * fb, a.y * fa + b.y * fb, a.z * fa + b.z * fb}; }
float Dot(Vec3 a, Vec3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

std::vector<unsigned char> ReadExactly(const std::filesystem::path& path, size_t size) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot open the calibration file " + path.string());
  std::vector<unsigned char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (bytes.size() != size) {
    throw std::runtime_error("the calibration file " + path.string() + " has " + std::to_string(bytes.size()) +
                             " bytes instead of " + std::to_string(size));
  }
  return bytes;
}

}  // namespace

Lens::Lens(const unsigned char* confRow, const unsigned char* vignetRow) {
  const double azimuth = At<int32_t>(confRow, 4) * 1e-8;
  const double elevation = At<int32_t>(confRow, 8) * 1e-8;
  const auto roll = static_cast<float>(At<int32_t>(confRow, 12) * 1e-8);
  axisU_ = halfWidth + static_cast<float>(At<int32_t>(confRow, 16)) * 1e-3f;
  axisV_ = halfHeight + static_cast<float>(At<int32_t>(confRow, 20)) * 1e-3f;
  focus_ = static_cast<float>(At<int32_t>(confRow, 24) * 1e-6 * (At<int32_t>(confRow, 28) * 1e-3));
  if (!(focus_ > 1)) throw std::runtime_error("a lens of the calibration has no focal length");

  const auto sa = static_cast<float>(std::sin(azimuth)), ca = static_cast<float>(std::cos(azimuth));
  const auto se = static_cast<float>(std::sin(elevation)), ce = static_cast<float>(std::cos(elevation));
  forward_ = {sa * ce, ca * ce, se};
  const Vec3 levelRight{ca, -sa, 0}, levelDown{sa * se, ca * se, -ce};
  right_ = Sum(levelRight, std::cos(roll), levelDown, std::sin(roll));
  down_ = Sum(levelDown, std::cos(roll), levelRight, -std::sin(roll));

  const int points = At<int32_t>(vignetRow, 4);
  if (points < 2 || points > 63) throw std::runtime_error("a vignetting curve of the calibration has no points");
  for (size_t colour = 0; colour < 3; colour++) {
    const size_t curve = 8 + 1024 * (2 - colour);  // the file has blue first
    for (size_t i = 0; i < fallOff_[colour].size(); i++) {
      const double at = std::sqrt(static_cast<double>(i) / 1024) * (points - 1);
      const size_t below = std::min(static_cast<size_t>(at), static_cast<size_t>(points - 2));
      const double low = At<double>(vignetRow, curve + 8 * below),
                   high = At<double>(vignetRow, curve + 8 * (below + 1));
      fallOff_[colour][i] = static_cast<float>(low + (high - low) * (at - static_cast<double>(below)));
    }
  }
}

Vec3 Lens::DirectionAt(float u, float v) const {
  const float x = (u - axisU_) / focus_, y = (v - axisV_) / focus_;
  const Vec3 ray = Sum(Sum(forward_, 1, right_, x), 1, down_, y);
  const float scale = 1 / std::sqrt(1 + x * x + y * y);
  return {ray.x * scale, ray.y * scale, ray.z * scale};
}

bool Lens::PointOf(Vec3 dir, float* u, float* v) const {
  const float depth = Dot(dir, forward_);
  if (depth <= 1e-3f) return false;
  *u = axisU_ + focus_ * Dot(dir, right_) / depth;
  *v = axisV_ + focus_ * Dot(dir, down_) / depth;
  return true;
}

Rgb Lens::RelativeLightAt(float u, float v) const {
  constexpr float scale = 1024 / (halfWidth * halfWidth + halfHeight * halfHeight);
  const float square = ((u - axisU_) * (u - axisU_) + (v - axisV_) * (v - axisV_)) * scale;
  const auto at = static_cast<size_t>(std::min(square, 1024.0f));
  return {fallOff_[0][at], fallOff_[1][at], fallOff_[2][at]};
}

std::vector<Lens> LoadLenses(const std::filesystem::path& conf, const std::filesystem::path& vignet) {
  const auto confBytes = ReadExactly(conf, lensCount * confRowSize);
  const auto vignetBytes = ReadExactly(vignet, lensCount * vignetRowSize);
  std::vector<Lens> lenses;
  for (size_t i = 0; i < lensCount; i++) {
    lenses.emplace_back(confBytes.data() + i * confRowSize, vignetBytes.data() + i * vignetRowSize);
  }
  return lenses;
}

}  // namespace twin

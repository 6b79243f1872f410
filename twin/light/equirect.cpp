#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iterator>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

#include "twin/light/tone.h"
#include "twin/light/world.h"

namespace twin {
namespace {

constexpr int widestPicture = 8192;

class Equirect final : public World {
 public:
  explicit Equirect(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot open the scene " + path.string());
    const std::vector<unsigned char> jpeg{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), tjDestroy);
    if (tjDecompressHeader(decoder.get(), const_cast<unsigned char*>(jpeg.data()), jpeg.size(), &width_, &height_) != 0)
      throw std::runtime_error("the scene " + path.string() + " is no JPEG: " + tjGetErrorStr2(decoder.get()));
    if (std::abs(width_ - 2 * height_) > height_ / 50) {
      throw std::runtime_error("the scene " + path.string() + " is " + std::to_string(width_) + " x " +
                               std::to_string(height_) + ": an equirectangular picture is twice as wide as high");
    }
    const int reduction = width_ <= widestPicture ? 1 : width_ <= 2 * widestPicture ? 2 : 4;
    width_ = (width_ + reduction - 1) / reduction;
    height_ = (height_ + reduction - 1) / reduction;
    pixels_.resize(static_cast<size_t>(width_) * static_cast<size_t>(height_) * 3);
    if (tjDecompress2(decoder.get(), jpeg.data(), jpeg.size(), pixels_.data(), width_, 0, height_, TJPF_RGB, 0) != 0)
      throw std::runtime_error("the scene " + path.string() + " cannot be decoded: " + tjGetErrorStr2(decoder.get()));
    for (size_t i = 0; i < linear_.size(); i++) linear_[i] = static_cast<float>(LinearOf(static_cast<double>(i) / 255));
  }

  Rgb Look(Vec3 dir) const override {
    constexpr float pi = std::numbers::pi_v<float>;
    const float x = (std::atan2(dir.x, dir.y) / (2 * pi) + 0.5f) * static_cast<float>(width_) - 0.5f;
    const float y = (0.5f - std::asin(std::clamp(dir.z, -1.0f, 1.0f)) / pi) * static_cast<float>(height_) - 0.5f;
    const float fx = std::floor(x), fy = std::floor(y);
    const int left = static_cast<int>(fx), top = static_cast<int>(fy);
    const float tx = x - fx, ty = y - fy;
    Rgb sum;
    Add(sum, left, top, (1 - tx) * (1 - ty));
    Add(sum, left + 1, top, tx * (1 - ty));
    Add(sum, left, top + 1, (1 - tx) * ty);
    Add(sum, left + 1, top + 1, tx * ty);
    return sum;
  }

 private:
  void Add(Rgb& sum, int x, int y, float weight) const {
    x = x < 0 ? x + width_ : x >= width_ ? x - width_ : x;  // round the back
    y = std::clamp(y, 0, height_ - 1);
    const unsigned char* pixel =
        &pixels_[(static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(x)) * 3];
    sum.r += linear_[pixel[0]] * weight;
    sum.g += linear_[pixel[1]] * weight;
    sum.b += linear_[pixel[2]] * weight;
  }

  int width_ = 0, height_ = 0;
  std::vector<unsigned char> pixels_;  // RGB, as the JPEG has it
  std::array<float, 256> linear_{};
};

}  // namespace

std::unique_ptr<World> LoadEquirect(const std::filesystem::path& path) { return std::make_unique<Equirect>(path); }

}  // namespace twin

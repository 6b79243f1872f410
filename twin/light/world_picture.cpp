#include "twin/light/world_picture.h"

#include <turbojpeg.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <stdexcept>
#include <string>
#include <thread>

#include "twin/light/tone.h"

namespace twin {
namespace {

constexpr int kQuality = 98;
constexpr unsigned kThreads = 2;
// Four places in a pixel, none beside or above another.
constexpr std::pair<double, double> kPlaces[] = {{0.125, 0.375}, {0.375, 0.875}, {0.625, 0.125}, {0.875, 0.625}};

uint8_t Level(double signal) { return static_cast<uint8_t>(std::lround(255 * Display(signal))); }

void DrawRow(const World& lit, double factor, int row, int width, uint8_t* pixels) {
  constexpr double pi = std::numbers::pi;
  for (int column = 0; column < width; column++, pixels += 3) {
    double red = 0, green = 0, blue = 0;
    for (const auto& [dx, dy] : kPlaces) {
      const double azimuth = ((column + dx) / width - 0.5) * 2 * pi, elevation = (0.5 - (row + dy) * 2 / width) * pi;
      const double level = std::cos(elevation);
      const Rgb light =
          lit.Look({static_cast<float>(std::sin(azimuth) * level), static_cast<float>(std::cos(azimuth) * level),
                    static_cast<float>(std::sin(elevation))});
      red += std::min(1.0, light.r * factor) / std::size(kPlaces);
      green += std::min(1.0, light.g * factor) / std::size(kPlaces);
      blue += std::min(1.0, light.b * factor) / std::size(kPlaces);
    }
    pixels[0] = Level(red), pixels[1] = Level(green), pixels[2] = Level(blue);
  }
}

}  // namespace

std::vector<uint8_t> WorldPicture(const World& lit, double exposure, int width) {
  const int height = width / 2;
  const size_t rowSize = static_cast<size_t>(width) * 3;
  std::vector<uint8_t> pixels(rowSize * static_cast<size_t>(height));
  {
    std::vector<std::jthread> threads;
    for (unsigned first = 0; first < kThreads; first++) {
      threads.emplace_back([&, first] {
        for (auto row = first; row < static_cast<unsigned>(height); row += kThreads)
          DrawRow(lit, exposure * signalPerExposure, static_cast<int>(row), width, &pixels[row * rowSize]);
      });
    }
  }
  const std::unique_ptr<void, int (*)(tjhandle)> encoder(tjInitCompress(), tjDestroy);
  std::vector<uint8_t> jpeg(tjBufSize(width, height, TJSAMP_444));
  unsigned char* coded = jpeg.data();
  unsigned long size = jpeg.size();
  if (tjCompress2(encoder.get(), pixels.data(), width, 0, height, TJPF_RGB, &coded, &size, TJSAMP_444, kQuality,
                  TJFLAG_NOREALLOC) != 0)
    throw std::runtime_error(std::string("cannot encode the world: ") + tjGetErrorStr2(encoder.get()));
  jpeg.resize(size);
  return jpeg;
}

}  // namespace twin

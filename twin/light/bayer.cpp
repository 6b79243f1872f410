#include "twin/light/bayer.h"

#include <array>
#include <vector>

#include "twin/light/chance.h"
#include "twin/light/noise.h"
#include "twin/light/picture_source.h"

namespace twin {
namespace {

constexpr int width = View::width, height = View::height;
constexpr int fullWidth = WidthOf(PictureSize::Full), fullHeight = HeightOf(PictureSize::Full);

// By filter (red, green, blue): its part of red, green and blue of linear sRGB. It is a camera whose colours the matrix
//    1.69267  -0.56264  -0.08418     times XYZ under D50 gives, so what that matrix undoes is seen right.
//   -0.38488   1.10835   0.31842
//   -0.05987   0.19180   1.04934
constexpr float filters[3][3] = {{0.6118f, 0.2402f, 0.1480f}, {0.0832f, 0.6773f, 0.2395f}, {0.0312f, 0.2163f, 0.7525f}};

struct Row {
  std::vector<float> light = std::vector<float>(width);
  std::vector<float> sigma = std::vector<float>(width);
};

// Rows of linear signal, by filter, from the codes of the view.
void Filter(const View& view, int row, const Development& development, std::array<Row, 3>& rows) {
  const float factor = development.signal / (View::codePerRoot * View::codePerRoot);
  const SensorNoise sensor(development.gain);
  const uint16_t* const red = view.Row(row, 0);
  const uint16_t* const green = view.Row(row, 1);
  const uint16_t* const blue = view.Row(row, 2);
  for (size_t filter = 0; filter < 3; filter++) {
    const float r = filters[filter][0] * factor, g = filters[filter][1] * factor, b = filters[filter][2] * factor;
    float* const light = rows[filter].light.data();
    float* const sigma = rows[filter].sigma.data();
    for (int x = 0; x < width; x++) {
      const auto rootR = static_cast<float>(red[x]), rootG = static_cast<float>(green[x]),
                 rootB = static_cast<float>(blue[x]);
      light[x] = rootR * rootR * r + rootG * rootG * g + rootB * rootB * b;
      sigma[x] = sensor.At(light[x]);
    }
  }
}

void Quantise(const Row& row, const float* noise, uint16_t* levels) {
  const float* const light = row.light.data();
  const float* const sigma = row.sigma.data();
  for (int x = 0; x < width; x++) levels[x] = LevelOf(light[x] + sigma[x] * noise[x]);
}

void Interleave(const uint16_t* even, const uint16_t* odd, bool mirror, uint16_t* out) {
  if (mirror) {
    for (int x = 0; x < width; x++) {
      out[2 * x] = even[width - 1 - x];
      out[2 * x + 1] = odd[width - 1 - x];
    }
  } else {
    for (int x = 0; x < width; x++) {
      out[2 * x] = even[x];
      out[2 * x + 1] = odd[x];
    }
  }
}

}  // namespace

void ReadOutView(const View& view, const Development& development, std::span<uint16_t> levels) {
  constexpr int red = 0, green = 1, blue = 2;
  constexpr int mosaic[2][2] = {{blue, green}, {green, red}};
  static_assert(fullWidth == 2 * width && fullHeight == 2 * height && noiseRun >= width);
  const float* const noise = NoiseTable();
  std::array<Row, 3> rows;
  std::vector<uint16_t> even(width), odd(width);
  for (int row = 0; row < height; row++) {
    Filter(view, development.flip ? height - 1 - row : row, development, rows);
    for (int below = 0; below < 2; below++) {
      const int outRow = 2 * row + below;
      const auto [left, right] = mosaic[below];
      Quantise(rows[static_cast<size_t>(left)], noise + NoisePlace(development.noise, outRow, 0), even.data());
      Quantise(rows[static_cast<size_t>(right)], noise + NoisePlace(development.noise, outRow, 1), odd.data());
      Interleave(even.data(), odd.data(), development.mirror, &levels[static_cast<size_t>(outRow) * fullWidth]);
    }
  }
}

void AddDefects(uint64_t sensor, bool mirror, bool flip, std::span<uint16_t> levels) {
  constexpr int defects = 64;  // of one sensor
  for (uint64_t i = 0; i < defects; i++) {
    const uint64_t chance = Mixed(sensor ^ Mixed(i));
    const auto x = static_cast<size_t>(chance % fullWidth), y = static_cast<size_t>((chance >> 32) % fullHeight);
    const size_t column = mirror ? fullWidth - 1 - x : x, row = flip ? fullHeight - 1 - y : y;
    levels[row * fullWidth + column] = i % 2 == 0 ? fullLevel : 0;
  }
}

}  // namespace twin

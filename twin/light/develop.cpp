#include "twin/light/develop.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "twin/light/noise.h"
#include "twin/light/tone.h"

namespace twin {
namespace {

constexpr int width = View::width, height = View::height;
constexpr float black = 14.0f / 1023;
constexpr int toneSteps = 8192;  // from black's lowest noise to full scale

const std::array<uint8_t, toneSteps + 1>& ToneTable() {
  static const auto table = [] {
    std::array<uint8_t, toneSteps + 1> values{};
    for (size_t i = 0; i < values.size(); i++) {
      const double signal = static_cast<double>(i) / toneSteps * (1 + black) - black;
      values[i] = static_cast<uint8_t>(std::lround(255 * Display(signal)));
    }
    return values;
  }();
  return table;
}

// One colour of one row, as steps of the tone table.
void ExposeRow(const uint16_t* codes, const float* noise, const Development& development, uint16_t* steps) {
  const float factor = development.signal / (View::codePerRoot * View::codePerRoot);
  const SensorNoise sensor(development.gain);
  constexpr float toStep = toneSteps / (1 + black);
  for (int x = 0; x < width; x++) {
    const auto root = static_cast<float>(codes[x]);
    const float light = root * root * factor;
    const float signal = std::min(std::max(light + sensor.At(light) * noise[x] + black, 0.0f), 1 + black);
    steps[x] = static_cast<uint16_t>(static_cast<int>(signal * toStep + 0.5f));
  }
}

void ToYCbCr(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* y, uint8_t* cb, uint8_t* cr) {
  for (int x = 0; x < width; x++) {
    const int red = r[x], green = g[x], blue = b[x];
    y[x] = static_cast<uint8_t>((77 * red + 150 * green + 29 * blue + 128) >> 8);
    // Rounded by 127 and not 128: full blue or red then just stays at 255.
    cb[x] = static_cast<uint8_t>((-43 * red - 85 * green + 128 * blue + 128 * 256 + 127) >> 8);
    cr[x] = static_cast<uint8_t>((128 * red - 107 * green - 21 * blue + 128 * 256 + 127) >> 8);
  }
}

// One row between two others, 3 to 1, spread to twice its width; `grain` is in sixteenths.
void SpreadRow(const uint8_t* near, const uint8_t* far, const int16_t* grain, int16_t* mixed, uint8_t* out) {
  for (int x = 0; x < width; x++) mixed[x + 1] = static_cast<int16_t>(3 * near[x] + far[x]);
  mixed[0] = mixed[1];
  mixed[width + 1] = mixed[width];
  for (int x = 0; x < width; x++) {
    const int left = (3 * mixed[x + 1] + mixed[x] + 8 + grain[2 * x]) >> 4;
    const int right = (3 * mixed[x + 1] + mixed[x + 2] + 8 + grain[2 * x + 1]) >> 4;
    out[2 * x] = static_cast<uint8_t>(std::clamp(left, 0, 255));
    out[2 * x + 1] = static_cast<uint8_t>(std::clamp(right, 0, 255));
  }
}

}  // namespace

Planes Develop(const View& view, const Development& development) {
  const auto& tone = ToneTable();
  const float* noise = NoiseTable();
  Planes planes;
  for (std::vector<uint8_t>* plane : {&planes.y, &planes.cb, &planes.cr}) plane->resize(size_t{width} * height);
  std::vector<uint16_t> steps(width);
  std::array<std::vector<uint8_t>, 3> colours;
  for (auto& colour : colours) colour.resize(width);
  for (int row = 0; row < height; row++) {
    const int source = development.flip ? height - 1 - row : row;
    for (int colour = 0; colour < 3; colour++) {
      ExposeRow(view.Row(source, colour), noise + NoisePlace(development.noise, row, colour), development,
                steps.data());
      uint8_t* out = colours[static_cast<size_t>(colour)].data();
      if (development.mirror) {
        for (int x = 0; x < width; x++) out[width - 1 - x] = tone[steps[static_cast<size_t>(x)]];
      } else {
        for (int x = 0; x < width; x++) out[x] = tone[steps[static_cast<size_t>(x)]];
      }
    }
    const size_t at = static_cast<size_t>(row) * width;
    ToYCbCr(colours[0].data(), colours[1].data(), colours[2].data(), &planes.y[at], &planes.cb[at], &planes.cr[at]);
  }
  return planes;
}

void EnlargeLuma(const Planes& planes, float gain, uint64_t noise, std::vector<uint8_t>& luma) {
  const float* normal = NoiseTable();
  std::vector<int16_t> grain(noisePeriod + 4 * width), mixed(width + 2);
  const float amplitude = 16 * std::min(0.6f * std::sqrt(gain), 6.0f);  // 0.6 of 255 at unity gain
  for (size_t i = 0; i < grain.size(); i++) {
    grain[i] = static_cast<int16_t>(std::lround(amplitude * std::clamp(normal[i % noisePeriod], -4.0f, 4.0f)));
  }
  luma.resize(size_t{4} * width * height);
  for (int row = 0; row < 2 * height; row++) {
    const int near = row / 2, far = std::clamp(row % 2 ? near + 1 : near - 1, 0, height - 1);
    SpreadRow(&planes.y[static_cast<size_t>(near) * width], &planes.y[static_cast<size_t>(far) * width],
              &grain[NoisePlace(noise, row, 3)], mixed.data(), &luma[static_cast<size_t>(row) * 2 * width]);
  }
}

void ReduceChroma(const std::vector<uint8_t>& chroma, std::vector<uint8_t>& reduced) {
  reduced.resize(size_t{width / 2} * (height / 2));
  for (int row = 0; row < height / 2; row++) {
    const uint8_t* above = &chroma[static_cast<size_t>(row) * 2 * width];
    const uint8_t* below = above + width;
    uint8_t* out = &reduced[static_cast<size_t>(row) * (width / 2)];
    for (int x = 0; x < width / 2; x++) {
      out[x] = static_cast<uint8_t>((above[2 * x] + above[2 * x + 1] + below[2 * x] + below[2 * x + 1] + 2) >> 2);
    }
  }
}

}  // namespace twin

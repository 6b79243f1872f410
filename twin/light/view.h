// One camera's view of the world at half size, in linear light, before any exposure: what is kept of the rendering.
#pragma once

#include <cstdint>
#include <vector>

#include "twin/light/lens.h"
#include "twin/light/world.h"

namespace twin {

class View {
 public:
  static constexpr int width = 1632, height = 1224;
  // Light is kept as its square root in steps of 1/codePerRoot: even in the dark the steps stay below what a picture
  // shows, and light of 256 times the scene's mean is the brightest.
  static constexpr float codePerRoot = 4096;

  // Renders the upright view: every pixel once, and those at edges four times more. Takes some 0.1 s of host time.
  //   stance how the camera is held
  //   scale  factor from the world's unit to that of tone.h
  View(const World& world, const Lens& lens, const Stance& stance, float scale);

  // One colour (0 red, 1 green, 2 blue) of one row: `width` codes.
  const uint16_t* Row(int row, int colour) const { return &codes_[Offset(row, colour)]; }

 private:
  static size_t Offset(int row, int colour) {
    return (static_cast<size_t>(row) * 3 + static_cast<size_t>(colour)) * width;
  }
  bool IsEdge(int row, int column) const;
  void Store(int row, int column, Rgb light);

  std::vector<uint16_t> codes_;
};

// The same view in a few thousand pixels, by colour, in the world's unit; for measuring.
std::vector<Rgb> SmallView(const World& world, const Lens& lens, const Stance& stance);

}  // namespace twin

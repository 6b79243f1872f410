// The 25 lenses as the board's own calibration files describe them. The files' form and units stand in
// tools/blobs/calibration.h; this reads the same bytes that the device carries into each shot.
#pragma once

#include <array>
#include <filesystem>
#include <vector>

#include "twin/light/world.h"

namespace twin {

class Lens {
 public:
  // One row of each file, 32 and 3080 bytes.
  Lens(const unsigned char* confRow, const unsigned char* vignetRow);

  // Direction of the light that meets the point (u, v) of the upright full picture, in pixels from its upper left
  // corner. Upright means: as the thumbnail shows it, turned by 180 degrees from the picture in the file.
  Vec3 DirectionAt(float u, float v) const;

  // The reverse. False if the direction is behind the lens; the point may lie outside the picture.
  bool PointOf(Vec3 dir, float* u, float* v) const;

  // What is left of the light there, by colour; 1 on the axis.
  Rgb RelativeLightAt(float u, float v) const;

 private:
  Vec3 right_, down_, forward_;
  float axisU_, axisV_;  // where the axis meets the picture
  float focus_;          // pixels
  std::array<std::array<float, 1025>, 3>
      fallOff_;  // red, green, blue by the square of the distance, 1024 at the corner
};

constexpr int lensCount = 25;

// Throws std::runtime_error with the path if a file is missing or not of its exact size, or if a curve makes no sense.
std::vector<Lens> LoadLenses(const std::filesystem::path& conf, const std::filesystem::path& vignet);

}  // namespace twin

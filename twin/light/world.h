// What there is to see. Directions: x to the right, y to the front (azimuth 0), z up; the camera stands in the origin.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

namespace twin {

struct Vec3 {
  float x = 0, y = 0, z = 0;
};

// Light by colour, linear, in any unit that is the same over the whole world.
struct Rgb {
  float r = 0, g = 0, b = 0;
};

class World {
 public:
  virtual ~World() = default;
  // Light that comes from the direction `dir` (unit length). From any thread.
  virtual Rgb Look(Vec3 dir) const = 0;
};

// A room with a tiled floor, a wide window and a skylight, in the morning sun; outside a field, hills and a cloudy sky.
// Everything follows from formulas: the same on every call, sharp at any resolution.
//   seed  varies what chance made: grain, tiles, books, clouds
std::unique_ptr<World> MakeRoom(uint64_t seed);

// A person's own surroundings from a JPEG in equirectangular projection, twice as wide as high: its middle is the
// front, its upper edge the zenith. Pictures above 8192 pixels of width are read reduced.
// Throws std::runtime_error with the path and the reason if it cannot be read, decoded, or has another form.
std::unique_ptr<World> LoadEquirect(const std::filesystem::path& path);

}  // namespace twin

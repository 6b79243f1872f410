// What there is to see. Directions: x to the right, y to the front (azimuth 0), z up; the camera stands in the origin.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

namespace twin {

struct Vec3 {
  float x = 0, y = 0, z = 0;
  bool operator==(const Vec3&) const = default;
};

// How the camera stands in the world: where its own three axes point. As it is built, unless said otherwise.
struct Stance {
  Vec3 right{1, 0, 0}, front{0, 1, 0}, up{0, 0, 1};
  bool operator==(const Stance&) const = default;
  // From the camera's axes to the world's.
  Vec3 ToWorld(Vec3 dir) const {
    return {right.x * dir.x + front.x * dir.y + up.x * dir.z, right.y * dir.x + front.y * dir.y + up.y * dir.z,
            right.z * dir.x + front.z * dir.y + up.z * dir.z};
  }
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

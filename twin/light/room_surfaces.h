// The room's measures, and the colour of each of its surfaces (share of light given back, 0 to 1). Metres.
// Used by room.cpp alone, from any thread.
#pragma once

#include <cmath>
#include <cstdint>

#include "twin/light/world.h"

namespace twin::room {

inline Vec3 operator+(Vec3 a, Vec3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline Vec3 operator-(Vec3 a, Vec3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline Vec3 operator*(Vec3 a, float f) { return {a.x * f, a.y * f, a.z * f}; }
inline Vec3 Scaled(Vec3 a, float f) { return a * f; }
inline float Dot(Vec3 a, Vec3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline float Length(Vec3 a) { return std::sqrt(Dot(a, a)); }
inline Rgb operator+(Rgb a, Rgb b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }
inline Rgb operator*(Rgb a, float f) { return {a.r * f, a.g * f, a.b * f}; }
inline Rgb operator*(Rgb a, Rgb b) { return {a.r * b.r, a.g * b.g, a.b * b.b}; }
inline Rgb Mix(Rgb a, Rgb b, float share) { return a * (1 - share) + b * share; }

constexpr float leftX = -4, rightX = 4, backY = -4.2f, frontY = 4.6f, floorZ = -1.5f, ceilingZ = 1.6f;
constexpr Vec3 windowCentre{0, frontY, 0.3f};
constexpr Vec3 sunDir{0.333f, 0.714f, 0.616f};  // from the room towards the sun: front right, 38 degrees high

// The panes, without the bars between them. x and z on the front wall; x and y on the ceiling.
bool IsOpenWindow(float x, float z);
bool IsOpenSkylight(float x, float y);

Rgb FrontWall(Vec3 at, uint32_t seed);  // cream, with the window's frame
Rgb BackWall(Vec3 at, uint32_t seed);   // light blue, three paintings
Rgb LeftWall(Vec3 at, uint32_t seed);   // green, a shelf of books
Rgb RightWall(Vec3 at, uint32_t seed);  // bricks, a door
Rgb Ceiling(Vec3 at, uint32_t seed);    // white, with beams
// distance  of the eye, in metres: far joints between tiles blur instead of flickering
Rgb Floor(Vec3 at, float distance, uint32_t seed);

// A factor on a wood's colour.
float WoodGrain(float along, float across, uint32_t seed);

// Sky, sun, hills and field, by direction; light, not a surface's colour.
Rgb Outside(Vec3 dir, uint32_t seed);

}  // namespace twin::room

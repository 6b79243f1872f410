// The procedural world: which surface a ray meets, and the light on it. Metres; the camera stands in the origin.
#include "twin/light/world.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "twin/light/chance.h"
#include "twin/light/room_surfaces.h"

namespace twin {
namespace {

using namespace room;

// What stands in the room.
struct Ball {
  Vec3 centre;
  float radius;
  Rgb colour;
  float glow;  // light of its own, by its colour
};
constexpr Ball balls[] = {
    {{0.95f, 2.25f, -1.16f}, 0.34f, {0.75f, 0.06f, 0.05f}, 0},  // red, on the rug
    {{-1.3f, -2.2f, -1.05f}, 0.45f, {0.05f, 0.45f, 0.45f}, 0},  // teal, behind
    {{2.4f, 3.3f, -0.52f}, 0.2f, {0.9f, 0.55f, 0.08f}, 0},      // orange, on the table
    {{3.2f, -3.3f, 0.2f}, 0.24f, {1.0f, 0.78f, 0.45f}, 14},     // the lamp's globe
};

struct Block {
  Vec3 low, high;
  Rgb colour;
};
constexpr Rgb wood{0.42f, 0.25f, 0.12f}, tableWood{0.55f, 0.36f, 0.2f}, iron{0.08f, 0.08f, 0.09f};
constexpr Block blocks[] = {
    {{-2.4f, 2.3f, floorZ}, {-1.6f, 3.1f, -0.75f}, wood},         // a crate
    {{1.5f, 2.8f, -0.78f}, {3.3f, 3.8f, -0.72f}, tableWood},      // the table's top
    {{1.55f, 2.85f, floorZ}, {1.63f, 2.93f, -0.78f}, tableWood},  // its legs
    {{3.17f, 2.85f, floorZ}, {3.25f, 2.93f, -0.78f}, tableWood},
    {{1.55f, 3.67f, floorZ}, {1.63f, 3.75f, -0.78f}, tableWood},
    {{3.17f, 3.67f, floorZ}, {3.25f, 3.75f, -0.78f}, tableWood},
    {{3.18f, -3.32f, floorZ}, {3.22f, -3.28f, 0}, iron},  // the lamp's pole
};

constexpr const Block* tableFirst = &blocks[1];
constexpr const Block* tableLast = &blocks[5];
constexpr Block tableSpace{{1.5f, 2.8f, floorZ}, {3.3f, 3.8f, -0.72f}, {}};  // around the table's five parts
constexpr float blocksTop = 0;
constexpr float nowhere = 1e9f;

bool IsInside(Vec3 at, const Block& block) {
  return at.x > block.low.x && at.x < block.high.x && at.y > block.low.y && at.y < block.high.y && at.z > block.low.z &&
         at.z < block.high.z;
}

// Distance along a ray to the ball; `nowhere` if it misses.
float Meets(const Ball& ball, Vec3 from, Vec3 dir) {
  const Vec3 to = ball.centre - from;
  const float along = Dot(to, dir);
  const float miss = Dot(to, to) - along * along;
  if (along <= 0 || miss >= ball.radius * ball.radius) return nowhere;
  return along - std::sqrt(ball.radius * ball.radius - miss);
}

// A ray with what each box test wants of it.
struct Ray {
  Ray(Vec3 start, Vec3 along)
      : from(start), dir(along), inverse{1 / Away(along.x), 1 / Away(along.y), 1 / Away(along.z)} {}

  static float Away(float value) { return std::abs(value) < 1e-9f ? 1e-9f : value; }  // from zero

  Vec3 from, dir, inverse;
};

// The same for a box; `axis` tells which pair of its faces the ray comes in by.
float Meets(const Block& block, const Ray& ray, int* axis) {
  const float x0 = (block.low.x - ray.from.x) * ray.inverse.x, x1 = (block.high.x - ray.from.x) * ray.inverse.x;
  const float y0 = (block.low.y - ray.from.y) * ray.inverse.y, y1 = (block.high.y - ray.from.y) * ray.inverse.y;
  const float z0 = (block.low.z - ray.from.z) * ray.inverse.z, z1 = (block.high.z - ray.from.z) * ray.inverse.z;
  const float inX = std::min(x0, x1), inY = std::min(y0, y1), inZ = std::min(z0, z1);
  const float enter = std::max(std::max(inX, inY), inZ);
  const float leave = std::min(std::min(std::max(x0, x1), std::max(y0, y1)), std::max(z0, z1));
  if (enter >= leave || enter <= 0) return nowhere;
  *axis = enter == inX ? 0 : enter == inY ? 1 : 2;
  return enter;
}

// The first thing that a ray meets nearer than `limit`.
struct Hit {
  float distance;
  const Ball* ball = nullptr;
  const Block* block = nullptr;
  int axis = 0;
};

Hit FirstHit(const Ray& ray, float limit) {
  Hit hit{.distance = limit};
  for (const Ball& ball : balls) {
    const float t = Meets(ball, ray.from, ray.dir);
    if (t < hit.distance) hit = {.distance = t, .ball = &ball};
  }
  int axis = 0;
  // No block is higher: rays that start there and do not fall need no test. That is half of what the eye sees.
  if (ray.from.z >= blocksTop && ray.dir.z >= 0) return hit;
  const bool table = Meets(tableSpace, ray, &axis) < hit.distance || IsInside(ray.from, tableSpace);
  for (const Block& block : blocks) {
    if (&block >= tableFirst && &block <= tableLast && !table) continue;
    const float t = Meets(block, ray, &axis);
    if (t < hit.distance) hit = {.distance = t, .block = &block, .axis = axis};
  }
  return hit;
}

// Whether the sun reaches a point of the room, through the window or the skylight, past the things that stand there.
bool InTheSun(Vec3 at) {
  const Vec3 window = at + sunDir * ((frontY - at.y) / sunDir.y);
  const Vec3 skylight = at + sunDir * ((ceilingZ - at.z) / sunDir.z);
  if (!IsOpenWindow(window.x, window.z) && !IsOpenSkylight(skylight.x, skylight.y)) return false;
  return FirstHit(Ray(at, sunDir), nowhere).distance == nowhere;
}

// Light from a bright opening or lamp of `area` square metres that faces along `facing`, taken as one point.
float From(Vec3 source, Vec3 facing, float area, Vec3 at, Vec3 normal) {
  const Vec3 to = source - at;
  const float square = Dot(to, to) + 0.3f;
  const float given = -Dot(to, facing), taken = Dot(to, normal);
  if (given <= 0) return 0;
  // Half the light comes round corners: surfaces that face away are not black.
  return area * given * (std::max(taken, 0.0f) + 0.25f * std::abs(taken)) / (square * square);
}

// The darkness of corners: less light gets where surfaces meet.
float Openness(Vec3 at, Vec3 normal) {
  const auto near = [](float distance) { return 0.4f / (1 + 9 * std::max(distance, 0.0f)); };
  float open = 1;
  if (normal.x == 0) open *= (1 - near(at.x - leftX)) * (1 - near(rightX - at.x));
  if (normal.y == 0) open *= (1 - near(at.y - backY)) * (1 - near(frontY - at.y));
  if (normal.z == 0) open *= (1 - near(at.z - floorZ)) * (1 - near(ceilingZ - at.z));
  return open;
}

// Things keep light from the floor under and beside them.
float FloorOpenness(Vec3 at) {
  float open = 1;
  for (const Ball& ball : balls) {
    if (ball.centre.z - ball.radius > floorZ + 0.1f) continue;
    const float dx = at.x - ball.centre.x, dy = at.y - ball.centre.y;
    const float square = (dx * dx + dy * dy) / (ball.radius * ball.radius);
    if (square < 6) open *= 1 - 0.75f / ((1 + square) * (1 + square));
  }
  for (const Block& block : {blocks[0], blocks[1]}) {
    const float dx = std::max({block.low.x - at.x, at.x - block.high.x, 0.0f});
    const float dy = std::max({block.low.y - at.y, at.y - block.high.y, 0.0f});
    const float square = (dx * dx + dy * dy) * 12;
    if (square < 4) open *= 1 - 0.45f / ((1 + square) * (1 + square));
  }
  return open;
}

Rgb LightOn(Vec3 at, Vec3 normal) {
  const float window = From(windowCentre, {0, -1, 0}, 6.5f, at, normal);
  const float skylight = From({0, 0, ceilingZ}, {0, 0, -1}, 4.0f, at, normal);
  const float lamp =
      From(balls[3].centre, Scaled(balls[3].centre - at, -1 / Length(balls[3].centre - at)), 0.35f, at, normal);
  const float open = Openness(at, normal);
  const Rgb sky{0.92f, 0.98f, 1.1f}, warm{1.2f, 0.9f, 0.55f};
  Rgb light = (Rgb{0.42f, 0.40f, 0.38f} + sky * (2.6f * window + 2.4f * skylight) + warm * (2.0f * lamp)) * open;
  const float towards = Dot(normal, sunDir);
  if (towards > 0 && InTheSun(at + normal * 1e-3f)) light = light + Rgb{9.0f, 8.2f, 6.9f} * towards;
  return light;
}

class Room final : public World {
 public:
  explicit Room(uint64_t seed) : seed_(static_cast<uint32_t>(Mixed(seed))) {}

  Rgb Look(Vec3 dir) const override {
    // The shell: the nearest of the three planes that the ray runs towards.
    const Ray ray({}, dir);
    const float tx = (dir.x > 0 ? rightX : leftX) * ray.inverse.x;
    const float ty = (dir.y > 0 ? frontY : backY) * ray.inverse.y;
    const float tz = (dir.z > 0 ? ceilingZ : floorZ) * ray.inverse.z;
    const float shell = std::min({std::abs(tx), std::abs(ty), std::abs(tz)});

    const Hit hit = FirstHit(ray, shell);
    const Vec3 at = dir * hit.distance;
    if (hit.ball) return BallLight(*hit.ball, at, dir);
    if (hit.block) {
      const std::array faces{Vec3{std::copysign(1.0f, -dir.x), 0, 0}, Vec3{0, std::copysign(1.0f, -dir.y), 0},
                             Vec3{0, 0, std::copysign(1.0f, -dir.z)}};
      return BlockLight(*hit.block, at, faces[static_cast<size_t>(hit.axis)]);
    }
    if (shell == std::abs(tz)) return dir.z > 0 ? CeilingLight(at, dir) : FloorLight(at, shell);
    if (shell == std::abs(ty)) return dir.y > 0 ? FrontLight(at, dir) : WallLight(BackWall(at, seed_), at, {0, 1, 0});
    return dir.x > 0 ? WallLight(RightWall(at, seed_), at, {-1, 0, 0}) : WallLight(LeftWall(at, seed_), at, {1, 0, 0});
  }

 private:
  Rgb BallLight(const Ball& ball, Vec3 at, Vec3 dir) const {
    const Vec3 normal = (at - ball.centre) * (1 / ball.radius);
    if (ball.glow > 0) return ball.colour * (ball.glow * (0.6f - 0.4f * Dot(normal, dir)));
    const Rgb light = LightOn(at, normal);
    // A polished ball: a bright spot where it mirrors the window.
    const Vec3 mirrored = dir - normal * (2 * Dot(normal, dir));
    const Vec3 seen = at + mirrored * ((frontY - at.y) / std::max(mirrored.y, 1e-3f));
    const float gloss = mirrored.y > 0 && IsOpenWindow(seen.x, seen.z) ? 0.5f : 0;
    return ball.colour * light + Rgb{gloss, gloss, gloss};
  }

  Rgb BlockLight(const Block& block, Vec3 at, Vec3 normal) const {
    const float along = normal.z != 0 ? at.x : at.z, across = normal.x != 0 ? at.y : normal.y != 0 ? at.x : at.y;
    return (block.colour * WoodGrain(along, across, seed_)) * LightOn(at, normal);
  }

  Rgb FloorLight(Vec3 at, float distance) const {
    return (Floor(at, distance, seed_) * FloorOpenness(at)) * LightOn(at, {0, 0, 1});
  }

  Rgb CeilingLight(Vec3 at, Vec3 dir) const {
    if (IsOpenSkylight(at.x, at.y)) return Outside(dir, seed_);
    return Ceiling(at, seed_) * LightOn(at, {0, 0, -1});
  }

  Rgb FrontLight(Vec3 at, Vec3 dir) const {
    if (IsOpenWindow(at.x, at.z)) return Outside(dir, seed_);
    return WallLight(FrontWall(at, seed_), at, {0, -1, 0});
  }

  static Rgb WallLight(Rgb colour, Vec3 at, Vec3 normal) { return colour * LightOn(at, normal); }

  const uint32_t seed_;
};

}  // namespace

std::unique_ptr<World> MakeRoom(uint64_t seed) { return std::make_unique<Room>(seed); }

}  // namespace twin

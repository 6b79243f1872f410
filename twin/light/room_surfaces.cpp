#include "twin/light/room_surfaces.h"

#include <algorithm>

#include "twin/light/chance.h"

namespace twin::room {
namespace {

constexpr Rgb whitePaint{0.82f, 0.82f, 0.80f};

// std::floor for numbers that fit an int, without a call.
float Whole(float value) {
  const auto cut = static_cast<float>(static_cast<int>(value));
  return cut > value ? cut - 1 : cut;
}

bool Between(float value, float low, float high) { return value >= low && value <= high; }

// 0 on a line, 1 off it, for a pattern of lines `period` apart; soft over `blur`.
float OffLine(float value, float period, float halfWidth, float blur) {
  const float phase = value / period - Whole(value / period);
  const float distance = std::min(phase, 1 - phase) * period;
  return std::clamp((distance - halfWidth) / blur + 0.5f, 0.0f, 1.0f);
}

// Fine grain of plaster, around 1.
float Grain(float u, float v, uint32_t seed) {
  return 1 + 0.10f * (SmoothNoise(u * 9, v * 9, seed) - 0.5f) +
         0.10f * (SmoothNoise(u * 110, v * 110, seed + 1) - 0.5f);
}

bool IsSkirting(Vec3 at) { return at.z < floorZ + 0.1f; }

Rgb Painting(float u, float v, int which, uint32_t seed) {
  // u and v run from -1 to 1, v upwards.
  if (which == 0) {  // a sun over the sea
    if (u * u + (v - 0.2f) * (v - 0.2f) < 0.09f) return {0.9f, 0.4f, 0.08f};
    const float wave = SmoothNoise(u * 6, v * 22, seed + 11);
    return v > -0.15f ? Mix({0.85f, 0.5f, 0.3f}, {0.3f, 0.25f, 0.5f}, v) : Rgb{0.06f, 0.2f + 0.15f * wave, 0.4f};
  }
  if (which == 1) {  // coloured fields
    const int x = static_cast<int>(Whole((u + 1) * 2.5f)), y = static_cast<int>(Whole((v + 1) * 2));
    const float hue = GridChance(x, y, seed + 12);
    return {0.15f + 0.7f * std::abs(2 * hue - 1), 0.15f + 0.6f * (1 - hue), 0.1f + 0.7f * std::abs(std::sin(6 * hue))};
  }
  const float ring = std::sqrt(u * u + v * v) * 5;  // rings
  return static_cast<int>(ring) % 2 == 0 ? Rgb{0.75f, 0.7f, 0.6f} : Rgb{0.1f, 0.12f, 0.3f};
}

Rgb Book(float y, float z, uint32_t seed) {
  constexpr float boardHeight = 0.4f;
  const float level = (z - floorZ) / boardHeight;
  const int shelf = static_cast<int>(Whole(level));
  const float up = (level - Whole(level)) * boardHeight;
  constexpr Rgb board{0.33f, 0.2f, 0.1f};
  if (up < 0.03f) return board;
  // Books are of different thickness: split each slot of 12 cm at a chance place.
  const float slotAt = y / 0.12f;
  const int slot = static_cast<int>(Whole(slotAt));
  const float split = 0.3f + 0.4f * GridChance(slot, shelf, seed + 21);
  const bool second = slotAt - Whole(slotAt) > split;
  const int book = slot * 2 + (second ? 1 : 0);
  const float height = 0.22f + 0.13f * GridChance(book, shelf, seed + 22);
  if (up > height + 0.03f) return {0.06f, 0.05f, 0.04f};  // the shelf's dark back
  const float edge =
      std::min(std::abs(slotAt - Whole(slotAt) - split), std::min(slotAt - Whole(slotAt), 1 - slotAt + Whole(slotAt)));
  const float hue = GridChance(book, shelf, seed + 23), tone = 0.3f + 0.7f * GridChance(book, shelf, seed + 24);
  Rgb cover{0.12f + 0.55f * std::max(0.0f, std::cos(6.2832f * hue)),
            0.1f + 0.4f * std::max(0.0f, std::cos(6.2832f * (hue - 0.33f))),
            0.1f + 0.5f * std::max(0.0f, std::cos(6.2832f * (hue - 0.66f)))};
  if (Between(up, height - 0.05f, height - 0.02f)) cover = Mix(cover, {0.8f, 0.7f, 0.4f}, 0.6f);  // a gilt band
  return cover * (tone * (edge < 0.05f ? 0.5f : 1.0f));
}

}  // namespace

bool IsOpenWindow(float x, float z) {
  if (!Between(x, -1.9f, 1.9f) || !Between(z, -0.55f, 1.15f)) return false;
  return std::abs(std::abs(x) - 0.63f) > 0.03f && std::abs(z - 0.55f) > 0.025f;
}

bool IsOpenSkylight(float x, float y) {
  return std::abs(x) < 1.0f && std::abs(y) < 1.0f && std::abs(x) > 0.025f && std::abs(y) > 0.025f;
}

Rgb FrontWall(Vec3 at, uint32_t seed) {
  const bool frame = Between(at.x, -2.0f, 2.0f) && Between(at.z, -0.65f, 1.25f);
  if (frame || IsSkirting(at)) return whitePaint;
  return Rgb{0.80f, 0.68f, 0.44f} * Grain(at.x, at.z, seed + 1);
}

Rgb BackWall(Vec3 at, uint32_t seed) {
  if (IsSkirting(at)) return whitePaint;
  for (int i = 0; i < 3; i++) {
    const float u = (at.x - 2.3f * static_cast<float>(i - 1)) / 0.75f, v = (at.z - 0.25f) / 0.55f;
    if (std::abs(u) < 1 && std::abs(v) < 1) return Painting(-u, v, i, seed);  // seen from the room, x runs left
    if (std::abs(u) < 1.07f && std::abs(v) < 1.1f) return {0.3f, 0.18f, 0.06f};
  }
  return Rgb{0.38f, 0.55f, 0.72f} * Grain(at.x, at.z, seed + 2);
}

Rgb LeftWall(Vec3 at, uint32_t seed) {
  if (Between(at.y, -1.9f, 1.9f) && at.z < 0.95f) {
    if (std::abs(at.y) > 1.85f || at.z > 0.9f) return {0.33f, 0.2f, 0.1f};
    return Book(at.y, at.z, seed);
  }
  if (IsSkirting(at)) return whitePaint;
  return Rgb{0.30f, 0.46f, 0.24f} * Grain(at.y, at.z, seed + 3);
}

Rgb RightWall(Vec3 at, uint32_t seed) {
  if (Between(at.y, -1.1f, 0.1f) && at.z < 0.65f) {  // the door
    const float u = std::abs(at.y + 0.5f);
    if (u > 0.52f || at.z > 0.57f) return whitePaint;
    const float dy = at.y - 0.28f, dz = at.z + 0.5f;
    if ((dy + 0.42f) * (dy + 0.42f) + dz * dz < 0.0016f) return {0.75f, 0.6f, 0.2f};
    const bool groove = Between(u, 0.34f, 0.36f) || std::abs(std::abs(at.z + 0.45f) - 0.08f) < 0.012f;
    return Rgb{0.30f, 0.14f, 0.06f} * (WoodGrain(at.z, at.y, seed) * (groove ? 0.5f : 1.0f));
  }
  if (IsSkirting(at)) return whitePaint;
  const float course = Whole((at.z - floorZ) / 0.09f);
  const float shifted = at.y + (static_cast<int>(course) % 2 ? 0.125f : 0);
  const float joint = std::min(OffLine(shifted, 0.25f, 0.006f, 0.004f), OffLine(at.z - floorZ, 0.09f, 0.006f, 0.004f));
  const float tone =
      0.65f + 0.5f * GridChance(static_cast<int>(Whole(shifted / 0.25f)), static_cast<int>(course), seed + 4);
  const Rgb brick = Rgb{0.50f, 0.20f, 0.13f} * (tone * Grain(at.y, at.z, seed + 5));
  return Mix({0.55f, 0.52f, 0.47f}, brick, joint);
}

Rgb Ceiling(Vec3 at, uint32_t seed) {
  if (std::abs(at.x) < 1.1f && std::abs(at.y) < 1.1f) return whitePaint * 0.8f;  // the skylight's frame
  const float phase = at.y - Whole(at.y);
  if (phase < 0.14f) return Rgb{0.40f, 0.25f, 0.13f} * (WoodGrain(at.x, at.y, seed) * (phase < 0.02f ? 0.6f : 1.0f));
  return Rgb{0.78f, 0.76f, 0.72f} * Grain(at.x, at.y, seed + 6);
}

Rgb Floor(Vec3 at, float distance, uint32_t seed) {
  const float rugX = std::abs(at.x) / 1.5f, rugY = std::abs(at.y - 1.9f) / 1.0f;
  if (rugX < 1 && rugY < 1) {
    const float weave = 0.8f + 0.4f * SmoothNoise(at.x * 160, at.y * 160, seed + 7);
    if (rugX > 0.95f || rugY > 0.92f) return Rgb{0.62f, 0.45f, 0.15f} * weave;
    const float diamond = std::abs(at.x / 0.5f - std::round(at.x / 0.5f)) +
                          std::abs((at.y - 1.9f) / 0.5f - std::round((at.y - 1.9f) / 0.5f));
    return (diamond < 0.28f ? Rgb{0.55f, 0.12f, 0.12f} : Rgb{0.07f, 0.10f, 0.30f}) * weave;
  }
  constexpr float tile = 0.5f;
  const int x = static_cast<int>(Whole(at.x / tile)), y = static_cast<int>(Whole(at.y / tile));
  const float tone = (0.85f + 0.3f * GridChance(x, y, seed + 8)) * Grain(at.x * 0.6f, at.y * 0.6f, seed + 9);
  const Rgb colour = (x + y) % 2 ? Rgb{0.68f, 0.60f, 0.48f} : Rgb{0.36f, 0.17f, 0.10f};
  const float blur = 0.002f + 0.0012f * distance * distance;
  const float joint = std::min(OffLine(at.x, tile, 0.006f, blur), OffLine(at.y, tile, 0.006f, blur));
  return Mix({0.20f, 0.19f, 0.18f}, colour * tone, joint);
}

float WoodGrain(float along, float across, uint32_t seed) {
  const float plank = Whole(across / 0.14f);
  const float gap = OffLine(across, 0.14f, 0.003f, 0.004f);
  const float fibre = SmoothNoise(along * 2 + plank * 7, across * 70, seed + 10);
  return (0.7f + 0.5f * fibre) * (0.4f + 0.6f * gap);
}

Rgb Outside(Vec3 dir, uint32_t seed) {
  const float flat = std::sqrt(dir.x * dir.x + dir.y * dir.y);
  const float slope = dir.z / std::max(flat, 1e-4f);
  const float azimuth = std::atan2(dir.x, dir.y);
  const float hills = 0.05f + 0.035f * std::sin(azimuth * 5 + 1) + 0.02f * std::sin(azimuth * 13) +
                      0.004f * SmoothNoise(azimuth * 60, 0, seed + 31);
  if (slope < 0) {
    // A field down to the horizon, paler with distance.
    const float far = 1.6f / std::max(-slope, 0.01f);
    const float u = dir.x / flat * far, v = dir.y / flat * far;
    const float meadow =
        0.7f + 0.6f * SmoothNoise(u * 0.7f, v * 0.7f, seed + 32) * SmoothNoise(u * 5, v * 5, seed + 33);
    return Mix(Rgb{0.9f, 1.8f, 0.35f} * meadow, {3.2f, 3.8f, 4.2f}, std::min(far / 180, 0.6f));
  }
  if (slope < hills) {
    const float trees = 0.75f + 0.5f * SmoothNoise(azimuth * 220, slope * 220, seed + 34);
    return Mix(Rgb{0.9f, 1.5f, 0.8f} * trees, {2.6f, 3.2f, 3.9f}, 0.4f - 2 * slope);
  }
  const float height = std::min(dir.z, 1.0f);
  Rgb sky = Mix({6.5f, 7.2f, 8.0f}, {1.6f, 3.2f, 7.0f}, std::sqrt(height));
  const float u = dir.x / (dir.z + 0.12f) * 1.7f, v = dir.y / (dir.z + 0.12f) * 1.7f;
  const float cloud = 0.55f * SmoothNoise(u, v, seed + 35) + 0.28f * SmoothNoise(u * 2.3f, v * 2.3f, seed + 36) +
                      0.17f * SmoothNoise(u * 5.1f, v * 5.1f, seed + 37);
  sky = Mix(sky, {10.5f, 10.4f, 10.2f}, std::clamp((cloud - 0.48f) * 4, 0.0f, 0.95f));
  const float towards = std::max(Dot(dir, sunDir), 0.0f);
  const float glow = std::pow(towards, 90.0f) * 18;
  return sky + Rgb{glow, glow * 0.9f, glow * 0.7f} + (towards > 0.99996f ? Rgb{900, 850, 700} : Rgb{});
}

}  // namespace twin::room

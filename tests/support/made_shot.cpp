#include "tests/support/made_shot.h"

#include <turbojpeg.h>

#include <algorithm>
#include <map>
#include <tuple>

namespace support {
namespace {

void Put(Bytes& to, size_t at, int64_t value, size_t size) {
  for (size_t i = 0; i < size; ++i) to[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

void Add(Bytes& to, int64_t value, size_t size) {
  to.resize(to.size() + size);
  Put(to, to.size() - size, value, size);
}

void AddSection(Bytes& to, int token, const Bytes& body) {
  Add(to, token, 2);
  Add(to, static_cast<int64_t>(body.size()), 4);
  to.insert(to.end(), body.begin(), body.end());
}

// Shutter rows, frame length, row length and gain of three exposures by the clock round 512 rows at unity gain. What
// would be 2048 rows at gain 16 is 1310 at gain 25.
void AddSets(Bytes& record, int captureMode, int first) {
  for (int i = first; i < first + 3; ++i) {
    const int rows = captureMode < 2 ? 128 << 2 * std::min(i, 2) : 64 << i;
    for (const int value : {std::min(rows, 1310), 2470, 3888, rows == 2048 ? 25 : 16}) Add(record, value, 4);
  }
}

Bytes RecordOf(const MadeShot& shot) {
  Bytes record;
  for (const int value : {shot.deviceId, 1, 2026, 11, 24, 20, 34, 56, 789, 7}) Add(record, value, 4);
  AddSets(record, shot.captureMode, 0);
  for (const int value : {0,
                          0,
                          0,
                          0,
                          -2,
                          1,
                          shot.captureMode + 2,
                          0,
                          0,
                          0,
                          0,
                          95,
                          80,
                          0,
                          shot.half ? 1 : 0,
                          0,
                          0,
                          0,
                          0,
                          32,
                          shot.vertexX,
                          shot.vertexY,
                          1214000000,
                          312000000})
    Add(record, value, 4);
  AddSets(record, shot.captureMode, 3);
  for (const int value : {0, shot.compassValue, 0, 0, 0, 0}) Add(record, value, 4);
  return record;
}

Bytes Counting(int size, int modulus) {
  Bytes bytes;
  for (int i = 0; i < size; ++i) bytes.push_back(static_cast<uint8_t>(i % modulus));
  return bytes;
}

// Cameras in the order of their data: by layer, exposure and place in the layer. The second form's order is free.
std::vector<std::vector<int>> Layers(int cameras) {
  if (cameras == 25)
    return {{0, 1, 2, 3, 4, 5, 6, 7, 8}, {9, 10, 11, 12, 13, 14, 15, 24}, {16, 17, 18, 19, 20, 21, 22, 23}};
  std::vector<int> all;
  for (int i = 0; i < cameras; ++i) all.push_back(i);
  return {all};
}

// A camera's picture is in its half of a two-half shot, 1 or 2, and in a shot of one piece, 0.
bool IsTaken(int half, int camera) {
  const std::string first = "1100111100011110001111011";
  return half == 0 || (first[static_cast<size_t>(camera)] == '1') == (half == 1);
}

// What is filed, in order: camera and exposure.
std::vector<std::pair<int, int>> Frames(const MadeShot& shot) {
  std::vector<std::pair<int, int>> frames;
  for (const int half : shot.half == 3 ? std::vector{1, 2} : std::vector{shot.half})
    for (const auto& layer : Layers(shot.Cameras()))
      for (int exposure = 0; exposure < shot.Exposures(); ++exposure)
        for (const int camera : layer)
          if (IsTaken(half, camera)) frames.emplace_back(camera, exposure);
  return frames;
}

}  // namespace

Bytes JpegFrom(const Bytes& rgb, int width, int height, int subsampling, int quality) {
  const tjhandle encoder = tjInitCompress();
  unsigned char* data = nullptr;
  unsigned long size = 0;
  if (tjCompress2(encoder, rgb.data(), width, 0, height, TJPF_RGB, &data, &size, subsampling, quality, 0) != 0)
    throw std::runtime_error(tjGetErrorStr2(encoder));
  const Bytes jpeg(data, data + size);
  tjFree(data);
  tjDestroy(encoder);
  return jpeg;
}

const Bytes& TwoToneJpeg(int width, int height, int quality) {
  static std::map<std::tuple<int, int, int>, Bytes> made;
  Bytes& jpeg = made[{width, height, quality}];
  if (!jpeg.empty()) return jpeg;
  const size_t half = size_t{3} * static_cast<size_t>(width) * static_cast<size_t>(height) / 2;
  Bytes pixels(half, 210);
  pixels.resize(2 * half, 50);
  return jpeg = JpegFrom(pixels, width, height, TJSAMP_420, quality);
}

Bytes JpegOf(const std::string& size, int camera, int exposure) {
  Bytes jpeg = size == "full" ? TwoToneJpeg(3264, 2448, 95) : TwoToneJpeg(1632, 1224, 85);
  const std::string comment = size + " " + std::to_string(camera) + " " + std::to_string(exposure);
  Bytes segment = {0xFF, 0xFE, 0, static_cast<uint8_t>(comment.size() + 2)};
  segment.insert(segment.end(), comment.begin(), comment.end());
  jpeg.insert(jpeg.begin() + 2, segment.begin(), segment.end());
  return jpeg;
}

Bytes MadeShot::Make() const {
  Bytes file;
  Add(file, fileType, 2);
  AddSection(file, 0xFFD0, RecordOf(*this));
  const int rows = deviceId < 10 ? 25 : 3;
  AddSection(file, 0xFFD8, cameraTable.empty() ? Counting(rows * 32, 251) : cameraTable);
  AddSection(file, 0xFFD7, vignettingTable.empty() ? Counting(rows * 3080, 241) : vignettingTable);
  if (skippedSection) {
    Add(file, 0xFFD1, 2);
    file.insert(file.end(), 268, 0xA5);
  }
  if (hasLogo) AddSection(file, 0xFFD5, logo);
  const size_t entries = static_cast<size_t>(Cameras() * Exposures() * 2), index = file.size() + 6;
  AddSection(file, 0xFFD9, Bytes(entries * 20));
  AddSection(file, 0xFFD3, {});
  const size_t data = file.size();
  for (const auto& [camera, exposure] : Frames(*this))
    for (const int type : {2, 1}) {
      const Bytes picture = jpeg(type == 2 ? "full" : "half", camera, exposure);
      const size_t number = static_cast<size_t>(camera * Exposures() + exposure) + (type == 2 ? entries / 2 : 0);
      const size_t at = index + number * 20;
      Put(file, at, type, 2);
      Put(file, at + 2, camera, 2);
      Put(file, at + 4, exposure, 2);
      Put(file, at + 12, static_cast<int64_t>(file.size() - data), 4);
      Put(file, at + 16, static_cast<int64_t>(picture.size()), 4);
      file.insert(file.end(), picture.begin(), picture.end());
    }
  Put(file, data - 4, static_cast<int64_t>(file.size() - data), 4);
  AddSection(file, 0xFFD2, thumbnail);
  return file;
}

}  // namespace support

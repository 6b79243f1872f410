#include "tests/support/made_shot.h"

#include <turbojpeg.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <map>
#include <random>
#include <stdexcept>
#include <tuple>

namespace support {
namespace {

void Add16(Bytes& to, int value) {
  to.push_back(static_cast<uint8_t>(value));
  to.push_back(static_cast<uint8_t>(value >> 8));
}

void Add32(Bytes& to, int32_t value) {
  Add16(to, value);
  Add16(to, value >> 16);
}

void Put32(Bytes& to, size_t at, size_t value) {
  for (size_t i = 0; i < 4; ++i) to[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

// Shutter rows, frame length, row length and gain of a base exposure of 512 rows at unity gain, worked out by hand for
// the two brackets of exposures by the clock. 1310 rows at gain 25 stand for 2048 rows at gain 16.
using Set = std::array<int, 4>;
constexpr std::array<Set, 6> threeStep = {{{128, 2470, 3888, 16},
                                           {512, 2470, 3888, 16},
                                           {1310, 2470, 3888, 25},
                                           {1310, 2470, 3888, 25},
                                           {1310, 2470, 3888, 25},
                                           {1310, 2470, 3888, 25}}};
constexpr std::array<Set, 6> sixStep = {{{64, 2470, 3888, 16},
                                         {128, 2470, 3888, 16},
                                         {256, 2470, 3888, 16},
                                         {512, 2470, 3888, 16},
                                         {1024, 2470, 3888, 16},
                                         {1310, 2470, 3888, 25}}};

void AddSets(Bytes& file, const std::array<Set, 6>& sets, size_t first) {
  for (size_t i = first; i < first + 3; ++i)
    for (const int value : sets[i]) Add32(file, value);
}

void AddRecord(Bytes& file, const MadeShot& shot) {
  const auto& sets = shot.captureMode < 2 ? threeStep : sixStep;
  for (const int value : {shot.deviceId, 1, 2026, 11, 24, 20, 34, 56, 789, 7}) Add32(file, value);
  AddSets(file, sets, 0);
  for (const int value :
       {0, 0, 0, 0,  -2,       1,       shot.captureMode + 2, 0,        0, 0, 0, 95, 80, 0, shot.half ? 1 : 0, 0,
        0, 0, 0, 32, -1234567, 7654321, 1214000000,           312000000})
    Add32(file, value);
  AddSets(file, sets, 3);
  for (const int value : {0, -9000, 0, 0, 0, 0}) Add32(file, value);
}

// Cameras in the order of their data: by layer, exposure and place in the layer. The second form's order is free.
std::vector<std::vector<int>> Layers(int cameras) {
  if (cameras == 25)
    return {{0, 1, 2, 3, 4, 5, 6, 7, 8}, {9, 10, 11, 12, 13, 14, 15, 24}, {16, 17, 18, 19, 20, 21, 22, 23}};
  std::vector<int> all;
  for (int i = 0; i < cameras; ++i) all.push_back(i);
  return {all};
}

bool IsTaken(const MadeShot& shot, int camera) {
  const std::string first = "1100111100011110001111011";
  return shot.half == 0 || (first[static_cast<size_t>(camera)] == '1') == (shot.half == 1);
}

}  // namespace

const Bytes& TwoToneJpeg(int width, int height, int quality) {
  static std::map<std::tuple<int, int, int>, Bytes> made;
  Bytes& jpeg = made[{width, height, quality}];
  if (!jpeg.empty()) return jpeg;
  const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
  Bytes planes(pixels * 3 / 2, 128);
  for (size_t i = 0; i < pixels; ++i) planes[i] = i < pixels / 2 ? 210 : 50;
  const tjhandle encoder = tjInitCompress();
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  if (tjCompressFromYUV(encoder, planes.data(), width, 1, height, TJSAMP_420, &bytes, &size, quality, 0) != 0)
    throw std::runtime_error(tjGetErrorStr2(encoder));
  jpeg.assign(bytes, bytes + size);
  tjFree(bytes);
  tjDestroy(encoder);
  return jpeg;
}

Bytes NoiseJpeg(int width, int height, int subsampling) {
  Bytes pixels(static_cast<size_t>(width) * static_cast<size_t>(height) * 3);
  std::mt19937 noise(1);
  for (uint8_t& pixel : pixels) pixel = static_cast<uint8_t>(noise());
  const tjhandle encoder = tjInitCompress();
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  if (tjCompress2(encoder, pixels.data(), width, 0, height, TJPF_RGB, &bytes, &size, subsampling, 80, 0) != 0)
    throw std::runtime_error(tjGetErrorStr2(encoder));
  Bytes jpeg(bytes, bytes + size);
  tjFree(bytes);
  tjDestroy(encoder);
  return jpeg;
}

Bytes JpegOf(const std::string& size, int camera, int exposure) {
  const Bytes& plain = size == "full" ? TwoToneJpeg(3264, 2448, 95) : TwoToneJpeg(1632, 1224, 85);
  const std::string comment = size + " " + std::to_string(camera) + " " + std::to_string(exposure);
  Bytes jpeg(plain.begin(), plain.begin() + 2);
  jpeg.reserve(plain.size() + 4 + comment.size());
  for (const int byte : {0xFF, 0xFE, 0, static_cast<int>(comment.size()) + 2})
    jpeg.push_back(static_cast<uint8_t>(byte));
  for (const char letter : comment) jpeg.push_back(static_cast<uint8_t>(letter));
  jpeg.insert(jpeg.end(), plain.begin() + 2, plain.end());
  return jpeg;
}

Bytes MadeShot::Make() const {
  Bytes file;
  Add16(file, fileType);
  Add16(file, 0xFFD0);
  Add32(file, 256);
  AddRecord(file, *this);
  const int rows = deviceId < 10 ? 25 : 3;
  Add16(file, 0xFFD8);
  Add32(file, rows * 32);
  for (int i = 0; i < rows * 32; ++i) file.push_back(static_cast<uint8_t>(i % 251));
  Add16(file, 0xFFD7);
  Add32(file, rows * 3080);
  for (int i = 0; i < rows * 3080; ++i) file.push_back(static_cast<uint8_t>(i % 241));
  if (skippedSection) {
    Add16(file, 0xFFD1);
    file.insert(file.end(), 268, 0xA5);
  }
  if (hasLogo) {
    Add16(file, 0xFFD5);
    Add32(file, static_cast<int32_t>(logo.size()));
    file.insert(file.end(), logo.begin(), logo.end());
  }
  const int entries = Cameras() * Exposures() * 2;
  Add16(file, 0xFFD9);
  Add32(file, entries * 20);
  const size_t index = file.size();
  file.insert(file.end(), static_cast<size_t>(entries) * 20, 0);
  Add16(file, 0xFFD3);
  const size_t sizeAt = file.size();
  Add32(file, 0);
  const size_t data = file.size();
  for (const auto& layer : Layers(Cameras()))
    for (int exposure = 0; exposure < Exposures(); ++exposure)
      for (const int camera : layer)
        for (const int type : {2, 1}) {
          if (!IsTaken(*this, camera)) continue;
          const Bytes picture = jpeg(type == 2 ? "full" : "half", camera, exposure);
          const int number = (type == 2 ? entries / 2 : 0) + camera * Exposures() + exposure;
          const size_t at = index + static_cast<size_t>(number) * 20;
          file[at] = static_cast<uint8_t>(type);
          file[at + 2] = static_cast<uint8_t>(camera);
          file[at + 4] = static_cast<uint8_t>(exposure);
          Put32(file, at + 12, file.size() - data);
          Put32(file, at + 16, picture.size());
          file.insert(file.end(), picture.begin(), picture.end());
        }
  Put32(file, sizeAt, file.size() - data);
  Add16(file, 0xFFD2);
  Add32(file, static_cast<int32_t>(thumbnail.size()));
  file.insert(file.end(), thumbnail.begin(), thumbnail.end());
  return file;
}

TestFolder::TestFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "lumora-shot-XXXXXX").string();
  if (!mkdtemp(name.data())) throw std::runtime_error("cannot make " + name);
  path_ = name;
}

TestFolder::~TestFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void WriteFile(const std::string& path, const Bytes& bytes) {
  FILE* file = fopen(path.c_str(), "wb");
  if (!file) throw std::runtime_error("cannot write " + path);
  const size_t written = bytes.empty() ? 0 : fwrite(bytes.data(), 1, bytes.size(), file);
  if (fclose(file) != 0 || written != bytes.size()) throw std::runtime_error("cannot write " + path);
}

Bytes ReadFile(const std::string& path) {
  FILE* file = fopen(path.c_str(), "rb");
  if (!file) throw std::runtime_error("cannot read " + path);
  Bytes bytes;
  std::array<uint8_t, 65536> block;
  for (size_t n; (n = fread(block.data(), 1, block.size(), file)) > 0;)
    bytes.insert(bytes.end(), block.begin(), block.begin() + static_cast<ptrdiff_t>(n));
  fclose(file);
  return bytes;
}

}  // namespace support

#include "tools/blobs/dmp_image.h"

#include <algorithm>

#include "tools/blobs/stand_in_values.h"

namespace blobs {

namespace {

constexpr uint64_t kSeed = 0x6050;

struct Place {
  size_t address;
  size_t size;
  uint8_t off;
};
constexpr Place kPlaces[] = {
    {0x216, 2, 0x00},   // rate divider: every sample
    {0xA98, 4, 0x8B},   // quaternion of the gyroscope alone
    {0xA9E, 4, 0xA3},   // quaternion of both
    {0xAA7, 10, 0xA3},  // accelerometer, gyroscope
    {0xAB6, 1, 0xD8},   // gesture bytes
    {0x8B0, 1, 0xD8},   // taps
    {0x73D, 1, 0xD8},   // orientation
};

}  // namespace

std::vector<uint8_t> MakeDmpImage() {
  std::vector<uint8_t> image(dmpImageSize);
  StandInValues values(kSeed);
  for (uint8_t& byte : image) byte = static_cast<uint8_t>(values.Next() >> 56);
  for (const Place& place : kPlaces)
    std::fill_n(image.begin() + static_cast<long>(place.address), place.size, place.off);
  return image;
}

}  // namespace blobs

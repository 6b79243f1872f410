// A stand-in for the program of the motion sensor's own processor: of the right size, with arbitrary bytes in it.
//
// At the places that a driver writes over after the load (packet content, mounting, rate, in the table of
// dmp_image.cpp) the stand-in says "off", so that a set-up that leaves one out shows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace blobs {

constexpr size_t dmpImageSize = 3062;  // bytes

std::vector<uint8_t> MakeDmpImage();

}  // namespace blobs

// The panorama as a file.
#pragma once

#include <array>
#include <string>

#include "tools/lumora-shot/shot_file.h"
#include "tools/panorama/stitch.h"

namespace panorama {

// Pixels to look at: red, green, blue, nothing.
using Shade = std::array<uint8_t, 4>;

// The rows `rows` of a panorama of levels.
Layer<Shade> LevelsOf(Stitched* stitched, Rows rows);

// Throws shot::BadJpeg if the encoder refuses.
shot::Bytes ToJpeg(const Layer<Shade>& picture, int quality);

}  // namespace panorama

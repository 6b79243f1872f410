// Shot files with pictures of a world, made without booting a board: the twin's light, in a file made by hand.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/made_shot.h"

namespace support {

// Writes a shot of three exposures (1/4, 1 and 4 of 1/60 s at unity gain) with the stand-in calibration. Only full
// pictures of the exposures in `exposures` are in it.
//   scene  equirectangular JPEG; empty: the procedural room
//   light  factor on the world's light, see twin/light/rendered_pictures.h
void WriteRenderedShot(const std::string& path, MadeShot shot, const std::vector<int>& exposures,
                       const std::filesystem::path& scene = {}, double light = 1);

// The same tables for a shot whose pictures are made by hand.
MadeShot CalibratedShot();

}  // namespace support

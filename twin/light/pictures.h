// The two lights that a board can be put into.
#pragma once

#include <filesystem>
#include <memory>

#include "twin/light/picture_source.h"

namespace twin {

// Small pictures that say which frame they are; see marked_pictures.h.
std::unique_ptr<PictureSource> MakeMarkedPictures(double light, uint64_t seed);

// One world seen by all cameras.
//   scene          equirectangular JPEG; empty: the procedural room and sky
//   conf, vignet   calibration files of the 25 cameras
//   light          factor on the world's light
//   seed           of the sensors' noise
// Throws std::runtime_error with a message for a person if a file cannot be read.
std::unique_ptr<PictureSource> MakeRenderedPictures(const std::filesystem::path& scene,
                                                    const std::filesystem::path& conf,
                                                    const std::filesystem::path& vignet, double light, uint64_t seed);

}  // namespace twin

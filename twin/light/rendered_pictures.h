// Pictures of one world seen by all cameras: the light for people.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "twin/light/picture_source.h"

namespace twin {

// A source that renders what each lens of the calibration sees of a world.
//   scene           equirectangular JPEG; empty: the procedural room and sky (world.h)
//   conf, vignet    the board's calibration files
//   light           factor on the world's light. At 1 the mean MeanSignal over the cameras of layer 1, which measure
//                   the scene, is 28/255 for an exposure of 1/100 s at unity gain, whatever the scene
//   seed            of all noise, and of chance in the procedural world
// Throws std::runtime_error, saying which file and what is wrong with it.
//
// Orientation: the cameras of layer 0 (0 to 8) are built in upside down against the others. A picture whose registers
// were set as the system does (layer 0 mirrored and flipped, the others neither) lies turned by 180 degrees, as the
// pictures of a shot file do; the mirroring of the video input is always on and already counted in.
//
// Views are rendered when a camera is first asked for and then kept (12 MB each). Two threads work ahead on what
// Prefetch announced, a few frames at most; results wait there until they are asked for. A frame that is asked for
// without announcement is made at once. Encode may be called from one thread at a time.
std::unique_ptr<PictureSource> MakeRenderedPictures(const std::filesystem::path& scene,
                                                    const std::filesystem::path& conf,
                                                    const std::filesystem::path& vignet, double light, uint64_t seed);

}  // namespace twin

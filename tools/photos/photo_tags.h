// What a photo program wants to know of a picture: EXIF, and for panoramas GPano XMP. Written by Exiv2.
#pragma once

#include <optional>
#include <span>

#include "tools/lumora-shot/calibration.h"
#include "tools/lumora-shot/shot_file.h"

namespace shot {

// `jpeg` with EXIF of the shot in front of its data, which stay as they are: maker and model, local time with its
// milliseconds, shutter, ISO and compensation of the exposure, position if it was known, and that the picture stands on
// its head. With the camera's calibration also the lens's focal length. Throws BadJpeg if `jpeg` is none.
Bytes WithPhotoTags(std::span<const uint8_t> jpeg, const Record& record, const Place& place, const CameraConf* lens);

// A panorama's place in the whole sphere, in pixels of the whole picture.
struct PanoramaPlace {
  int fullWidth, fullHeight;
  int left, top, width, height;     // what is there of it
  std::optional<double> heading{};  // of its middle, degrees from north over east; none: not known
};

// The same for a panorama, which stands upright: EXIF of that exposure, and all that GPano asks for. The heading is 0
// if it is not known.
Bytes WithPanoramaTags(std::span<const uint8_t> jpeg, const Record& record, int exposure, const PanoramaPlace& place);

}  // namespace shot

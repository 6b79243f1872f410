// The panorama as a file.
#pragma once

#include <string>

#include "tools/lumora-shot/shot_file.h"
#include "tools/panorama/stitch.h"

namespace panorama {

// A JPEG (4:2:0) of the rows `rows`. A panorama of levels is shown as it is, one of radiance through tone_map.h.
shot::Bytes ToJpeg(const Stitched& stitched, Rows rows, int quality);

// OpenEXR is what keeps the light of a whole bracket without loss for the eye and is read by all that work with such
// light; its own library is in every distribution. Half precision, in the units of light.h, with the attribute that
// says latitude and longitude. Throws shot::CannotWrite; then no half-written file is left.
void WriteExr(const Stitched& stitched, Rows rows, const std::string& path);

}  // namespace panorama

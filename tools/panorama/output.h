// The panorama as a file.
#pragma once

#include <string>

#include "tools/lumora-shot/shot_file.h"
#include "tools/panorama/stitch.h"

namespace panorama {

// A JPEG (4:2:0) of the rows `rows`. A panorama of levels is shown as it is, one of radiance through tone_map.h.
shot::Bytes ToJpeg(const Stitched& stitched, Rows rows, int quality);

// The light itself, of a panorama of radiance, in the units of light.h. Both throw shot::CannotWrite; then no
// half-written file is left.
//   OpenEXR      half precision, compressed, by its own library, which every distribution has; says that it is latitude
//                and longitude
//   Radiance     the older form that nearly everything reads: 8 bits a colour and one exponent (Ward, "Real Pixels",
//                Graphics Gems II). So short that it is written here; not compressed, 4 bytes a pixel
void WriteExr(const Stitched& stitched, Rows rows, const std::string& path);
void WriteHdr(const Stitched& stitched, Rows rows, const std::string& path);

}  // namespace panorama

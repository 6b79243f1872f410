// The panorama as a file.
#pragma once

#include <string>

#include "tools/lumora-shot/pictures.h"
#include "tools/panorama/stitch.h"

namespace panorama {

// Pixels for looking at, of the rows `rows`: levels as they are.
shot::Rgb LevelsOf(Stitched* stitched, Rows rows);

}  // namespace panorama

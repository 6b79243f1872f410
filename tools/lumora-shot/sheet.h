// A contact sheet: every camera and exposure of a shot on one page.
#pragma once

#include "tools/lumora-shot/pictures.h"
#include "tools/lumora-shot/shot_file.h"

namespace shot {

// Draws the half pictures at an eighth of their size. A row is a camera, a column an exposure, each block of columns
// begins again under its own headings. The sensors hang upside down, so the pictures are turned by 180 degrees, as the
// thumbnail is. A picture that is missing or damaged is marked as such. Works on damaged files as far as they go.
Rgb DrawSheet(const File& file);

}  // namespace shot

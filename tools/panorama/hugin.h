// A shot as a project of Hugin, the panorama program: its pictures, and what the camera knows of each.
#pragma once

#include <string>
#include <vector>

#include "tools/panorama/geometry.h"

namespace panorama {

struct HuginProjects {
  size_t pictures = 0;
  std::vector<std::string> missing;  // pictures that the shot does not have, in words
  std::string placed;                // path of the project where every picture has its place; empty: no calibration
  std::string unplaced;              // path of the one that leaves the places to be found by features
};

// Writes the full pictures of all exposures into `directory` with EXIF, NAME.pto and NAME_features.pto.
//   view  how the placed project's panorama lies
// A project is placed only if every camera's calibration is usable. Throws shot::CannotWrite, shot::CannotRead.
HuginProjects WriteHugin(const shot::File& file, const std::string& directory, const View& view);

}  // namespace panorama

// Judges a shot file of marked pictures by the pixels inside it, with a reader that shares nothing with the writer.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/lumora-shot/shot_file.h"

namespace twin {

struct ExpectedMarks {
  int exposures = 3;
  // Exposure of the array (StoredFrame::shot) that a camera's pictures must come from.
  std::function<uint32_t(int camera)> shotOf;
  int thumbCamera = 12;
  // Gray of the field, 0 to 255; not judged if empty.
  std::function<double(int camera, int exposure)> grayOf = nullptr;
};

// A sentence for each of the 150 or 300 pictures that is not where the index says or lies otherwise than its sensor's
// place in the camera asks for, and for a thumbnail that is not the camera's middle exposure turned by 180 degrees.
std::vector<std::string> WrongMarks(const shot::File& file, const ExpectedMarks& expected);

}  // namespace twin

#include "tools/panorama/output.h"

#include <algorithm>

namespace panorama {
namespace {

constexpr int rowsAtOnce = 64;

}  // namespace

shot::Rgb LevelsOf(Stitched* stitched, Rows rows) {
  shot::Rgb picture{stitched->canvas->Width(), rows.end - rows.begin, {}, {}};
  const auto width = static_cast<size_t>(picture.width);
  picture.pixels.resize(3 * width * static_cast<size_t>(picture.height));
  InParallel((picture.height + rowsAtOnce - 1) / rowsAtOnce, [&](int part) {
    const int begin = rows.begin + part * rowsAtOnce;
    stitched->canvas->Finish(begin, std::min(begin + rowsAtOnce, rows.end), [&](int row, const Codes* codes) {
      uint8_t* out = &picture.pixels[3 * width * static_cast<size_t>(row - rows.begin)];
      for (size_t x = 0; x < width; x++)
        for (int i = 0; i < 3; i++)
          *out++ = static_cast<uint8_t>(std::clamp((codes[x][i] + codesPerLevel / 2) / codesPerLevel, 0, 255));
    });
  });
  return picture;
}

}  // namespace panorama

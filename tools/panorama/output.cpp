#include "tools/panorama/output.h"

#include <turbojpeg.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "tools/lumora-shot/pictures.h"

namespace panorama {
namespace {

constexpr int rowsAtOnce = 64;

using Bytes4 = uint8_t __attribute__((vector_size(4)));

}  // namespace

Layer<Shade> LevelsOf(Stitched* stitched, Rows rows) {
  Layer<Shade> picture(stitched->canvas->Width(), rows.end - rows.begin);
  InParallel((picture.Height() + rowsAtOnce - 1) / rowsAtOnce, [&](int part) {
    const int begin = rows.begin + part * rowsAtOnce;
    stitched->canvas->Finish(begin, std::min(begin + rowsAtOnce, rows.end), [&](int row, const Codes* codes) {
      Shade* out = picture.Row(row - rows.begin);
      for (int x = 0; x < picture.Width(); x++) {
        const Codes levels = Shown(codes[x] + codesPerLevel / 2) / codesPerLevel;
        const auto bytes = __builtin_convertvector(levels, Bytes4);
        std::memcpy(out + x, &bytes, sizeof bytes);
      }
    });
  });
  return picture;
}

shot::Bytes ToJpeg(const Layer<Shade>& picture, int quality) {
  const std::unique_ptr<void, int (*)(tjhandle)> encoder(tjInitCompress(), tjDestroy);
  if (!encoder) throw shot::BadJpeg("no encoder");
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  const int pitch = static_cast<int>(reinterpret_cast<const uint8_t*>(picture.Row(1)) -
                                     reinterpret_cast<const uint8_t*>(picture.Row(0)));
  const int result = tjCompress2(encoder.get(), picture.Row(0)->data(), picture.Width(), pitch, picture.Height(),
                                 TJPF_RGBX, &bytes, &size, TJSAMP_420, quality, 0);
  const std::unique_ptr<unsigned char, void (*)(unsigned char*)> owner(bytes, tjFree);
  if (result != 0) throw shot::BadJpeg(tjGetErrorStr2(encoder.get()));
  return {bytes, bytes + size};
}

}  // namespace panorama

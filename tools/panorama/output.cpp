#include "tools/panorama/output.h"

#include <ImfArray.h>
#include <ImfEnvmap.h>
#include <ImfRgbaFile.h>
#include <ImfStandardAttributes.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "tools/lumora-shot/pictures.h"
#include "tools/panorama/tone_map.h"
#include "tools/photos/extract.h"

namespace panorama {
namespace {

constexpr int rowsAtOnce = 64;

using Bytes4 = uint8_t __attribute__((vector_size(4)));

// Finishes the rows, in any order and on all processors; `show` gets the number of the row within `rows`.
void Finished(const Stitched& stitched, Rows rows, const std::function<void(int row, const Codes* codes)>& show) {
  const int parts = (rows.end - rows.begin + rowsAtOnce - 1) / rowsAtOnce;
  InParallel(parts, [&](int part) {
    const int begin = rows.begin + part * rowsAtOnce;
    stitched.canvas->Finish(begin, std::min(begin + rowsAtOnce, rows.end),
                            [&](int row, const Codes* codes) { show(row - rows.begin, codes); });
  });
}

// A small picture of a panorama: about a thousand pixels across.
const Layer<Codes>& SmallOf(const Canvas& canvas) {
  int level = 1;
  while (level < LevelsFor(canvas.Width()) && canvas.Width() >> level > 1536) level++;
  return canvas.Small(level);
}

Layer<Shade> Shades(const Stitched& stitched, Rows rows) {
  const Canvas& canvas = *stitched.canvas;
  Layer<Shade> picture(canvas.Width(), rows.end - rows.begin);
  std::optional<ToneMap> toneMap;
  if (stitched.scale) toneMap.emplace(SmallOf(canvas), canvas.Width(), *stitched.scale, stitched.middle);
  Finished(stitched, rows, [&](int row, const Codes* codes) {
    Shade* out = picture.Row(row);
    if (toneMap) return toneMap->Show(row + rows.begin, codes, out);
    for (int x = 0; x < picture.Width(); x++) {
      const Codes levels = Shown(codes[x] + codesPerLevel / 2) / codesPerLevel;
      const auto bytes = __builtin_convertvector(levels, Bytes4);
      std::memcpy(out + x, &bytes, sizeof bytes);
    }
  });
  return picture;
}

}  // namespace

shot::Bytes ToJpeg(const Stitched& stitched, Rows rows, int quality) {
  const Layer<Shade> picture = Shades(stitched, rows);
  const std::unique_ptr<void, int (*)(tjhandle)> encoder(tjInitCompress(), tjDestroy);
  if (!encoder) throw shot::BadJpeg("no encoder");
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  const auto pitch = static_cast<int>(sizeof(Shade)) * picture.Width();
  const int result = tjCompress2(encoder.get(), picture.Row(0)->data(), picture.Width(), pitch, picture.Height(),
                                 TJPF_RGBX, &bytes, &size, TJSAMP_420, quality, 0);
  const std::unique_ptr<unsigned char, void (*)(unsigned char*)> owner(bytes, tjFree);
  if (result != 0) throw shot::BadJpeg(tjGetErrorStr2(encoder.get()));
  return {bytes, bytes + size};
}

void WriteExr(const Stitched& stitched, Rows rows, const std::string& path) {
  const int width = stitched.canvas->Width(), height = rows.end - rows.begin;
  try {
    Imf::Header header(width, height);
    header.compression() = Imf::ZIP_COMPRESSION;
    Imf::addEnvmap(header, Imf::ENVMAP_LATLONG);
    Imf::addComments(header, "light 1 fills the camera's sensor in one second at ISO 100");
    Imf::RgbaOutputFile file(path.c_str(), header, Imf::WRITE_RGB);
    Layer<Imf::Rgba> strip(width, std::min(rowsAtOnce, height));
    for (int begin = 0; begin < height; begin += rowsAtOnce) {
      const int end = std::min(begin + rowsAtOnce, height);
      stitched.canvas->Finish(rows.begin + begin, rows.begin + end, [&](int row, const Codes* codes) {
        Imf::Rgba* out = strip.Row(row - rows.begin - begin);
        for (int x = 0; x < width; x++)
          out[x] = Imf::Rgba(stitched.scale->RadianceOf(codes[x][0]), stitched.scale->RadianceOf(codes[x][1]),
                             stitched.scale->RadianceOf(codes[x][2]));
      });
      // The library takes pixels by their row in the whole picture.
      file.setFrameBuffer(strip.Row(0) - static_cast<ptrdiff_t>(begin) * width, 1, static_cast<size_t>(width));
      file.writePixels(end - begin);
    }
  } catch (const std::exception& error) {
    std::remove(path.c_str());
    throw shot::CannotWrite(path + ": " + error.what());
  }
}

}  // namespace panorama

#include "tools/panorama/output.h"

#include <ImfArray.h>
#include <ImfEnvmap.h>
#include <ImfRgbaFile.h>
#include <ImfStandardAttributes.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// After cstdio: the library's header uses FILE.
#include <jpeglib.h>

#include "tools/panorama/tone_map.h"
#include "tools/photos/extract.h"

namespace panorama {
namespace {

constexpr int rowsAtOnce = 256;

using Bytes4 = uint8_t __attribute__((vector_size(4)));

// Finishes rows on all processors; `show` gets the number of each in the panorama.
void Finished(const Stitched& stitched, Rows rows, const std::function<void(int row, const Codes* codes)>& show) {
  constexpr int together = 32;
  InParallel((rows.end - rows.begin + together - 1) / together, [&](int part) {
    const int begin = rows.begin + part * together;
    stitched.canvas->Finish(begin, std::min(begin + together, rows.end), show);
  });
}

// A small picture of a panorama: about a thousand pixels across.
const Layer<Codes>& SmallOf(const Canvas& canvas) {
  int level = 1;
  while (level < LevelsFor(canvas.Width()) && canvas.Width() >> level > 1536) level++;
  return canvas.Small(level);
}

// Writes a JPEG as its rows come.
class JpegWriter {
 public:
  JpegWriter(int width, int height, int quality) {
    encoder_.err = jpeg_std_error(&errors_);  // prints and exits: only a lack of memory can get there
    jpeg_create_compress(&encoder_);
    jpeg_mem_dest(&encoder_, &bytes_, &size_);
    encoder_.image_width = static_cast<JDIMENSION>(width);
    encoder_.image_height = static_cast<JDIMENSION>(height);
    encoder_.input_components = sizeof(Shade);
    encoder_.in_color_space = JCS_EXT_RGBX;
    jpeg_set_defaults(&encoder_);
    jpeg_set_quality(&encoder_, quality, TRUE);
    jpeg_start_compress(&encoder_, TRUE);
  }
  ~JpegWriter() {
    jpeg_destroy_compress(&encoder_);
    std::free(bytes_);
  }
  JpegWriter(const JpegWriter&) = delete;
  JpegWriter& operator=(const JpegWriter&) = delete;

  void Add(Shade* row) {
    JSAMPROW rows[] = {row->data()};
    jpeg_write_scanlines(&encoder_, rows, 1);
  }
  shot::Bytes Finish() {
    jpeg_finish_compress(&encoder_);
    return {bytes_, bytes_ + size_};
  }

 private:
  jpeg_compress_struct encoder_{};
  jpeg_error_mgr errors_{};
  unsigned char* bytes_ = nullptr;
  unsigned long size_ = 0;
};

}  // namespace

shot::Bytes ToJpeg(const Stitched& stitched, Rows rows, int quality) {
  const Canvas& canvas = *stitched.canvas;
  std::optional<ToneMap> toneMap;
  if (stitched.scale)
    toneMap.emplace(SmallOf(canvas), canvas.Width(), *stitched.scale, stitched.whites, stitched.middle);
  JpegWriter writer(canvas.Width(), rows.end - rows.begin, quality);
  Layer<Shade> strip(canvas.Width(), rowsAtOnce);
  for (int begin = rows.begin; begin < rows.end; begin += rowsAtOnce) {
    const int end = std::min(begin + rowsAtOnce, rows.end);
    Finished(stitched, {begin, end}, [&](int row, const Codes* codes) {
      Shade* out = strip.Row(row - begin);
      if (toneMap) return toneMap->Show(row, codes, out);
      for (int x = 0; x < strip.Width(); x++) {
        const Codes levels = Shown(codes[x] + codesPerLevel / 2) / codesPerLevel;
        const auto bytes = __builtin_convertvector(levels, Bytes4);
        std::memcpy(out + x, &bytes, sizeof bytes);
      }
    });
    for (int row = begin; row < end; row++) writer.Add(strip.Row(row - begin));
  }
  return writer.Finish();
}

void WriteExr(const Stitched& stitched, Rows rows, const std::string& path) {
  const int width = stitched.canvas->Width(), height = rows.end - rows.begin;
  try {
    Imf::Header header(width, height);
    header.compression() = Imf::ZIP_COMPRESSION;
    Imf::addEnvmap(header, Imf::ENVMAP_LATLONG);
    Imf::addComments(header, "light 1 fills the camera's sensor in one second at ISO 100");
    Imf::RgbaOutputFile file(path.c_str(), header, Imf::WRITE_RGB);
    Layer<Imf::Rgba> strip(width, rowsAtOnce);
    for (int begin = 0; begin < height; begin += rowsAtOnce) {
      const int end = std::min(begin + rowsAtOnce, height);
      Finished(stitched, {rows.begin + begin, rows.begin + end}, [&](int row, const Codes* codes) {
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

void WriteHdr(const Stitched& stitched, Rows rows, const std::string& path) {
  const int width = stitched.canvas->Width(), height = rows.end - rows.begin;
  shot::Bytes bytes;
  const std::string head =
      "#?RADIANCE\n# light 1 fills the camera's sensor in one second at ISO 100\n"
      "FORMAT=32-bit_rle_rgbe\n\n-Y " +
      std::to_string(height) + " +X " + std::to_string(width) + "\n";
  bytes.assign(head.begin(), head.end());
  bytes.resize(head.size() + sizeof(Shade) * static_cast<size_t>(width) * static_cast<size_t>(height));
  Finished(stitched, rows, [&](int row, const Codes* codes) {
    uint8_t* out =
        &bytes[head.size() + sizeof(Shade) * static_cast<size_t>(width) * static_cast<size_t>(row - rows.begin)];
    for (int x = 0; x < width; x++, out += sizeof(Shade)) {
      std::array<float, 3> light{};
      for (size_t i = 0; i < 3; i++) light[i] = stitched.scale->RadianceOf(codes[x][static_cast<int>(i)]);
      int exponent = 0;
      const float most = std::max({light[0], light[1], light[2]});
      if (most < 1e-32f) continue;  // black is four zeros
      const float scale = std::frexp(most, &exponent) * 256 / most;
      for (size_t i = 0; i < 3; i++) out[i] = static_cast<uint8_t>(light[i] * scale);
      out[3] = static_cast<uint8_t>(exponent + 128);
    }
  });
  shot::WriteWhole(path, bytes);
}

}  // namespace panorama

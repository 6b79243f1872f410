#include "twin/light/cell_jpeg.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

// After cstdio: the library's header uses FILE.
#include <jpeglib.h>

namespace twin {
namespace {

constexpr int mcu = 16;  // pixels each way at 4:2:0

// A column of 256 cells, one of each gray value, as libjpeg codes them.
std::vector<uint8_t> EncodePalette(int cellWidth, int quality) {
  jpeg_compress_struct encoder;
  jpeg_error_mgr errors;
  encoder.err = jpeg_std_error(&errors);  // prints and exits: only a lack of memory can get there
  jpeg_create_compress(&encoder);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&encoder, &buffer, &size);
  encoder.image_width = static_cast<JDIMENSION>(cellWidth);
  encoder.image_height = 256 * mcu;
  encoder.input_components = 3;
  encoder.in_color_space = JCS_YCbCr;
  jpeg_set_defaults(&encoder);
  jpeg_set_quality(&encoder, quality, TRUE);
  encoder.restart_interval = static_cast<unsigned>(cellWidth / mcu);
  jpeg_start_compress(&encoder, TRUE);
  std::vector<JSAMPLE> row(static_cast<size_t>(cellWidth) * 3, 128);
  while (encoder.next_scanline < encoder.image_height) {
    const auto gray = static_cast<JSAMPLE>(encoder.next_scanline / mcu);
    for (size_t i = 0; i < row.size(); i += 3) row[i] = gray;
    JSAMPROW rows[] = {row.data()};
    jpeg_write_scanlines(&encoder, rows, 1);
  }
  jpeg_finish_compress(&encoder);
  jpeg_destroy_compress(&encoder);
  std::vector<uint8_t> coded(buffer, buffer + size);
  std::free(buffer);
  return coded;
}

// The end of the headers, that is, where the coded bytes begin; on the way the picture's own size is put in.
size_t AdaptHeader(std::vector<uint8_t>& coded, int width, int height) {
  size_t at = 2;
  for (;;) {
    const uint8_t marker = coded.at(at + 1);
    const size_t length = static_cast<size_t>(coded.at(at + 2)) << 8 | coded.at(at + 3);
    if (marker == 0xC0) {
      coded.at(at + 5) = static_cast<uint8_t>(height >> 8);
      coded.at(at + 6) = static_cast<uint8_t>(height);
      coded.at(at + 7) = static_cast<uint8_t>(width >> 8);
      coded.at(at + 8) = static_cast<uint8_t>(width);
    }
    at += 2 + length;
    if (marker == 0xDA) return at;
  }
}

}  // namespace

CellJpeg::CellJpeg(PictureSize size, int quality) : rows_((HeightOf(size) + cellHeight - 1) / cellHeight) {
  static_assert(cellHeight == mcu);
  static_assert(WidthOf(PictureSize::Half) % (columns * mcu) == 0 && WidthOf(PictureSize::Full) % (columns * mcu) == 0);
  std::vector<uint8_t> palette = EncodePalette(WidthOf(size) / columns, quality);
  size_t at = AdaptHeader(palette, WidthOf(size), HeightOf(size));
  header_.assign(palette.begin(), palette.begin() + static_cast<std::ptrdiff_t>(at));
  for (std::vector<uint8_t>& cell : coded_) {
    const size_t first = at;
    // A marker is FF and not 0: within coded bytes FF is always followed by 0.
    while (palette.at(at) != 0xFF || palette.at(at + 1) == 0) at++;
    cell.assign(palette.begin() + static_cast<std::ptrdiff_t>(first),
                palette.begin() + static_cast<std::ptrdiff_t>(at));
    at += 2;
  }
}

std::vector<uint8_t> CellJpeg::Compose(const std::function<int(int, int)>& gray) const {
  std::vector<uint8_t> picture;
  picture.reserve(header_.size() + static_cast<size_t>(rows_ * columns) * (coded_[0].size() + 16));
  picture.insert(picture.end(), header_.begin(), header_.end());
  const int cells = rows_ * columns;
  for (int i = 0; i < cells; i++) {
    const std::vector<uint8_t>& cell = coded_.at(static_cast<size_t>(gray(i / columns, i % columns)));
    picture.insert(picture.end(), cell.begin(), cell.end());
    picture.push_back(0xFF);
    picture.push_back(static_cast<uint8_t>(i + 1 < cells ? 0xD0 + i % 8 : 0xD9));
  }
  return picture;
}

}  // namespace twin

// JPEG pictures put together from ready-made pieces, for the price of copying them.
//
// A picture is a grid of even gray cells, each a sixth of the picture wide and one MCU (16 pixels) high. JPEG's restart
// markers begin each cell anew, so a cell's coded bytes depend on its gray value alone: they are made once for each of
// the 256 values by libjpeg, and a picture is a header, the bytes of its cells with the markers between, and an end
// marker. The quantisation tables are those of the quality asked for; the pictures are valid baseline 4:2:0 JPEGs.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "twin/light/picture_source.h"

namespace twin {

class CellJpeg {
 public:
  static constexpr int columns = 6;
  static constexpr int cellHeight = 16;  // pixels; the last row may reach past the picture's lower edge

  // quality  1 to 100.  Takes a few milliseconds.
  CellJpeg(PictureSize size, int quality);

  // gray(row, column)  the value of a cell, 0 to 255; rows count from the top.
  std::vector<uint8_t> Compose(const std::function<int(int row, int column)>& gray) const;

 private:
  int rows_;
  std::vector<uint8_t> header_;                  // from SOI to the end of SOS
  std::array<std::vector<uint8_t>, 256> coded_;  // a cell's bytes, by gray value
};

}  // namespace twin

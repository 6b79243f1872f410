// The light of a whole bracket, brought into the range of a picture that is looked at.
//
// The large parts of the scene are brought nearer to each other: half of the sphere lies on either side of a middle
// gray, the sky in a window comes down, the shade under a table comes up. Detail on top of them has the contrast that
// it has in the exposure that shows it best. Which part a pixel belongs to is told by the mean of those around it that
// are about as light as it is, so that an edge parts two means and no halo runs along it: the bilateral filter of
// Durand and Dorsey, "Fast bilateral filtering for the display of high-dynamic-range images", 2002, on the grid of
// Chen, Paris and Durand, "Real-time edge-aware image processing with the bilateral grid", 2007.
#pragma once

#include <array>
#include <vector>

#include "tools/panorama/light.h"
#include "tools/panorama/pixel.h"

namespace panorama {

// Pixels to look at: red, green, blue, nothing.
using Shade = std::array<uint8_t, 4>;

// What pixels of some lightness have around them: a mean lightness by place and by code.
class LargeParts {
 public:
  // `small` is the picture, of any size; its columns go round.
  explicit LargeParts(const Layer<Codes>& small);

  // The means of one row of a picture of any size.
  class Row {
   public:
    Row(const LargeParts& parts, int row, int width, int height);
    // For a pixel of this lightness, from 0 to highestCode.
    float At(int column, int lightness) const;

   private:
    float perColumn_;           // columns of the grid in one of the picture
    std::vector<float> means_;  // by column of the grid, the first one again behind the last, and by code
  };

 private:
  static constexpr int codesPerStep = 160, steps = highestCode / codesPerStep + 2;
  using Cell = std::array<float, steps>;  // by code, from 0 on

  const Cell& At(int column, int row) const { return cells_[static_cast<size_t>(row * width_ + column)]; }
  static void Blur(std::vector<Cell>& cells, int width, int height);

  int width_, height_;
  std::vector<Cell> cells_;
};

class ToneMap {
 public:
  // small   the panorama reduced by a power of two
  // width   of the whole one; it is half as high
  // whites  radiance that each exposure shows white; at least one
  // middle  the same of the exposure that the others were chosen around
  ToneMap(const Layer<Codes>& small, int width, const RadianceScale& scale, const std::vector<double>& whites,
          double middle);

  // One row of the whole panorama. From any thread.
  void Show(int row, const Codes* codes, Shade* out) const;

 private:
  void ChooseCurve(const Layer<Codes>& small, int full);
  void ChooseGain(const RadianceScale& scale, const std::vector<double>& whites);

  int width_;
  LargeParts parts_;
  std::vector<int16_t> shift_;   // by the code of the large part: what is added to the pixel's codes
  std::vector<float> gain_;      // by the same: what detail is multiplied with
  std::vector<float> shown_;     // levels from 0 to 255 by code, from lowestShifted_ on
  std::vector<uint8_t> levels_;  // the same in whole numbers
  static constexpr int lowestShifted_ = -highestCode;
};

}  // namespace panorama

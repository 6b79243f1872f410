// The light of a whole bracket, brought into the range of a picture that is looked at.
//
// The large parts of the scene are brought nearer to each other: half of the sphere lies on either side of a middle
// gray, the sky in a window comes down, the shade under a table comes up. Detail on top of them is raised a little.
// Which part a pixel belongs to is told by a smoothing that stops at edges (He, Sun and Tang, "Guided image filtering",
// 2010, with the picture as its own guide), done on a small picture; so there is hardly a halo along the edges.
#pragma once

#include <array>
#include <vector>

#include "tools/panorama/light.h"
#include "tools/panorama/pixel.h"

namespace panorama {

// Pixels to look at: red, green, blue, nothing.
using Shade = std::array<uint8_t, 4>;

class ToneMap {
 public:
  // small   the panorama reduced by a power of two
  // width   of the whole one
  // middle  radiance that the middle exposure shows white
  ToneMap(const Layer<Codes>& small, int width, const RadianceScale& scale, double middle);

  // One row of the whole panorama. From any thread.
  void Show(int row, const Codes* codes, Shade* out) const;

 private:
  void Smooth(const Layer<Codes>& small);
  void ChooseCurve(const Layer<Codes>& small, int full);

  int width_;
  Layer<float> slope_, offset_;  // the large parts, in codes: slope x lightness + offset
  std::vector<int16_t> shift_;   // by the code of the large part: what is added to the pixel's codes
  std::vector<uint8_t> levels_;  // by code, from lowestShifted_ on
  static constexpr int lowestShifted_ = -highestCode;
};

}  // namespace panorama

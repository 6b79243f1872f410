// Which camera each part of the panorama is taken from: the one in whose picture it lies farthest from the border.
//
// That depends on the calibration, the panorama's width and how it is turned, and on which cameras have pictures. It is
// decided for squares of `step` pixels, and blended over `levels` halvings of the panorama on both sides of a seam.
#pragma once

#include <vector>

#include "tools/panorama/pixel.h"
#include "tools/panorama/warp.h"

namespace panorama {

// How often the panorama is halved for blending: a hundredth of the circle at the coarsest.
int LevelsFor(int width);
// Widths that can be halved that often, with whole rows and columns.
constexpr int widthStep = 128;

// What is rendered of one camera: its part of the panorama and what blending takes beside it. Columns may lie beyond
// the panorama's edges, as it goes round. All numbers are multiples of 2 to the levels.
struct Window {
  int left = 0, top = 0, width = 0, height = 0;
  struct Span {
    int begin = 0, end = 0;  // columns of the panorama
  };
  std::vector<Span> spans;  // what is needed, for each 2-to-the-levels rows of the window

  bool Empty() const { return height == 0; }
};

class Seams {
 public:
  static constexpr uint8_t nobody = 255;

  // `cameras` in their order; null where one has no picture.
  Seams(const std::vector<const Warp*>& cameras, const Grid& grid);

  int Step() const { return step_; }
  const Layer<uint8_t>& Owners() const { return owners_; }  // by squares of `Step()` pixels
  const std::vector<Window>& Windows() const { return windows_; }

 private:
  void Decide(const std::vector<const Warp*>& cameras, const Grid& grid);
  Window WindowOf(int camera, const Grid& grid) const;

  int levels_, step_;
  Layer<uint8_t> owners_;
  std::vector<Window> windows_;
};

}  // namespace panorama

// The panorama in the making: all cameras' bands, blended along all seams at once, and then put together.
#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include "tools/panorama/pyramid.h"
#include "tools/panorama/seams.h"

namespace panorama {

class Canvas {
 public:
  // `seams` must outlive it.
  Canvas(const Seams& seams, int width);

  // Adds what a camera shows in its window (Seams). From any thread, each camera once.
  void Add(int camera, Layer<Codes> view);
  // Puts the bands together, once, when all cameras are added. Where no camera sees anything, what is around runs into
  // each other.
  void Close();
  // Rows `begin` to `end` of the panorama, once; from several threads if each takes other rows.
  void Finish(int begin, int end, const std::function<void(int row, const Codes* codes)>& take) const;

  // The closed canvas at 1/2-to-the-`level` of its size, from 1 to LevelsFor(Width()).
  const Layer<Codes>& Small(int level) const { return bands_[static_cast<size_t>(level)]; }

  int Width() const { return width_; }
  int Height() const { return width_ / 2; }

 private:
  void AddFinest(int camera, const Window& window, const Layer<Codes>& band);
  void AddCoarser(size_t level, const Window& window, const Layer<Codes>& band, const Layer<int16_t>& share);

  const Seams& seams_;
  int width_;
  std::vector<Layer<Codes>> bands_;  // finest first; the last holds the light itself
  // How much of the light of each pixel the cameras have given, in 1/fullShare; nothing is kept of the finest.
  std::vector<Layer<int16_t>> shares_;
  std::mutex coarser_;
};

}  // namespace panorama

// From the pictures of a shot to the light of a panorama.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/lumora-shot/shot_file.h"
#include "tools/panorama/canvas.h"
#include "tools/panorama/geometry.h"
#include "tools/panorama/light.h"

namespace panorama {

constexpr int narrowest = 256;

struct Request {
  int width = 8192;                  // a multiple of widthStep, from `narrowest` to WidestOf
  std::optional<int> exposure = {};  // this one alone; else the whole bracket
  bool levels = false;               // of the one exposure, as its pictures have them; else radiance
  View view = {};
  // Told after every camera; from any thread, one call at a time.
  std::function<void(int done, int all)> progress = [](int, int) {};
};

struct Stitched {
  std::unique_ptr<Seams> seams;
  std::unique_ptr<Canvas> canvas;      // closed
  std::optional<RadianceScale> scale;  // of the canvas's codes; nothing if they are levels
  std::vector<double> whites;          // radiance that fills each exposure
  double middle = 1;                   // the same of the middle one
  std::vector<std::string> missing;    // what the shot should hold and does not, in words
};

// The shot holds nothing that a panorama can be made of.
struct NoPanorama : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// What the lenses of the shot resolve: the circle at their focal length, as a width of a panorama. Throws NoPanorama.
int WidestOf(const shot::File& file);

// Pictures that are missing or damaged are left out, and their neighbours fill what they can. Throws NoPanorama,
// shot::CannotRead.
Stitched Stitch(const shot::File& file, const Request& request);

// The longest run of the panorama's rows that are seen all round; all rows if there is none.
struct Rows {
  int begin, end;
};
Rows SeenAllRound(const Stitched& stitched);

// Calls `work` with 0 to `count` - 1, on the machine's processors, but for the sake of memory on three at most. What it
// throws is thrown here.
void InParallel(int count, const std::function<void(int)>& work);

}  // namespace panorama

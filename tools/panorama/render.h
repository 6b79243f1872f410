// What one camera shows in its window of the panorama, as codes of light (pixel.h).
#pragma once

#include <vector>

#include "tools/panorama/light.h"
#include "tools/panorama/picture.h"
#include "tools/panorama/seams.h"

namespace panorama {

// A camera with its place in the panorama and its lens.
struct Eye {
  Warp warp;
  Vignetting vignetting;
};

// One exposure in its own brightness: codes are sixteenths of a level, cut at full scale.
Layer<Codes> RenderLevels(const Eye& eye, const Picture& picture, const Window& window);

// Light out of the exposures of a bracket, in the order of `bracket`; null for one that is missing. Codes are
// `scale`'s.
Layer<Codes> RenderRadiance(const Eye& eye, const std::vector<const Picture*>& pictures, const Bracket& bracket,
                            const RadianceScale& scale, const Window& window);

}  // namespace panorama

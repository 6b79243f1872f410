// Pictures that say which frame they are, almost for free: the light for tests.
#pragma once

#include <cstdint>
#include <memory>

#include "twin/light/picture_source.h"

namespace twin {

// Light by which camera `camera` is evenly lit in marked pictures, relative as in tone.h.
constexpr double MarkedLightOf(int camera, double light) { return light * (1 + 0.01 * camera); }

// A source whose pictures and readouts carry the mark of mark.h, its gray field following the exposure by tone.h.
//   light  factor on the light: MarkedLightOf
//   seed   not used: there is no noise in a mark. It stands here so that both sources are made alike
std::unique_ptr<PictureSource> MakeMarkedPictures(double light, uint64_t seed);

}  // namespace twin

// What the three layers have in common, handed to each.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "twin/devices/fpga/array_faults.h"
#include "twin/devices/fpga/scene_meter.h"
#include "twin/devices/fpga/video_chain.h"
#include "twin/kernel/kernel.h"
#include "twin/light/picture_source.h"

namespace twin {

struct LayerParts {
  Kernel& kernel;
  ArrayFaults& faults;
  PictureSource& pictures;
  SceneMeter& meter;
  VideoChain& chain;
  std::function<void(std::string)> complain;  // a line about what no right driver does
  std::function<uint32_t()> shot;             // number of the present shot
  std::function<void()> saved;                // a layer has saved its part of the shot
};

}  // namespace twin

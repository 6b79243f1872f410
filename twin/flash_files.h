// What the maker delivers on the device's flash, in stand-ins of our own: calibration, access point and boot script.
#pragma once

#include "twin/seam/paths.h"

namespace twin {

// Lays out each file that is not there yet; an existing one stays. `calibration`: the directory that holds
// "CameraConf_800" and "CameraVignet_800".
void InstallFlashFiles(const Paths& paths, const std::filesystem::path& calibration);

}  // namespace twin

#include "common/calibration.h"

#include <cstdio>

int LumoReadCameraConf(CameraConfInfo* camConfInfos) {
  FILE* const file = fopen("CameraConf_800", "rb");
  if (file == nullptr) return -1;
  const size_t bytes = fread(camConfInfos, 1, kCameraCount * sizeof(CameraConfInfo), file);
  fclose(file);
  return static_cast<int>(bytes);
}

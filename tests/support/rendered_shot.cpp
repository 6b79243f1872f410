#include "tests/support/rendered_shot.h"

#include <algorithm>

#include "tests/support/file_bytes.h"
#include "twin/light/rendered_pictures.h"

namespace support {
namespace {

const std::filesystem::path blobs = LUMORA_BLOB_DIR;

twin::StoredFrame FrameOf(int camera, int exposure) {
  const int rows = std::min(128 << 2 * exposure, 1310);  // as the made record tells
  return {.camera = camera,
          .bracket = exposure,
          .shot = 1,
          .seconds = rows * 3888 / 120e6,
          .gain = rows == 1310 ? 25.0 / 16 : 1,
          .mirror = camera < 9,
          .flip = camera < 9};
}

}  // namespace

MadeShot CalibratedShot() {
  MadeShot shot;
  shot.cameraTable = FileBytes(blobs / "CameraConf_800");
  shot.vignettingTable = FileBytes(blobs / "CameraVignet_800");
  return shot;
}

void WriteRenderedShot(const std::string& path, MadeShot shot, const std::vector<int>& exposures,
                       const std::filesystem::path& scene, double light) {
  const auto pictures =
      twin::MakeRenderedPictures(scene, blobs / "CameraConf_800", blobs / "CameraVignet_800", light, 1);
  const MadeShot calibrated = CalibratedShot();
  shot.cameraTable = calibrated.cameraTable;
  shot.vignettingTable = calibrated.vignettingTable;
  shot.jpeg = [&](const std::string& size, int camera, int exposure) -> Bytes {
    if (size != "full" || std::find(exposures.begin(), exposures.end(), exposure) == exposures.end()) return {};
    return *pictures->Encode(FrameOf(camera, exposure), twin::PictureSize::Full, 95);
  };
  PutBytes(path, shot.Make());
}

}  // namespace support

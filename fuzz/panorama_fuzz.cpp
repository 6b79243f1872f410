// Panoramas of shots whose numbers are wrong: the input patches record and calibration, six bytes a patch. There is a
// panorama, or a reason why there is none.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "fuzz/memory_file.h"
#include "fuzz/require.h"
#include "tests/support/file_bytes.h"
#include "tests/support/made_shot.h"
#include "tools/panorama/stitch.h"

using fuzz::Require;
using support::Bytes;

namespace {

constexpr size_t kPatch = 6;
constexpr size_t kRecordAt = 8, kCamerasAt = 270, kVignettingAt = 1076;
constexpr size_t kVignettingRow = 3080;

// Two cameras with one exposure, one with the whole bracket; the others have none, or a broken one.
const Bytes& Shot() {
  static const Bytes shot = [] {
    support::MadeShot made;
    made.cameraTable = FileBytes(LUMORA_BLOB_DIR "/CameraConf_800");
    made.vignettingTable = FileBytes(LUMORA_BLOB_DIR "/CameraVignet_800");
    made.jpeg = [](const std::string& size, int camera, int exposure) -> Bytes {
      if (size != "full" || camera > 5) return {};
      if (camera == 5) return {0xFF, 0xD8, 0xFF, 0xD9};
      return camera == 4 || exposure == 1 ? support::TwoToneJpeg(3264, 2448, 95) : Bytes{};
    };
    return made.Make();
  }();
  return shot;
}

// Where the numbers stand that a panorama is made by: words of the record, of a camera's row, and of its vignetting.
size_t Place(uint8_t where, uint8_t which) {
  const size_t camera = which % 6;
  if (where < 64) return kRecordAt + size_t{where} * 4;
  if (where < 128) return kCamerasAt + camera * 32 + where % 8 * 4;
  return kVignettingAt + camera * kVignettingRow + (size_t{where} * 24 + which / 6 * 4) % kVignettingRow;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Bytes bytes = Shot();
  for (size_t at = 1; at + kPatch <= size; at += kPatch)
    std::copy_n(data + at + 2, 4, bytes.begin() + static_cast<ptrdiff_t>(Place(data[at], data[at + 1])));
  const fuzz::MemoryFile stored(bytes);
  const uint8_t mood = size > 0 ? data[0] : 0;
  try {
    const shot::File file(stored.Path());
    const int widest = panorama::WidestOf(file);
    if (widest < panorama::narrowest) return 0;
    panorama::Request request;
    request.width = panorama::narrowest;
    request.exposure = mood % 4 < 3 ? std::optional<int>(mood % 4) : std::nullopt;
    request.levels = request.exposure && mood & 4;
    request.view.level = (mood & 8) != 0;
    request.view.yaw = mood;
    const panorama::Stitched stitched = panorama::Stitch(file, request);
    Require(stitched.canvas->Width() == request.width, "as wide as it was asked for");
    const panorama::Rows rows = panorama::SeenAllRound(stitched);
    Require(rows.begin >= 0 && rows.begin <= rows.end && rows.end <= stitched.canvas->Height(), "rows of the panorama");
  } catch (const panorama::NoPanorama&) {
  }
  return 0;
}

#include "tools/lumora-shot/calibration.h"

#include <bit>
#include <cstring>

namespace shot {
namespace {

static_assert(std::endian::native == std::endian::little, "rows are copied as they stand in the file");

template <typename Row>
std::vector<Row> Rows(const Bytes& bytes) {
  std::vector<Row> rows(bytes.size() / sizeof(Row));
  if (!rows.empty()) std::memcpy(rows.data(), bytes.data(), rows.size() * sizeof(Row));
  return rows;
}

}  // namespace

std::vector<CameraConf> ReadCameras(const File& file) { return Rows<CameraConf>(file.Read(Part::Cameras)); }
std::vector<CameraVignet> ReadVignetting(const File& file) { return Rows<CameraVignet>(file.Read(Part::Vignetting)); }

}  // namespace shot

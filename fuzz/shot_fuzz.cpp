// Damaged shot files: the input says which file, where it is patched and where it ends; then all routes that read it
// are asked for it. Each patch is five bytes: a place, and four bytes to put there.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "common/httpd/router.h"
#include "fuzz/answer.h"
#include "fuzz/memory_doors.h"
#include "fuzz/small_shots.h"

using namespace fuzz;

namespace {

constexpr size_t kPatchSize = 5;
constexpr size_t kDeviceId = 8, kHdrMode = 8 + 112;
constexpr size_t kBehindCalibration[] = {25 * 3112 + 276, 3 * 3112 + 276};  // tokens of the small and the large form

// Where readers look: record, tokens and sizes behind the calibration, index, and the sizes behind that.
size_t Place(uint8_t where, const std::string& file) {
  if (where < 2) return where == 0 ? kDeviceId : kHdrMode;
  const size_t tokens = kBehindCalibration[where & 1];
  if (where < 16) return tokens + where / 2 * 2 - 2;
  if (where < 32) return tokens + 270 + where / 2 * 2 - 16;
  if (where < 40) return file.size() - (where - 32) * 4;  // the thumbnail's size and around
  return tokens + 6 + (where - 40) * 4;                   // the index: mostly offsets and sizes
}

void AskAll(const std::string& name, const std::string& file) {
  const auto get = [&](const std::string& path, int mode) {
    const Answer answer = Serve("GET " + path + " HTTP/1.0\r\n\r\n", mode);
    Require(answer.status == 200 || answer.status == 404, "a file comes or does not");
    return answer;
  };
  const Answer whole = get("/get_file?filename=" + name, kBulkMode);
  const Answer preview = get("/get_file?onlypreview=1&filename=" + name, kBulkMode);
  const Answer thumb = get("/get_thumb?filename=" + name, kControlMode);
  const Answer record = get("/get_parameters?filename=" + name, kControlMode);
  Require(record.status != 200 || record.body == file.substr(8, 256), "the record as it stands");
  Require(thumb.status != 200 || file.find(thumb.body) != std::string::npos, "the thumbnail is a part of the file");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static constexpr std::array<const char*, 3> kNames = {"plain", "logo", "large"};
  if (size < 4) return 0;
  const char* name = kNames[data[0] % kNames.size()];
  std::string file = *SmallShots().at(std::string(name) + ".ori");
  for (size_t at = 4; at + kPatchSize <= size; at += kPatchSize) {
    const size_t place = Place(data[at], file);
    for (size_t i = 0; i < 4 && place + i < file.size(); i++) file[place + i] = static_cast<char>(data[at + 1 + i]);
  }
  const size_t end = data[1] | data[2] << 8 | (data[3] & 1) << 16;
  if (end != 0) file.resize(std::min(file.size(), end));

  static ControlSignals record;
  signals = std::construct_at(&record);
  record.serialFd = -1;
  disk = {};
  disk.files["/mnt/udisk/DCIM/" + std::string(name) + ".ori"] = std::make_shared<const std::string>(file);
  AskAll(name, file);
  return 0;
}

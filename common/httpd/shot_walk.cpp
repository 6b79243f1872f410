#include "common/httpd/shot_walk.h"

#include <climits>

static constexpr int64_t kRecordOffset = 8;
static constexpr uint16_t kSkippedToken = 0xFFD1;  // a section of fixed size that this device does not write
static constexpr int64_t kSkippedSize = 270;
static constexpr int64_t kCalibrationSize = 3112;  // one camera's calibration and vignetting
static constexpr int64_t kFixedHeads = 276;        // file token, record with its head, heads of the two calibrations

bool LumoReadAt(FILE* file, int64_t offset, void* data, size_t size) {
  if (offset < 0 || offset > INT_MAX) return false;
  return fseek(file, static_cast<long>(offset), SEEK_SET) == 0 && fread(data, 1, size, file) == size;
}

bool LumoWalkShot(FILE* file, ShotLayout* layout) {
  RawImageInfo info = {};
  if (!LumoReadAt(file, kRecordOffset, &info, sizeof(info))) return false;
  const bool isSmall = info.deviceId < 10;
  const int lensNum = isSmall ? 25 : 36;
  const int imgExtNum = isSmall ? 25 : 3;
  layout->indexInfoNum = lensNum * (info.hdrMode < 4 ? 6 : 12);
  const int64_t indexSize = int64_t{layout->indexInfoNum} * static_cast<int64_t>(sizeof(JpgDataIndexInfo));

  int64_t offset = imgExtNum * kCalibrationSize + kFixedHeads;
  uint16_t curSecToken = 0;
  if (!LumoReadAt(file, offset, &curSecToken, sizeof(curSecToken))) return false;
  if (curSecToken == kSkippedToken) {
    offset += kSkippedSize;
    if (!LumoReadAt(file, offset, &curSecToken, sizeof(curSecToken))) return false;
  }
  if (curSecToken == logoDataSecToken) {
    uint32_t logoDataSecSize = 0;
    if (!LumoReadAt(file, offset + 2, &logoDataSecSize, sizeof(logoDataSecSize))) return false;
    layout->indexOffset = offset + logoDataSecSize + 12;
    layout->jpgSizeOffset = offset + indexSize + logoDataSecSize + 14;
  } else {
    layout->indexOffset = offset + 6;
    layout->jpgSizeOffset = offset + indexSize + 8;
  }
  return true;
}

#include "common/fpga_ctrl/device/storage.h"

#include <dirent.h>
#include <sys/statfs.h>

#include <cstring>

#include "common/bounds.h"
#include "common/fpga_ctrl/device/stc_link.h"
#include "common/log.h"

namespace {

constexpr unsigned int kRoomForShot = 262144;  // KB

// LED 0 by free space. The last row has no limit.
struct StorageColour {
  unsigned int belowKBs;
  BYTE blue, green, red;
};
constexpr StorageColour kStorageColours[] = {
    {1310720, 0, 0, 1},   // red
    {2621440, 0, 1, 1},   // yellow
    {6553600, 0, 1, 0},   // green
    {13107200, 1, 1, 0},  // cyan
    {0, 1, 0, 0},         // blue
};
constexpr int kLimitedColours = 4;

constexpr size_t kListSize = sizeof(ControlSignals::fileList) - kFileListHeadRoom;
static_assert(kListSize == 65520);

// A shot's name: 23 characters with an empty prefix, 11 more with the longest.
constexpr size_t kMinNameLength = 23;
constexpr size_t kMaxNameLength = 34;
constexpr size_t kExtensionLength = 4;
// The longest base name leaves a zero byte in the buffer that it is compared in.
static_assert(kMaxNameLength - kExtensionLength < kErrFileNameSize);

bool IsFinishedShot(const char* name, size_t length) {
  return length >= kMinNameLength && length <= kMaxNameLength && strcmp(name + length - kExtensionLength, ".ori") == 0;
}

}  // namespace

void LumoCheckStorage(unsigned int* freeKBs, unsigned int* totalKBs) {
  struct statfs disk = {};
  if (statfs("/mnt/udisk", &disk) != 0) {
    LumoLog("statfs error\n");
    *freeKBs = 0;
    *totalKBs = 0;
    return;
  }
  const uint64_t blockSize = static_cast<uint64_t>(disk.f_bsize);
  *freeKBs = static_cast<unsigned int>(blockSize * disk.f_bfree / 1024);
  *totalKBs = static_cast<unsigned int>(blockSize * disk.f_blocks / 1024);
}

BYTE LumoStorageEnough() {
  unsigned int freeKBs = 0;
  unsigned int totalKBs = 0;
  LumoCheckStorage(&freeKBs, &totalKBs);
  return freeKBs > kRoomForShot ? 1 : 0;
}

void LumoUpdateStorageLED(ControlSignals* ctrlSigs) {
  unsigned int freeKBs = 0;
  unsigned int totalKBs = 0;
  LumoCheckStorage(&freeKBs, &totalKBs);

  int row = 0;
  while (row < kLimitedColours && freeKBs >= kStorageColours[row].belowKBs) row++;
  ctrlSigs->ledCtrl0B = kStorageColours[row].blue;
  ctrlSigs->ledCtrl0G = kStorageColours[row].green;
  ctrlSigs->ledCtrl0R = kStorageColours[row].red;
  LumoStcShowColour(ctrlSigs);
}

bool LumoIsErrFile(const ControlSignals* ctrlSigs, const char* name) {
  const int num = LMin(ctrlSigs->errFileNum, kErrFileSlots);
  for (int i = 0; i < num; i++) {
    if (strncmp(name, ctrlSigs->errFileList + i * kErrFileNameSize, kErrFileNameSize) == 0) return true;
  }
  return false;
}

int LumoUpdateFileList(ControlSignals* ctrlSigs) {
  char* list = ctrlSigs->fileList + kFileListHeadRoom;
  size_t used = 0;
  memset(list, 0, kListSize);

  DIR* dir = opendir(kShotFolder);
  if (dir == nullptr) {
    LumoLog("opendir error\n");
    return -1;
  }

  // Cleared once and never terminated: a name shorter than the one before keeps that name's tail here, and is then
  // not found among the bad ones. Shots all have one length, so it does no harm.
  char scratch[kErrFileNameSize] = {};
  for (struct dirent* entry = readdir(dir); entry != nullptr; entry = readdir(dir)) {
    const size_t length = strlen(entry->d_name);
    if (!IsFinishedShot(entry->d_name, length)) continue;
    const size_t baseLength = length - kExtensionLength;
    memcpy(scratch, entry->d_name, baseLength);
    if (LumoIsErrFile(ctrlSigs, scratch)) continue;
    if (used + baseLength + 2 > kListSize) continue;
    memcpy(list + used, entry->d_name, baseLength);
    memcpy(list + used + baseLength, "\r\n", 2);
    used += baseLength + 2;
  }
  closedir(dir);
  return 0;
}

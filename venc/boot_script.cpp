#include "venc/boot_script.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/log.h"
#include "venc/whole_file.h"

namespace {

constexpr char kWhole[] = "LumoModifyS90User";  // in whose name the additions are logged
constexpr char kScript[] = "/etc/init.d/S90user";

constexpr char kMountMarker[] = "Retry mount";
constexpr char kMountLine[] = "mount -t vfat /dev/sda1 /mnt/udisk\n";
constexpr char kMountRetry[] =
    "if [ \"$?\" != 0 ]; then\n"
    "  sleep 2\n"
    "  echo \"Retry mount\"\n"
    "  mount -t vfat /dev/sda1 /mnt/udisk\n"
    "fi\n";

constexpr char kFirmwareMarker[] = "firmware";
constexpr char kStart[] = "/mnt/local/lumora";
constexpr size_t kFirmwareOffset = 21;  // from the start of the match, whatever the script holds there
constexpr char kFirmwareInstall[] =
    "\nif [ -f /mnt/udisk/firmware ]; then\n"
    "  mv /mnt/udisk/firmware /mnt/local/lumora\n"
    "  chmod 777 /mnt/local/lumora\n"
    "fi\n";

// Room for both additions.
constexpr size_t kRoom = sizeof(kMountRetry) + sizeof(kFirmwareInstall);

// Inserts `text` at `place`, inside the script's memory.
void Insert(char* place, const char* text) {
  memmove(place + strlen(text), place, strlen(place) + 1);
  memcpy(place, text, strlen(text));
}

bool AddMountRetry(char* script) {
  if (strstr(script, kMountMarker) != nullptr) return false;
  LumoLogAs(kWhole, "Add Retry mount to S90User\n");
  char* line = strstr(script, kMountLine);
  if (line == nullptr) return false;
  Insert(line + strlen(kMountLine), kMountRetry);
  return true;
}

bool AddFirmwareInstall(char* script) {
  if (strstr(script, kFirmwareMarker) != nullptr) return false;
  LumoLogAs(kWhole, "Add Update firmware to S90User\n");
  char* start = strstr(script, kStart);
  // A script that ends before the place has none.
  if (start == nullptr || strlen(start) < kFirmwareOffset) return false;
  Insert(start + kFirmwareOffset, kFirmwareInstall);
  return true;
}

}  // namespace

void LumoModifyS90User() {
  char* script = LumoReadWholeText(kScript, kRoom);
  if (script == nullptr) return;
  const bool hasMount = AddMountRetry(script);
  const bool hasFirmware = AddFirmwareInstall(script);
  if (hasMount || hasFirmware) {
    FILE* file = fopen(kScript, "wb");
    if (file != nullptr) {
      fwrite(script, 1, strlen(script), file);
      fclose(file);
    }
  }
  free(script);
}

#include "venc/system_integration.h"

#include <unistd.h>

#include <cstdlib>

#include "common/log.h"

int LumoOpenDebugFile() {
  constexpr char kPath[] = "/mnt/udisk/debug";
  g_lumoDebug = stderr;
  if (access(kPath, W_OK) != 0) return 0;
  FILE* file = fopen(kPath, "wb+");
  if (file == nullptr) return -2;
  g_lumoDebug = file;
  return 0;
}

void LumoSystemSync() {
  if (g_lumoDebug != stderr) fflush(g_lumoDebug);
  [[maybe_unused]] int result = system("sync");
  usleep(1000 * 1000);
  result = system("umount /mnt/udisk");
  usleep(100 * 1000);
}

#include "venc/kernel_modules.h"

#include <unistd.h>

#include <cstdio>

#include "common/types.h"

// Linux drivers of the adapters, built for the device's kernel; see blobs.S.
constexpr size_t kMiiKoSize = 6976;
constexpr size_t kR8152KoSize = 37784;
constexpr size_t kUsbserialKoSize = 35276;
constexpr size_t kCp210xKoSize = 23660;
extern "C" {
extern const BYTE miiKoData[kMiiKoSize];
extern const BYTE r8152KoData[kR8152KoSize];
extern const BYTE usbserialKoData[kUsbserialKoSize];
extern const BYTE cp210xKoData[kCp210xKoSize];
}

namespace {

struct KernelModule {
  const char* path;
  const BYTE* data;
  size_t size;
};
constexpr KernelModule kModules[] = {
    {"/mnt/local/mii.ko", miiKoData, kMiiKoSize},
    {"/mnt/local/r8152.ko", r8152KoData, kR8152KoSize},
    {"/mnt/local/usbserial.ko", usbserialKoData, kUsbserialKoSize},
    {"/mnt/local/cp210x.ko", cp210xKoData, kCp210xKoSize},
};

}  // namespace

void LumoInitKOFiles() {
  for (const KernelModule& module : kModules) {
    if (access(module.path, F_OK) == 0) continue;
    FILE* file = fopen(module.path, "wb");
    if (file == nullptr) continue;
    fwrite(module.data, 1, module.size, file);
    fclose(file);
  }
}

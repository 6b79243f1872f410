#include "venc/system_integration.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/control_signals.h"
#include "common/log.h"

namespace {

void Run(const char* command) { [[maybe_unused]] const int result = system(command); }

struct UsbAdapter {
  const char* id;  // as lsusb prints it
  BYTE bit;
};
constexpr UsbAdapter kAdapters[] = {
    {"0bda:b720", kUsbWifi},
    {"0bda:8152", kUsbEthernet},
    {"10c4:ea60", kUsbSerial},
};
constexpr size_t kShortestUsbLine = 21;  // the line feed counted; shorter lines name no device

// The bit of the first id that the line holds.
BYTE AdapterIn(const char* line) {
  if (strlen(line) < kShortestUsbLine) return 0;
  for (const UsbAdapter& adapter : kAdapters) {
    if (strstr(line, adapter.id) != nullptr) return adapter.bit;
  }
  return 0;
}

}  // namespace

int LumoOpenDebugFile() {
  constexpr char kPath[] = "/mnt/udisk/debug";
  g_lumoDebug = stderr;
  if (access(kPath, W_OK) != 0) return 0;
  FILE* file = fopen(kPath, "wb+");
  if (file == nullptr) return -2;
  g_lumoDebug = file;
  return 0;
}

void LumoResetDhcpcdLeases() {
  FILE* file = fopen("/var/lib/dhcp/dhcpcd.leases", "wb");
  if (file == nullptr) return;
  fwrite("\n", 1, 1, file);
  fclose(file);
}

BYTE GetUsbMode() {
  FILE* list = popen("lsusb", "r");
  if (list == nullptr) return 0;
  BYTE usbMode = 0;
  char line[1024];
  while (fgets(line, sizeof(line), list) != nullptr) usbMode |= AdapterIn(line);
  pclose(list);
  return usbMode;
}

void LumoWifiOpen() {
  Run("./80211_start.sh");
  LumoLog("80211_start.sh\n");
}

void LumoWifiClose() {
  Run("./80211_shutdown.sh");
  LumoLog("80211_shutdown.sh\n");
}

void LumoEthOpen() {
  Run("insmod mii.ko");
  Run("insmod r8152.ko");
  Run("sleep 1");
  Run("ifconfig eth0 192.168.6.1/24");
  LumoLog("r8152_start\n");
}

void LumoEthClose() {
  Run("ifconfig eth0 down");
  Run("sleep 1");
  Run("rmmod r8152.ko");
  Run("rmmod mii.ko");
  LumoLog("r8152_shutdown\n");
}

void LumoUsbSerialOpen() {
  Run("insmod usbserial.ko");
  Run("insmod cp210x.ko");
  Run("sleep 1");
  LumoLog("cp210x_start\n");
}

void LumoUsbSerialClose() {
  Run("rmmod cp210x.ko");
  Run("rmmod usbserial.ko");
  LumoLog("cp210x_shutdown\n");
}

void LumoSystemSync() {
  if (g_lumoDebug != stderr) fflush(g_lumoDebug);
  Run("sync");
  usleep(1000 * 1000);
  Run("umount /mnt/udisk");
  usleep(100 * 1000);
}

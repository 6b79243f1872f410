#include "venc/update_files.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/calibration.h"
#include "common/log.h"
#include "common/number.h"
#include "common/settings/key_values.h"
#include "common/settings/settings.h"
#include "venc/whole_file.h"

namespace {

constexpr long kAnySize = -1;

struct UpdateCopy {
  const char* path;
  const char* target;  // in the working directory
  const char* donePath;
  long aboveSize, belowSize;  // bytes, both excluded
};
constexpr UpdateCopy kLogo = {"/mnt/udisk/logo.jpg", "logo.jpg", "/mnt/udisk/logo_updated.jpg", 1024, 2097152};
constexpr UpdateCopy kInfo = {"/mnt/udisk/info.ini", "info.ini", "/mnt/udisk/info_updated.ini", kAnySize, 1024};
constexpr UpdateCopy kHostapd = {"/mnt/udisk/hostapd.conf", "hostapd.conf", "/mnt/udisk/hostapd_updated.conf", 1024,
                                 2097152};
constexpr UpdateCopy kDhcpd = {"/mnt/udisk/dhcpd.conf", "dhcpd.conf", "/mnt/udisk/dhcpd_updated.conf", 64, 1024};

constexpr double kMinGain = 0.8;
constexpr double kMaxGain = 1.25;

void TakeCopy(const UpdateCopy& copy) {
  FILE* source = fopen(copy.path, "rb");
  if (source == nullptr) return;
  const long size = LumoFileSize(source);
  if (size <= copy.aboveSize || size >= copy.belowSize) {
    fclose(source);
    return;
  }
  FILE* target = fopen(copy.target, "wb");
  if (target != nullptr) {
    char block[1024];
    for (size_t count = fread(block, 1, sizeof(block), source); count > 0;
         count = fread(block, 1, sizeof(block), source)) {
      fwrite(block, 1, count, target);
    }
    fclose(target);
  }
  fclose(source);
  rename(copy.path, copy.donePath);
}

struct WhiteBalance {
  double blue, green, red;
};

void TakeGain(void* target, const char* key, const char* value) {
  WhiteBalance* gains = static_cast<WhiteBalance*>(target);
  if (strcmp(key, "blue") == 0) gains->blue = atof(value);
  if (strcmp(key, "green") == 0) gains->green = atof(value);
  if (strcmp(key, "red") == 0) gains->red = atof(value);
}

bool GainIsValid(double gain) { return gain >= kMinGain && gain <= kMaxGain; }

// Puts the gains into row 0 of the calibration. False if it is missing, short or not written in full.
bool StoreWhiteBalance(const WhiteBalance& gains) {
  FILE* file = fopen("CameraVignet_800", "rb+");
  if (file == nullptr) return false;
  CameraVignetInfo row;
  bool done = fread(&row, sizeof(row), 1, file) == 1;
  if (done) {
    row.vignettingCurveB[kWhiteBalanceSlot] = gains.blue;
    row.vignettingCurveG[kWhiteBalanceSlot] = gains.green;
    row.vignettingCurveR[kWhiteBalanceSlot] = gains.red;
    done = fseek(file, 0, SEEK_SET) == 0 && fwrite(&row, sizeof(row), 1, file) == 1 && fflush(file) == 0;
  }
  fclose(file);
  return done;
}

bool IsWifiNameByte(char byte) {
  return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || byte == '-' ||
         byte == '_' || byte == '.';
}

bool IsWifiName(const char* name, int length) {
  if (length < 1 || length > 32) return false;
  for (int i = 0; i < length; i++) {
    if (!IsWifiNameByte(name[i])) return false;
  }
  return true;
}

// The `ssid` line cannot be the first and must end in a line feed.
void ReplaceSsid(const char* name) {
  char* text = LumoReadWholeText("hostapd.conf", 0);
  if (text == nullptr) return;
  constexpr char kSsid[] = "\nssid=";
  char* line = strstr(text, kSsid);
  char* value = line == nullptr ? nullptr : line + strlen(kSsid);
  char* rest = value == nullptr ? nullptr : strchr(value, '\n');
  FILE* file = rest == nullptr ? nullptr : fopen("hostapd.conf", "wb");
  if (file != nullptr) {
    fwrite(text, 1, static_cast<size_t>(value - text), file);
    fwrite(name, 1, strlen(name), file);
    fwrite(rest, 1, strlen(rest), file);
    fclose(file);
  }
  free(text);
}

struct UpdateNumber {
  const char* path;
  const char* donePath;
  const char* errorPath;
  int maxValue;
  Shared<BYTE> ControlSignals::*field;
};
constexpr UpdateNumber kThumbnail = {"/mnt/udisk/thumbnail.txt", "/mnt/udisk/thumbnail_updated.txt",
                                     "/mnt/udisk/thumbnail_error.txt", 24, &ControlSignals::thumbCamIdx};
constexpr UpdateNumber kWirelessId = {"/mnt/udisk/wireless_id.txt", "/mnt/udisk/wireless_id_updated.txt",
                                      "/mnt/udisk/wireless_id_error.txt", 9, &ControlSignals::wirelessId};

void TakeNumber(const UpdateNumber& update, ControlSignals* ctrlSigs) {
  char text[129];
  const int length = LumoReadText(update.path, text, sizeof(text));
  if (length < 0) return;
  const int value = LumoNumber(text);
  const bool valid = length > 0 && value >= 0 && value <= update.maxValue;
  if (valid) {
    ctrlSigs->*update.field = static_cast<BYTE>(value);
    LumoSaveSetting(ctrlSigs);
  }
  rename(update.path, valid ? update.donePath : update.errorPath);
}

}  // namespace

void LumoCopyLogoFile() { TakeCopy(kLogo); }

void LumoCopyInfoFile() { TakeCopy(kInfo); }

void LumoCopyConfFile() {
  TakeCopy(kHostapd);
  TakeCopy(kDhcpd);
}

void LumoLoadWBFile() {
  constexpr char kPath[] = "/mnt/udisk/wb.ini";
  char text[1024];
  const int length = LumoReadText(kPath, text, sizeof(text) - 1);
  if (length < 0) return;
  text[length] = '\n';  // so that a last line without one counts too
  text[length + 1] = '\0';
  LumoLog("LoadWBStr:\n%s", text);

  WhiteBalance gains = {};
  LumoWalkKeyValues(text, TakeGain, &gains);
  const bool done =
      GainIsValid(gains.blue) && GainIsValid(gains.green) && GainIsValid(gains.red) && StoreWhiteBalance(gains);
  rename(kPath, done ? "/mnt/udisk/wb_updated.ini" : "/mnt/udisk/wb_error.ini");
}

void LumoSetWifiName() {
  constexpr char kPath[] = "/mnt/udisk/wifi.txt";
  char name[129];
  const int length = LumoReadText(kPath, name, sizeof(name));
  if (length < 0) return;
  const bool valid = IsWifiName(name, length);
  rename(kPath, valid ? "/mnt/udisk/wifi_updated.txt" : "/mnt/udisk/wifi_ssid_error.txt");
  if (valid) ReplaceSsid(name);
}

void LumoSetThumbCamIdx(ControlSignals* ctrlSigs) { TakeNumber(kThumbnail, ctrlSigs); }

void LumoSetWirelessId(ControlSignals* ctrlSigs) { TakeNumber(kWirelessId, ctrlSigs); }

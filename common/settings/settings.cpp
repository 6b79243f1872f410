#include "common/settings/settings.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "common/calibration.h"
#include "common/log.h"
#include "common/number.h"
#include "common/settings/key_values.h"

namespace {

constexpr char kSettingPath[] = "/mnt/udisk/DCIM/setting.ini";
constexpr size_t kTextSize = 1024;
constexpr char kStart[] = "main";  // in whose name the loading is logged

struct ByteKey {
  const char* key;
  Shared<BYTE> ControlSignals::*field;
};
constexpr ByteKey kByteKeys[] = {
    {"capturemode", &ControlSignals::captureMode}, {"strobemode", &ControlSignals::strobeMode},
    {"isomode", &ControlSignals::isoMode},         {"delaymode", &ControlSignals::delayMode},
    {"btnsetting", &ControlSignals::btnSetting},   {"shutdownmode", &ControlSignals::shutdownMode},
    {"mutemode", &ControlSignals::muteMode},       {"thumbcamidx", &ControlSignals::thumbCamIdx},
    {"wirelessid", &ControlSignals::wirelessId},
};

struct IntKey {
  const char* key;
  Shared<int> ControlSignals::*field;
};
constexpr IntKey kSettingIntKeys[] = {
    {"manualexpsus", &ControlSignals::manualExpsUs},
    {"manualiso", &ControlSignals::manualIso},
};
constexpr IntKey kVertexKeys[] = {
    {"plusvertexx", &ControlSignals::plusVertexX},
    {"plusvertexy", &ControlSignals::plusVertexY},
};

void TakePrefix(ControlSignals* ctrlSigs, const char* value) {
  const size_t length = strlen(value);
  if (length >= sizeof(ctrlSigs->prefix)) return;
  // Without its zero, into a field that was cleared at start: a second, shorter prefix keeps the tail of the first.
  memcpy(ctrlSigs->prefix, value, length);
  ctrlSigs->prefixLen = static_cast<int>(length);
}

void TakeSetting(void* target, const char* key, const char* value) {
  ControlSignals* ctrlSigs = static_cast<ControlSignals*>(target);
  for (const ByteKey& row : kByteKeys) {
    if (strcmp(key, row.key) == 0) ctrlSigs->*row.field = static_cast<BYTE>(LumoNumber(value));
  }
  for (const IntKey& row : kSettingIntKeys) {
    if (strcmp(key, row.key) == 0) ctrlSigs->*row.field = LumoNumber(value);
  }
  if (strcmp(key, "evcompval") == 0) ctrlSigs->evCompVal = static_cast<int8_t>(LumoNumber(value));
  if (strcmp(key, "saveraw") == 0) ctrlSigs->saveRaw = 0;
  if (strcmp(key, "prefix") == 0) TakePrefix(ctrlSigs, value);
}

void TakeVertex(void* target, const char* key, const char* value) {
  ControlSignals* ctrlSigs = static_cast<ControlSignals*>(target);
  for (const IntKey& row : kVertexKeys) {
    if (strcmp(key, row.key) == 0) ctrlSigs->*row.field = LumoNumber(value);
  }
}

void TakeInfo(void* target, const char* key, const char* value) {
  if (strcmp(key, "deviceid") == 0) static_cast<ControlSignals*>(target)->deviceId = LumoNumber(value);
}

}  // namespace

int LumoLoadSetting(ControlSignals* ctrlSigs) {
  char text[kTextSize];
  if (LumoReadText(kSettingPath, text, sizeof(text)) < 0) return -1;
  LumoLogAs(kStart, "LoadSettingStr:\n%s", text);
  LumoWalkKeyValues(text, TakeSetting, ctrlSigs);
  return 0;
}

void LumoSaveSetting(ControlSignals* ctrlSigs) {
  char text[kTextSize];
  snprintf(text, sizeof(text),
           "capturemode=%d\nstrobemode=%d\nisomode=%d\nevcompval=%d\nmanualexpsus=%d\nmanualiso=%d\ndelaymode=%d\n"
           "saveraw=%d\nbtnsetting=%d\nshutdownmode=%d\nthumbcamidx=%d\nwirelessid=%d\nprefix=%s\n",
           ctrlSigs->captureMode.load(), ctrlSigs->strobeMode.load(), ctrlSigs->isoMode.load(),
           ctrlSigs->evCompVal.load(), ctrlSigs->manualExpsUs.load(), ctrlSigs->manualIso.load(),
           ctrlSigs->delayMode.load(), ctrlSigs->saveRaw.load(), ctrlSigs->btnSetting.load(),
           ctrlSigs->shutdownMode.load(), ctrlSigs->thumbCamIdx.load(), ctrlSigs->wirelessId.load(), ctrlSigs->prefix);
  FILE* file = fopen(kSettingPath, "wb");
  if (file == nullptr) return;
  fwrite(text, 1, strlen(text), file);
  fflush(file);
  fclose(file);
  sync();  // a battery that is taken out next would leave neither the old settings nor the new ones
  LumoLog("SaveSettingStr:\n%s", text);
}

void LumoLoadVertex(ControlSignals* ctrlSigs) {
  char text[kTextSize];
  if (LumoReadText("vertex.ini", text, sizeof(text)) < 0) return;
  LumoLogAs(kStart, "LoadVertexStr:\n%s", text);
  LumoWalkKeyValues(text, TakeVertex, ctrlSigs);
}

void LumoLoadInfo(ControlSignals* ctrlSigs) {
  char text[kTextSize];
  if (LumoReadText("info.ini", text, sizeof(text)) >= 0) {
    LumoLogAs(kStart, "LoadInfoStr:\n%s", text);
    LumoWalkKeyValues(text, TakeInfo, ctrlSigs);
  }
  CameraConfInfo rows[kCameraCount] = {};
  if (LumoReadCameraConf(rows) >= 0 && rows[0].lensType > 10) ctrlSigs->deviceId = 4;
}

unsigned int CalcSerailNo() {
  CameraConfInfo rows[kCameraCount] = {};
  if (LumoReadCameraConf(rows) < 0) return 0;
  unsigned int hash = 2166136261u;  // FNV-1a, 32 bits
  for (const BYTE* byte = reinterpret_cast<const BYTE*>(rows);
       byte != reinterpret_cast<const BYTE*>(rows + kCameraCount); byte++) {
    hash = (hash ^ *byte) * 16777619u;
  }
  return hash & 0x7FFFFFFF;
}

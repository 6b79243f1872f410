#include "common/sample_comm_venc/container.h"

#include <cstring>

#include "common/fpga_ctrl/device/storage.h"

void LumoFillRawImageInfo(RawImageInfo* info, const ControlSignals* ctrlSigs, const ExposureSets* exposures,
                          const tm* localTime, int microseconds, int shootIdx) {
  memset(info, 0, sizeof(*info));
  info->deviceId = ctrlSigs->deviceId;
  info->infoVersion = 1;
  info->shootDateYear = localTime->tm_year + 1900;
  info->shootDateMon = localTime->tm_mon + 1;
  info->shootDateDay = localTime->tm_mday;
  info->shootTimeHour = localTime->tm_hour;
  info->shootTimeMin = localTime->tm_min;
  info->shootTimeSec = localTime->tm_sec;
  info->shootTimeMS = microseconds / 1000;
  info->shootIdx = shootIdx;

  // The six sets stand in two places of the record, each as four words in the same order.
  int32_t* const sets[6] = {&info->shutterLines0, &info->shutterLines1, &info->shutterLines2,
                            &info->shutterLines3, &info->shutterLines4, &info->shutterLines5};
  for (int i = 0; i < 6; i++) {
    const int32_t words[4] = {exposures->shutterLines[i], exposures->totalLines[i], exposures->totalColumns,
                              exposures->gain[i]};
    memcpy(sets[i], words, sizeof(words));
  }

  info->evBiasMode = ctrlSigs->evCompVal;
  info->isoMode = ctrlSigs->isoMode;
  info->hdrMode = ctrlSigs->captureMode + 2;
  info->oriQuality = 95;
  info->pnoQuality = 80;
  info->twoHalfMode = ctrlSigs->delayMode >> 3;
  info->antiFlickerMode = ctrlSigs->strobeMode;
  info->timerMode = ctrlSigs->delayMode & 7;
  info->prevExpos = 32;
  info->vertexX = ctrlSigs->vertexX;
  info->vertexY = ctrlSigs->vertexY;
  info->longitude = ctrlSigs->longitude;
  info->latitude = ctrlSigs->latitude;
  info->compassValue = ctrlSigs->compassValue;
}

void LumoWriteToken(FILE* file, uint16_t token) { fwrite(&token, 1, sizeof(token), file); }

void LumoWriteSectionHead(FILE* file, uint16_t token, int32_t size) {
  LumoWriteToken(file, token);
  fwrite(&size, 1, sizeof(size), file);
}

bool LumoIsOriShot(const ControlSignals* ctrlSigs) {
  return ctrlSigs->serialFd == -1 || (ctrlSigs->usbMode & (kUsbWifi | kUsbEthernet)) != 0;
}

void LumoShotTmpPath(char* path, const ControlSignals* ctrlSigs, const tm* localTime) {
  memset(path, 0, kOriPathSize);
  snprintf(path, kOriPathSize, "%s%s%04d-%02d-%02d_%02d.%02d.%02d.tmp", kShotFolder, ctrlSigs->prefix,
           localTime->tm_year + 1900, localTime->tm_mon + 1, localTime->tm_mday, localTime->tm_hour, localTime->tm_min,
           localTime->tm_sec);
}

void LumoSingleTmpPath(char* path, int camIdx) {
  memset(path, 0, kOriPathSize);
  snprintf(path, kOriPathSize, "%s%02d.tmp", kShotFolder, camIdx);
}

void LumoSinglePath(char* path, int camIdx) {
  LumoSingleTmpPath(path, camIdx);
  LumoSetExtension(path, "jpg");
}

void LumoSetExtension(char* path, const char* extension) {
  const size_t length = strlen(path);
  if (length >= 3) memcpy(path + length - 3, extension, 3);
}

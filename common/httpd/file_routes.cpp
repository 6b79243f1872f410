#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <ctime>

#include "common/bounds.h"
#include "common/fpga_ctrl/device/storage.h"
#include "common/httpd/routes.h"
#include "common/httpd/serve.h"
#include "common/httpd/transport.h"
#include "common/sample_comm_venc/container.h"

static constexpr time_t kSettled = 20;  // s; a younger file may still be written

// A name that does not fit gives a path that no file has.
static void ShotPath(const ControlSignals* ctrlSigs, const HttpRequest* request, char* path, size_t size) {
  const int length =
      snprintf(path, size, "%s%s.%s", kShotFolder, request->mainName, LumoIsOriShot(ctrlSigs) ? "ori" : "dwo");
  if (length >= static_cast<int>(size)) path[0] = '\0';
}

// The status line goes right in front of the list, so that both leave as one body without a copy.
void get_list(ControlSignals* ctrlSigs, int client, HttpRequest* request) {
  const bool hasPosition = (ctrlSigs->usbMode & kUsbSerial) != 0;
  if (ctrlSigs->timeLapse != 0 && !hasPosition) {
    ctrlSigs->longitude = request->longitude;
    ctrlSigs->latitude = request->latitude;
  }
  const int level = BatteryNumber(ctrlSigs);
  const int needCapture = ctrlSigs->needCapture;
  const int needSave = ctrlSigs->needSave;
  char line[64];
  int length;
  if (hasPosition) {
    length = snprintf(line, sizeof(line), "%d,%d,%d,%d\r\n", needCapture, needSave, level, ctrlSigs->gpsState.load());
  } else if (level >= 0) {
    length = snprintf(line, sizeof(line), "%d,%d,%d\r\n", needCapture, needSave, level);
  } else {
    length = snprintf(line, sizeof(line), "%d,%d\r\n", needCapture, needSave);
  }
  length = LMin(length, kFileListHeadRoom);  // the longest line, "255,255,1100,1", just fits
  char* start = ctrlSigs->fileList + kFileListHeadRoom - length;
  memcpy(start, line, static_cast<size_t>(length));
  const size_t room = sizeof(ctrlSigs->fileList) - static_cast<size_t>(kFileListHeadRoom - length);
  send_txt_of_length(client, 200, "OK", start, strnlen(start, room));
}

void get_file(ControlSignals* ctrlSigs, int client, HttpRequest* request) {
  char path[512];
  ShotPath(ctrlSigs, request, path, sizeof(path));
  serve_file(client, path, request->onlyPreview);
}

// A file that has not come to an end 20 s after its last write will not: it is bad, like one that is not there.
static bool IsBad(const char* path) {
  struct stat status = {};
  return stat(path, &status) != 0 || time(nullptr) - status.st_mtime > kSettled;
}

void AddErrFile(ControlSignals* ctrlSigs, const char* mainName) {
  const int errFileNum = ctrlSigs->errFileNum;
  if (strlen(mainName) >= kErrFileNameSize || errFileNum >= kErrFileSlots) return;
  if (LumoIsErrFile(ctrlSigs, mainName)) return;
  char* slot = ctrlSigs->errFileList + errFileNum * kErrFileNameSize;
  memset(slot, 0, kErrFileNameSize);
  memcpy(slot, mainName, strlen(mainName));
  ctrlSigs->errFileNum = errFileNum + 1;  // last: a reader never sees a slot that is not filled
}

void get_thumb(ControlSignals* ctrlSigs, int client, HttpRequest* request) {
  char path[512];
  ShotPath(ctrlSigs, request, path, sizeof(path));
  if (serve_thumb(client, path) != 404 || !IsBad(path)) return;
  AddErrFile(ctrlSigs, request->mainName);
  ctrlSigs->needUpdate = kRequested;
}

void get_parameters(ControlSignals* ctrlSigs, int client, HttpRequest* request) {
  char path[512];
  ShotPath(ctrlSigs, request, path, sizeof(path));
  serve_parameters(client, path);
}

void del_file(ControlSignals* ctrlSigs, int client, HttpRequest* request) {
  char path[512];
  ShotPath(ctrlSigs, request, path, sizeof(path));
  remove(path);
  ctrlSigs->needUpdate = kRequested;
  send_txt(client, 200, "OK", "OK");
}

void get_single(ControlSignals* /*ctrlSigs*/, int client, HttpRequest* request) {
  char path[kOriPathSize];
  LumoSinglePath(path, request->camIdx);
  serve_single(client, path);
}

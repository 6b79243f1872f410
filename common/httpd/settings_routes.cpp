#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/fpga_ctrl/device/clock.h"
#include "common/fpga_ctrl/device/stc_link.h"
#include "common/fpga_ctrl/device/storage.h"
#include "common/httpd/routes.h"
#include "common/httpd/transport.h"
#include "common/log.h"
#include "common/settings/settings.h"

static constexpr int kCharging = 1000;  // added to the battery level
static constexpr int kNoTemperature = -10000;
static constexpr int kNotRead = 0x7F;  // in camTemp
static constexpr const char* kFirmwareVersion = "20251113";

static void SendOk(int client) { send_txt(client, 200, "OK", "OK"); }

static void SendNumber(int client, int number) {
  char text[16];
  snprintf(text, sizeof(text), "%d", number);
  send_txt(client, 200, "OK", text);
}

// "YYYY-MM-DD_HH:MM:SS" by position alone: what stands between the numbers is not looked at.
void set_time(ControlSignals* /*ctrlSigs*/, int client, HttpRequest* request) {
  char* text = request->timeStr;
  if (strlen(text) != 19) {
    send_txt(client, 400, "BAD REQUEST", "Invalid time string");
    return;
  }
  for (const int separator : {4, 7, 10, 13, 16}) text[separator] = '\0';
  const int year = atoi(text);
  const int month = atoi(text + 5);
  const int day = atoi(text + 8);
  const int hour = atoi(text + 11);
  const int minute = atoi(text + 14);
  const int second = atoi(text + 17);
  LumoSetSysTime(year, month, day, hour, minute, second);
  SendOk(client);
  fprintf(g_lumoDebug, "SetTime %d-%d-%d_%d:%d:%d\n", year, month, day, hour, minute, second);
}

// All three at every call: a key that is left out sets its field to 0.
void config(ControlSignals* ctrlSigs, int client, HttpRequest* request) {
  ctrlSigs->btnSetting = static_cast<BYTE>(request->btnSetting);
  ctrlSigs->shutdownMode = static_cast<BYTE>(request->shutdownMode);
  ctrlSigs->muteMode = static_cast<BYTE>(request->muteMode);
  LumoSaveSetting(ctrlSigs);
  SendOk(client);
}

// Without a terminator and without clearing: a shorter prefix keeps the tail of the old one.
void set_prefix(ControlSignals* ctrlSigs, int client, HttpRequest* request) {
  const size_t length = strlen(request->prefix.data());
  memcpy(ctrlSigs->prefix, request->prefix.data(), length);
  ctrlSigs->prefixLen = static_cast<int>(length);
  LumoSaveSetting(ctrlSigs);
  SendOk(client);
}

void get_information(ControlSignals* ctrlSigs, int client, HttpRequest* /*request*/) {
  unsigned int freeKBs = 0;
  unsigned int totalKBs = 0;
  LumoCheckStorage(&freeKBs, &totalKBs);
  char text[1024];
  snprintf(text, sizeof(text),
           "disk_total=%d\r\ndisk_free=%d\r\nfirmware_version=%s\r\ndevice_id=%d\r\nserial_no=%d\r\n",
           static_cast<int>(totalKBs), static_cast<int>(freeKBs), kFirmwareVersion, ctrlSigs->deviceId.load(),
           static_cast<int>(ctrlSigs->serialNo.load()));
  send_txt(client, 200, "OK", text);
}

void shutdown_device(ControlSignals* ctrlSigs, int client, HttpRequest* /*request*/) {
  ctrlSigs->needShutdown = kRequested;
  SendOk(client);
}

void format_udisk(ControlSignals* ctrlSigs, int client, HttpRequest* /*request*/) {
  ctrlSigs->needFormat = kRequested;
  SendOk(client);
}

// Waits for the control thread without a limit.
static void Calibrate(ControlSignals* ctrlSigs, int client, BYTE step) {
  if ((ctrlSigs->usbMode & kUsbSerial) == 0) {
    send_txt(client, 200, "OK", "NOT SUPPORT");
    return;
  }
  ctrlSigs->needCompassCalibrate = step;
  while (ctrlSigs->needCompassCalibrate == step) usleep(1000);
  send_txt(client, 200, "OK", ctrlSigs->needCompassCalibrate == 0 ? "OK" : "ERROR");
}

void compass_calibrate_start(ControlSignals* ctrlSigs, int client, HttpRequest* /*request*/) {
  Calibrate(ctrlSigs, client, 1);
}

void compass_calibrate_end(ControlSignals* ctrlSigs, int client, HttpRequest* /*request*/) {
  Calibrate(ctrlSigs, client, 2);
}

int BatteryNumber(ControlSignals* ctrlSigs) {
  const int batteryLevel = LumoGetBatteryLevel(ctrlSigs);
  return batteryLevel >= 0 && ctrlSigs->batCharging != 0 ? batteryLevel + kCharging : batteryLevel;
}

void get_battery_level(ControlSignals* ctrlSigs, int client, HttpRequest* /*request*/) {
  SendNumber(client, BatteryNumber(ctrlSigs));
}

// One sensor's temperature, or for index 0 the rounded mean of all, in which a sensor that was not read counts as 127.
static int Temperature(const ControlSignals* ctrlSigs, int index) {
  unsigned int value = 12;
  for (const Shared<int8_t>& temperature : ctrlSigs->camTemp) value += static_cast<BYTE>(temperature.load());
  value /= 25;
  if (index != 0) value = static_cast<BYTE>(ctrlSigs->camTemp[static_cast<size_t>(index - 1)].load());
  return value == kNotRead ? kNoTemperature : static_cast<int>(value);
}

void get_last_temperature(ControlSignals* ctrlSigs, int client, HttpRequest* request) {
  SendNumber(client, Temperature(ctrlSigs, request->index));
}

// A reading that comes too late is still taken; the next question for the last one shows it.
void get_current_temperature(ControlSignals* ctrlSigs, int client, HttpRequest* request) {
  ctrlSigs->needReadTemperature = 1;
  bool isRead = false;
  for (int round = 0; round < 50 && !isRead; round++) {
    usleep(10 * 1000);
    isRead = ctrlSigs->needReadTemperature == 0;
  }
  SendNumber(client, isRead ? Temperature(ctrlSigs, request->index) : kNoTemperature);
}

void get_last_exposure(ControlSignals* ctrlSigs, int client, HttpRequest* /*request*/) {
  char text[1024];
  snprintf(text, sizeof(text), "exposure=%6fs\r\niso=%d\r\n", ctrlSigs->lastExposure * 1e-06, ctrlSigs->lastIso.load());
  send_txt(client, 200, "OK", text);
}

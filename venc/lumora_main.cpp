// The application's entry: brings the device up, starts the threads, runs the capture loop and tears down. Does not
// return after a successful start, since the power goes. Its exit status: -1 the device could not be opened; -2 to -5 a
// thread could not be started (control, serial, HTTP 0, HTTP 1).
#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "common/control_signals.h"
#include "common/fpga_ctrl/device/control_loop.h"
#include "common/fpga_ctrl/device/device.h"
#include "common/httpd/server.h"
#include "common/log.h"
#include "common/sample_comm_isp/sample_comm_isp.h"
#include "common/sample_comm_sys/sample_comm_sys.h"
#include "common/settings/settings.h"
#include "common/usbserial/remote.h"
#include "venc/boot_script.h"
#include "venc/kernel_modules.h"
#include "venc/media_pipeline.h"
#include "venc/system_integration.h"
#include "venc/update_files.h"

namespace {

void SetStartValues(ControlSignals* ctrlSigs) {
  ctrlSigs->rawLoadInfo = kRawLoadEmpty;
  ctrlSigs->reqConnect = 0x55;
  ctrlSigs->serialFd = -1;
  ctrlSigs->thumbCamIdx = 12;
  ctrlSigs->ledCtrl0B = 1;
  ctrlSigs->ledCtrl0G = 1;
  ctrlSigs->ledCtrl0R = 1;
  for (Shared<BYTE>& sample : ctrlSigs->batVoltageVal) sample = 0x7F;
  for (Shared<int8_t>& temperature : ctrlSigs->camTemp) temperature = 0x7F;
  ctrlSigs->deviceId = 2;
}

// What the disk brings, and what it and the flash remember. The two numbers come behind the settings, as they save
// them back. Returns whether there were settings.
bool LoadDeviceFiles(ControlSignals* ctrlSigs) {
  LumoCopyLogoFile();
  LumoCopyInfoFile();
  LumoCopyConfFile();
  LumoLoadWBFile();
  LumoSetWifiName();
  LumoModifyS90User();
  ctrlSigs->serialNo = CalcSerailNo();
  LumoInitKOFiles();
  LumoResetDhcpcdLeases();
  const bool hasSetting = LumoLoadSetting(ctrlSigs) == 0;
  LumoSetThumbCamIdx(ctrlSigs);
  LumoSetWirelessId(ctrlSigs);
  LumoLoadVertex(ctrlSigs);
  LumoLoadInfo(ctrlSigs);
  return hasSetting;
}

// Finds the USB adapters and brings up what they are for. Returns whether the device has a network.
bool OpenAdapters(ControlSignals* ctrlSigs, bool hasSetting) {
  const BYTE usbMode = GetUsbMode();
  ctrlSigs->usbMode = usbMode;
  fprintf(g_lumoDebug, "UsbMode:%d\n", usbMode);
  if ((usbMode & kUsbSerial) != 0) {
    if (!hasSetting) {
      ctrlSigs->captureMode = 4;
      ctrlSigs->evCompVal = 0;
      ctrlSigs->isoMode = 1;
    }
    LumoUsbSerialOpen();
  }
  bool hasNet = false;
  if ((usbMode & kUsbEthernet) != 0) {
    LumoEthOpen();
    hasNet = true;
  } else if ((usbMode & kUsbWifi) != 0) {
    LumoWifiOpen();
    hasNet = access("/var/run/hostapd/wlan0", F_OK) == 0;
  }
  return hasNet;
}

// By the adapters alone: an access point that did not come up is shut down all the same.
void CloseAdapters(BYTE usbMode) {
  if ((usbMode & kUsbEthernet) != 0) {
    LumoEthClose();
  } else if ((usbMode & kUsbWifi) != 0) {
    LumoWifiClose();
  }
  if ((usbMode & kUsbSerial) != 0) LumoUsbSerialClose();
}

// Only -1 counts as a failed start, although pthread_create answers with a positive error number: a thread that did
// not start goes on unnoticed. That is how the device behaves.
bool StartThread(void* (*body)(void*), ControlSignals* ctrlSigs) {
  pthread_t thread;
  return pthread_create(&thread, nullptr, body, ctrlSigs) != -1;
}

// A forced stop: the pipeline is let go so that the next start finds it free, and nothing else is put in order.
void SAMPLE_VENC_HandleSig(int signo) {
  if (signo != SIGINT && signo != SIGTERM) return;
  SAMPLE_COMM_ISP_Stop();
  SAMPLE_COMM_SYS_Exit();
  printf("\033[0;31mprogram termination abnormally!\033[0;39m\n");
  exit(-1);
}

}  // namespace

int main() {
  // Every thread holds a pointer to this record. It lives as long as the process: this function does not return once
  // threads run.
  ControlSignals ctrlSigs{};
  SetStartValues(&ctrlSigs);

  LumoOpenDebugFile();
  LumoLog("Full Start\n");
  const bool hasSetting = LoadDeviceFiles(&ctrlSigs);

  if (LumoDeviceOpen(&ctrlSigs) < 0) {
    LumoLog("LumoDeviceOpen error\n");
    return -1;
  }

  const bool hasNet = OpenAdapters(&ctrlSigs, hasSetting);
  LumoLog("Has Net?:%s\n", hasNet ? "Yes" : "No");

  if (!StartThread(LumoHandleControl, &ctrlSigs)) {
    LumoLog("pthread_create 1 error\n");
    return -2;
  }
  struct sigaction ignored = {};
  ignored.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignored, nullptr);
  if ((ctrlSigs.usbMode & kUsbSerial) != 0 && !StartThread(LumoSerialMain, &ctrlSigs)) {
    LumoLog("pthread_create 2 error\n");
    return -3;
  }
  if (hasNet) {
    if (!StartThread(LumoServerMain0, &ctrlSigs)) {
      LumoLog("pthread_create 3 error\n");
      return -4;
    }
    if (!StartThread(LumoServerMain1, &ctrlSigs)) {
      LumoLog("pthread_create 4 error\n");
      return -5;
    }
  }
  signal(SIGINT, SAMPLE_VENC_HandleSig);
  signal(SIGTERM, SAMPLE_VENC_HandleSig);

  SAMPLE_VENC_1080P_MJPEG_JPEG(&ctrlSigs);

  LumoSystemSync();
  CloseAdapters(ctrlSigs.usbMode);
  LumoDeviceClose();
  ctrlSigs.needQuit = 0;  // the control thread now lets the power be cut
  for (;;) usleep(10 * 1000);
}

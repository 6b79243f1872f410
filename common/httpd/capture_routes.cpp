#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "common/httpd/routes.h"
#include "common/httpd/transport.h"
#include "common/log.h"
#include "common/sample_comm_venc/container.h"

static constexpr int kLongestInTimeLapse = 250000;       // us
static constexpr unsigned int kSingleShotCmd = 0x18001;  // capture mode 1, no compensation, iso mode 1
static_assert(PackRemoteCapCmd(0, 0, 1, 0x80, 1) == kSingleShotCmd);

// Lets the control thread go and waits until it has taken the command, which is long before the shot.
static void PostCapture(ControlSignals* ctrlSigs, unsigned int remoteCapCmd) {
  ctrlSigs->remoteCapCmd = remoteCapCmd;
  while (ctrlSigs->remoteCapCmd != 0) usleep(1000);
}

void get_session(ControlSignals* /*ctrlSigs*/, int client, HttpRequest* request) {
  request->session = rand();
  char text[16];
  snprintf(text, sizeof(text), "%d", request->session);
  send_txt(client, 200, "OK", text);
}

static void StartCapture(ControlSignals* ctrlSigs, HttpRequest* request) {
  if (request->delayMode > 7) {  // a two-half shot
    request->timeLapse = 0;
    request->saveRaw = 0;
    request->gyroCorrect = 0;
  }
  if (request->timeLapse > 0) {
    if (request->manualExpsUs > kLongestInTimeLapse) request->manualExpsUs = kLongestInTimeLapse;
    request->saveRaw = 0;
    request->gyroCorrect = 0;
  }
  ctrlSigs->needExitTimeLapse = 0;
  ctrlSigs->timeLapse = static_cast<BYTE>(request->timeLapse);
  if ((request->captureMode & 1) != 0) {
    ctrlSigs->manualExpsUs = request->manualExpsUs;
    ctrlSigs->manualIso = request->manualIso;
  }
  if ((ctrlSigs->usbMode & kUsbSerial) == 0) {
    ctrlSigs->longitude = request->longitude;
    ctrlSigs->latitude = request->latitude;
  }
  ctrlSigs->saveRaw = static_cast<BYTE>(request->saveRaw);
  ctrlSigs->gyroCorrect = static_cast<BYTE>(request->gyroCorrect);
  ctrlSigs->saveSingle = 0;
  PostCapture(
      ctrlSigs,
      PackRemoteCapCmd(static_cast<unsigned int>(request->strobeMode), static_cast<unsigned int>(request->delayMode),
                       static_cast<unsigned int>(request->captureMode), static_cast<unsigned int>(request->evCompVal),
                       static_cast<unsigned int>(request->isoMode)));
  fprintf(g_lumoDebug,
          "RemoteCap StrobeMode:%d TimeLapse:%d DelayMode:%d CapMode:%d IsoMode:%d EvComp:%d Exposure:%d Iso:%d Raw:%d "
          "GryoCorrect:%d\n",
          request->strobeMode, request->timeLapse, request->delayMode, request->captureMode, request->isoMode,
          request->evCompVal - 128, request->manualExpsUs, request->manualIso, request->saveRaw, request->gyroCorrect);
}

// A refusal is silent on purpose: only the list shows the state.
void do_capture(ControlSignals* ctrlSigs, int client, HttpRequest* request) {
  const BYTE needSave = ctrlSigs->needSave;
  if (ctrlSigs->timeLapse == 0 && needSave != kShotAccepted && needSave != kShotRunning) {
    StartCapture(ctrlSigs, request);
  }
  send_txt(client, 200, "OK", "OK");
}

void cap_single(ControlSignals* ctrlSigs, int client, HttpRequest* request) {
  if (ctrlSigs->timeLapse == 0) {
    char path[kOriPathSize];
    LumoSinglePath(path, request->camIdx);
    remove(path);  // an earlier result
    ctrlSigs->needExitTimeLapse = 0;
    ctrlSigs->timeLapse = 0;
    ctrlSigs->manualExpsUs = request->manualExpsUs;
    ctrlSigs->manualIso = 100;
    ctrlSigs->longitude = 0;
    ctrlSigs->latitude = 0;
    ctrlSigs->saveRaw = 0;
    ctrlSigs->gyroCorrect = 0;
    ctrlSigs->saveSingle = static_cast<BYTE>(request->camIdx + 1);
    PostCapture(ctrlSigs, kSingleShotCmd);
    fprintf(g_lumoDebug, "RemoteCap Exposure:%d\n", request->manualExpsUs);
  }
  send_txt(client, 200, "OK", "OK");
}

void exit_timelapse(ControlSignals* ctrlSigs, int client, HttpRequest* /*request*/) {
  if (ctrlSigs->timeLapse != 0) ctrlSigs->needExitTimeLapse = kRequested;
  send_txt(client, 200, "OK", "OK");
}

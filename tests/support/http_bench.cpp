#include "tests/support/http_bench.h"

#include <csignal>

#include "common/httpd/server.h"
#include "common/log.h"

extern "C" FILE* twin_stderr;
extern "C" sighandler_t twin_signal(int number, sighandler_t handler);

using namespace std::chrono_literals;

HttpBench::HttpBench() {
  std::filesystem::create_directories(Disk("DCIM"));
  ctrl->serialFd = -1;
  ctrl->usbMode = kUsbEthernet;
  ctrl->deviceId = 2;
  for (Shared<int8_t>& value : ctrl->camTemp) value = 0x7F;
}

void HttpBench::Start() {
  board.PowerOn([this] {
    g_lumoDebug = twin_stderr;
    twin_signal(SIGPIPE, SIG_IGN);
    const char* interface = (ctrl->usbMode & kUsbEthernet) != 0 ? "eth0" : "wlan0";
    board.interfaces.Add(interface);
    board.interfaces.SetUp(interface, true);
    board.kernel.Spawn("control", [this] { ControlThread(); });
    board.kernel.Spawn("port 8080", [this] { LumoServerMain0(ctrl.get()); });
    board.kernel.Spawn("port 8081", [this] { LumoServerMain1(ctrl.get()); });
    for (;;) board.kernel.Spend(1s);
    return 0;
  });
  ASSERT_TRUE(
      board.RunUntil([this] { return board.network.Listening(kControl) && board.network.Listening(kBulk); }, 1min))
      << board.Log();
}

void HttpBench::ControlThread() {
  for (;;) {
    board.kernel.Spend(1ms);
    if (takesCommands && ctrl->remoteCapCmd != 0) {
      commands.push_back({ctrl->remoteCapCmd, ctrl->manualExpsUs, ctrl->manualIso, ctrl->longitude, ctrl->latitude,
                          ctrl->timeLapse, ctrl->needExitTimeLapse, ctrl->saveRaw, ctrl->gyroCorrect,
                          ctrl->saveSingle});
      ctrl->remoteCapCmd = 0;
    }
    if (calibration >= 0 && ctrl->needCompassCalibrate != 0) {
      board.kernel.Spend(3s);
      ctrl->needCompassCalibrate = static_cast<BYTE>(calibration);
      calibration = -1;
    }
    if (temperature > 0ms && ctrl->needReadTemperature != 0) {
      board.kernel.Spend(temperature);
      ctrl->needReadTemperature = 0;
    }
  }
}

#include "tests/support/snap_loop.h"

#include <algorithm>

#include "common/fpga_ctrl/device/device.h"
#include "common/log.h"
#include "venc/media_pipeline.h"

using namespace std::chrono_literals;

extern "C" FILE* twin_stderr;

SnapLoop::SnapLoop(double light) : board({.light = light}) {
  ctrl->serialFd = -1;
  ctrl->rawLoadInfo = kRawLoadEmpty;
  ctrl->thumbCamIdx = 12;
  ctrl->deviceId = 2;
  ctrl->vertexReady = -1;
  std::filesystem::create_directories(Dcim());
}

void SnapLoop::Start() {
  board.PowerOn([this] {
    g_lumoDebug = twin_stderr;
    if (LumoDeviceOpen(ctrl.get()) < 0) return -1;
    return SAMPLE_VENC_1080P_MJPEG_JPEG(ctrl.get());
  });
  board.Run(10s);
  ASSERT_FALSE(board.Exited()) << board.Log();
}

bool SnapLoop::Shoot() {
  ctrl->needSave = kShotRunning;
  ctrl->needCapture = kShotRunning;
  const bool ended = board.RunUntil(
      [this] {
        return ctrl->needSave != kShotRunning || (ctrl->needCapture != kShotRunning && ctrl->needCapture != 0);
      },
      10min);
  board.Run(500ms);  // the array goes to rest
  return ended;
}

std::vector<std::string> SnapLoop::Files() const {
  std::vector<std::string> names;
  for (const auto& file : std::filesystem::directory_iterator(Dcim())) names.push_back(file.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

#include "tests/support/http_bench.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "common/httpd/server.h"
#include "common/log.h"

extern "C" FILE* twin_stderr;
extern "C" sighandler_t twin_signal(int number, sighandler_t handler);

using namespace std::chrono_literals;

namespace {

struct Field {
  const char* name;
  int64_t (*get)(const ControlSignals&);
  void (*set)(ControlSignals&, int64_t);
  int before;
};
// clang-format off
#define FIELD(name, before)                                                                                    \
  Field{#name, [](const ControlSignals& c) { return int64_t{c.name}; },                                        \
        [](ControlSignals& c, int64_t value) { c.name = static_cast<decltype(c.name)::value_type>(value); }, before}
const Field fields[] = {
    FIELD(usbMode, kUsbEthernet), FIELD(serialFd, -1), FIELD(needCapture, 0), FIELD(needSave, 0), FIELD(deviceId, 2),
    FIELD(serialNo, 0), FIELD(lastExposure, 0), FIELD(lastIso, 0), FIELD(batCharging, 0), FIELD(batVoltageValIdx, 0),
    FIELD(gpsState, 0), FIELD(remoteCapCmd, 0), FIELD(needExitTimeLapse, 77), FIELD(timeLapse, 0),
    FIELD(manualExpsUs, 77), FIELD(manualIso, 77), FIELD(longitude, 77), FIELD(latitude, 77), FIELD(saveRaw, 77),
    FIELD(gyroCorrect, 77), FIELD(saveSingle, 77), FIELD(needUpdate, 77), FIELD(needShutdown, 77),
    FIELD(needFormat, 77), FIELD(needCompassCalibrate, 0), FIELD(needReadTemperature, 0), FIELD(btnSetting, 77),
    FIELD(shutdownMode, 77), FIELD(muteMode, 77), FIELD(prefixLen, 77), FIELD(errFileNum, 0), FIELD(sessionNum, 0),
    FIELD(actionTime, 1)};
#undef FIELD
// clang-format on

}  // namespace

HttpBench::HttpBench() : open(board.descriptors.OpenCount()) {
  std::filesystem::create_directories(Disk("DCIM"));
  for (Shared<int8_t>& value : ctrl->camTemp) value = 0x7F;
  for (Shared<BYTE>& sample : ctrl->batVoltageVal) sample = 63;
  Prepare();
}

void HttpBench::Prepare() {
  for (const Field& field : fields) field.set(*ctrl, field.before);
  std::strcpy(ctrl->prefix, "before");
  found.clear();
  Set("");
}

void HttpBench::Set(const std::string& words) {
  std::istringstream all(words);
  for (std::string name, value; std::getline(all >> std::ws, name, '=') && all >> value;) {
    const auto field = std::ranges::find(fields, name, &Field::name);
    if (field == std::end(fields)) throw std::invalid_argument("no field " + name);
    field->set(*ctrl, std::stoll(value));
  }
  for (size_t i = 0; i < std::size(fields); i++) before_[i] = fields[i].get(*ctrl);
}

std::string HttpBench::Written() const {
  std::string all;
  for (size_t i = 0; i < std::size(fields); i++) {
    const int64_t value = fields[i].get(*ctrl);
    const bool isStamp = fields[i].name == std::string("actionTime");
    if (value != before_[i]) all += isStamp ? "stamp " : fields[i].name + ("=" + std::to_string(value)) + " ";
  }
  const std::string prefix(ctrl->prefix, strnlen(ctrl->prefix, sizeof(ctrl->prefix)));
  if (prefix != "before") all += "prefix=" + prefix + " ";
  return all.substr(0, all.find_last_not_of(' ') + 1);
}

void HttpBench::Start() {
  board.PowerOn([this] {
    g_lumoDebug = twin_stderr;
    twin_signal(SIGPIPE, SIG_IGN);
    board.interfaces.Add("eth0");
    board.interfaces.SetUp("eth0", true);
    board.kernel.Spawn("control", [this] { ControlThread(); });
    board.kernel.Spawn("port 8080", [this] { LumoServerMain0(ctrl.get()); });
    board.kernel.Spawn("port 8081", [this] { LumoServerMain1(ctrl.get()); });
    for (;;) board.kernel.Spend(1s);
    return 0;
  });
  const auto isOpen = [this] { return board.network.Listening(kControl) && board.network.Listening(kBulk); };
  ASSERT_TRUE(board.RunUntil(isOpen, 1min)) << board.Log();
  open = board.descriptors.OpenCount();
}

void HttpBench::TearDown() {
  EXPECT_EQ(board.stdio.OpenOnDisk(), 0u);
  EXPECT_EQ(board.descriptors.OpenCount(), open);
  EXPECT_TRUE(board.Complaints().empty());
}

void HttpBench::ControlThread() {
  for (;; board.kernel.Spend(1ms)) {
    if (!isAttentive || ctrl->remoteCapCmd + ctrl->needCompassCalibrate + ctrl->needReadTemperature == 0) continue;
    found = Written();
    if (ctrl->needReadTemperature != 0) board.kernel.Spend(temperature);
    ctrl->remoteCapCmd = 0;
    if (ctrl->needCompassCalibrate != 0) ctrl->needCompassCalibrate = calibration;
    ctrl->needReadTemperature = 0;
  }
}

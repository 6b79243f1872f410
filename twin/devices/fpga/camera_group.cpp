#include "twin/devices/fpga/camera_group.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

namespace twin {

namespace {

constexpr uint16_t kFirstSensorRegister = 0x0100;
constexpr Duration kOwnRegister = 0ns;  // a module's registers are read out of the fabric: no bus to cross

// Four lanes of ten bits at the sensors' rate.
constexpr Sensor::Output kLanes = {150e6, 0x16};
constexpr std::pair<uint8_t, uint8_t> kReceiverSetUp[] = {
    {0x02, 0x19}, {0x04, 0x02}, {0x05, 0x03}, {0x06, 0x01}, {0x09, 0x01}, {0x0A, 0x01}, {0x14, 0xC2},
    {0x15, 0x4C}, {0x36, 0x2C}, {0x17, 0x2B}, {0x18, 0x2B}, {0x19, 0x0C}, {0x1E, 0x0A}, {0x1F, 0x0A},
};

uint16_t RegisterOf(const CameraCommand& command) { return static_cast<uint16_t>(command.h << 8 | command.m); }

std::string Describe(const char* what, const CameraCommand& command) {
  char text[96];
  std::snprintf(text, sizeof text, "%s: command 0x%02X camera %d data %02X %02X %02X", what, command.code,
                command.camera, command.h, command.m, command.l);
  return text;
}

}  // namespace

CameraGroup::CameraGroup(Kernel& kernel, SceneMeter& meter, std::vector<Sensor*> sensors, int first,
                         std::function<void(std::string)> complain,
                         std::function<void(const SceneMeter::Step&)> stepEnds)
    : kernel_(kernel),
      meter_(meter),
      sensors_(std::move(sensors)),
      first_(first),
      complain_(std::move(complain)),
      stepEnds_(std::move(stepEnds)) {}

bool CameraGroup::Has(int camera) const {
  return camera == CameraCommand::kAllCameras ||
         (camera >= first_ && camera < first_ + static_cast<int>(sensors_.size()));
}

void CameraGroup::Push(const CameraCommand& command) {
  if (queue_.size() >= kDepth) return complain_(Describe("lost in a full command FIFO", command));
  queue_.push_back(command);
  Next();
}

void CameraGroup::Clear() {
  queue_.clear();
  kernel_.Cancel(event_);
  kernel_.Cancel(syncFall_);
  busy_ = false;
  sync_ = Sync::None;
}

void CameraGroup::Reset() {
  Clear();
  held_ = false;
  subDelay_ = 0;
  cursor_ = {};
  receivers_.fill(0);
  fetched_ = 0;
  lastRead_ = 0;
  lastReadFresh_ = false;
}

void CameraGroup::TakesLastRead() {
  if (!std::exchange(lastReadFresh_, false)) complain_("the byte of a sensor read is taken that has not come");
}

bool CameraGroup::Receives(const Sensor& sensor) const {
  if (!(sensor.Lanes() == kLanes)) return false;
  return std::all_of(std::begin(kReceiverSetUp), std::end(kReceiverSetUp),
                     [this](const auto& row) { return receivers_[row.first] == row.second; });
}

void CameraGroup::SetHeld(bool held) {
  held_ = held;
  Next();
}

void CameraGroup::Next() {
  while (!busy_ && !held_ && !queue_.empty()) {
    const CameraCommand command = queue_.front();
    queue_.pop_front();
    Begin(command);
  }
}

void CameraGroup::Begin(const CameraCommand& command) {
  switch (command.code) {
    case 0xB0: {
      SceneMeter::Step step;
      const int index = (command.h >> 3) & 7;
      fetched_ = meter_.Fetch(cursor_, index, &step);
      if (index == 7) stepEnds_(step);
      break;
    }
    case 0xE1: subDelay_ = static_cast<uint32_t>(command.h << 16 | command.m << 8 | command.l); break;
    case 0xE2: BusyFor(subDelay_ * kDelayUnit, [] {}); break;
    case 0xE3:
    case 0xE4: WaitForSync(command.code == 0xE3); break;
    case 0xF0:
      // A module gets its byte at once, and the time of the write passes behind it.
      if (ForModule(command)) {
        module_->WriteModule(RegisterOf(command), command.l);
        BusyFor(kControlWrite, [] {});
        break;
      }
      BusyFor(kControlWrite, [this, command] { Write(command, command.l); });
      break;
    case 0xF1: BusyFor(kControlWrite, [this, command, value = fetched_] { Write(command, value); }); break;
    case 0xF2: BusyFor(ForModule(command) ? kOwnRegister : kControlRead, [this, command] { ReadOne(command); }); break;
    default: break;
  }
}

void CameraGroup::BusyFor(Duration time, std::function<void()> effect) {
  busy_ = true;
  event_ = kernel_.After(time, [this, effect = std::move(effect)] {
    effect();
    Finish();
  });
}

void CameraGroup::Finish() {
  busy_ = false;
  sync_ = Sync::None;
  Next();
}

void CameraGroup::WaitForSync(bool rising) {
  busy_ = true;
  sync_ = rising ? Sync::Rising : Sync::Falling;
  if (subDelay_ > 0) {
    event_ = kernel_.After(subDelay_ * kDelayUnit, [this] {
      kernel_.Cancel(syncFall_);
      Finish();
    });
  }
  const Sensor& sensor = *sensors_.front();
  if (!rising && sensor.InFrame()) {
    const Time fall = sensor.FrameStart() + sensor.SyncLength();
    if (fall > kernel_.Now()) {
      syncFall_ = kernel_.At(fall, [this] {
        kernel_.Cancel(event_);
        Finish();
      });
    }
  }
}

void CameraGroup::FrameStarts(int camera) {
  if (camera != first_ || sync_ == Sync::None) return;
  if (sync_ == Sync::Rising) {
    kernel_.Cancel(event_);
    Finish();
    return;
  }
  kernel_.Cancel(syncFall_);
  syncFall_ = kernel_.After(sensors_.front()->SyncLength(), [this] {
    kernel_.Cancel(event_);
    Finish();
  });
}

bool CameraGroup::ForModule(const CameraCommand& command) const {
  return module_ != nullptr && command.camera == first_ && RegisterOf(command) >= ModulePort::kFirstRegister;
}

void CameraGroup::Write(const CameraCommand& command, uint8_t value) {
  if (RegisterOf(command) < kFirstSensorRegister) {
    receivers_[RegisterOf(command)] = value;
    return;
  }
  bool answered = true;
  for (size_t i = 0; i < sensors_.size(); i++) {
    if (command.camera != CameraCommand::kAllCameras && command.camera != first_ + static_cast<int>(i)) continue;
    answered = sensors_[i]->Write(RegisterOf(command), value) && answered;
  }
  if (!answered) complain_(Describe("no sensor answers a write", command));
}

void CameraGroup::ReadOne(const CameraCommand& command) {
  constexpr uint8_t kNoAnswer = 0xFF;  // the bus's pull-up
  lastReadFresh_ = true;
  if (ForModule(command)) {
    lastRead_ = module_->ReadModule(RegisterOf(command));
    return;
  }
  if (RegisterOf(command) < kFirstSensorRegister) {
    lastRead_ = receivers_[RegisterOf(command)];
    return;
  }
  Sensor& sensor = *sensors_[static_cast<size_t>(command.camera - first_)];
  if (!sensor.Answers()) complain_(Describe("no sensor answers a read", command));
  lastRead_ = sensor.Read(RegisterOf(command)).value_or(kNoAnswer);
}

}  // namespace twin

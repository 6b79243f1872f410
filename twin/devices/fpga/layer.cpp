#include "twin/devices/fpga/layer.h"

#include <algorithm>
#include <cstdio>

namespace twin {

namespace {

constexpr int kGroups = 2;

}  // namespace

Layer::Layer(int index, LayerParts parts) : index_(index), parts_(std::move(parts)), capture_(index, kGroups, parts_) {
  const int cameras = kCamerasOfLayer[static_cast<size_t>(index)];
  for (int camera = 0; camera < cameras; camera++) {
    sensors_.emplace_back(parts_.kernel, parts_.faults, ImageNumber(index, camera), parts_.complain);
  }
  for (int group = 0; group < kGroups; group++) {
    const int first = group == 0 ? 0 : kGroupSplit;
    const int last = group == 0 ? kGroupSplit : cameras;
    std::vector<Sensor*> members;
    for (int camera = first; camera < last; camera++) members.push_back(&At(camera));
    groups_.emplace_back(parts_.kernel, parts_.meter, members, first, parts_.complain,
                         [this, group, first, last](const SceneMeter::Step& step) {
                           capture_.StepEnds(group, first, last - first, step);
                         });
    for (int camera = first; camera < last; camera++) {
      At(camera).SetListener({[this, camera](const Sensor::Exposure& taken) { capture_.FrameEnds(camera, taken); },
                              [this, camera, group] {
                                CameraGroup& its = groups_[static_cast<size_t>(group)];
                                if (!its.Receives(At(camera))) return;
                                capture_.FrameStarts(camera);
                                its.FrameStarts(camera);
                              }});
    }
  }
}

void Layer::Reset() {
  parts_.kernel.Cancel(mainDelay_);
  mainDelayRuns_ = false;
  fifoReset_ = false;
  SetSensorReset(true);
  for (CameraGroup& group : groups_) group.Reset();
  capture_.Reset();
  parts_.chain.Reset(index_);
}

void Layer::Queue(const CameraCommand& command) {
  if (fifoReset_) return Complain("command into a FIFO in reset", command);
  bool taken = false;
  for (CameraGroup& group : groups_) {
    if (!group.Has(command.camera)) continue;
    group.Push(command);
    taken = true;
  }
  if (!taken) Complain("no such camera", command);
}

void Layer::SetSensorReset(bool held) {
  sensorsRun_ = !held;
  for (Sensor& sensor : sensors_) sensor.SetReset(held);
}

void Layer::SetFifoReset(bool high) {
  fifoReset_ = high;
  if (!high) return;
  for (CameraGroup& group : groups_) group.Clear();
}

void Layer::RunMainDelay(uint32_t units) {
  parts_.kernel.Cancel(mainDelay_);
  mainDelayRuns_ = true;
  for (CameraGroup& group : groups_) group.SetHeld(true);
  mainDelay_ = parts_.kernel.After(units * kDelayUnit, [this] {
    mainDelayRuns_ = false;
    for (CameraGroup& group : groups_) group.SetHeld(false);
  });
}

void Layer::PrepareCapture() {
  capture_.Prepare();
  for (CameraGroup& group : groups_) group.RestartSteps();
  if (index_ == kMeasuringLayer) parts_.meter.Prepare();
}

void Layer::WriteSetByte(const CameraCommand& command) {
  const int set = command.h >> 5;
  if (index_ != kMeasuringLayer || set < 1 || set > kBrackets) return Complain("no such exposure set", command);
  parts_.meter.WriteSet(set, (command.h >> 2) & 7, command.m);
}

void Layer::Send(uint8_t slot) {
  if (parts_.chain.Busy(index_)) return parts_.complain("a load while the layer sends, slot " + std::to_string(slot));
  if (slot >= kSlots) return parts_.complain("a load from outside the store, slot " + std::to_string(slot));
  StoredFrame black;  // an empty slot holds no light
  black.camera = ImageNumber(index_, std::min(slot / kBrackets, kCamerasOfLayer[static_cast<size_t>(index_)] - 1));
  black.bracket = slot % kBrackets;
  black.pairsExchanged = PairsExchanged(black.camera);
  parts_.chain.Send(index_, capture_.Slot(slot).value_or(black));
}

bool Layer::Ready() const {
  return !mainDelayRuns_ &&
         std::all_of(groups_.begin(), groups_.end(), [](const CameraGroup& group) { return group.Idle(); });
}

size_t Layer::CommandsWaiting() const {
  size_t most = 0;
  for (const CameraGroup& group : groups_) most = std::max(most, group.Waiting());
  return most;
}

void Layer::Complain(const char* what, const CameraCommand& command) const {
  char text[128];
  std::snprintf(text, sizeof text, "layer %d: %s: command 0x%02X camera %d data %02X %02X %02X", index_, what,
                command.code, command.camera, command.h, command.m, command.l);
  parts_.complain(text);
}

}  // namespace twin

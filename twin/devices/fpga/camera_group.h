// One control bus of a layer with its cameras, and the command FIFO that feeds it. A layer has two: cameras 0 to 6,
// and 7 and up. A broadcast goes into both; each carries its commands out in order, at its own pace.
//
// Commands (H, M, L are the frame's bytes): 0xB0 fetch byte H >> 3 of the present exposure set; 0xE1 load the sub
// delay; 0xE2 run it; 0xE3, 0xE4 wait for a rising, falling frame sync, at most as long as the loaded delay, 0 is for
// ever; 0xF0 write register HM = L; 0xF1 write the fetched byte to register HM; 0xF2 read register HM. Frame sync is
// that of the group's first camera. Registers below 0x0100 are those of the group's line receivers, which keep what
// they get; those of the first camera from 0xFF00 up belong to a module, where there is a port for one.
//
// A frame is received only while the line receivers hold the one set-up that is known to work, for sensors with lanes
// of 150 MHz and their output timing 0x16. Of the receivers nothing more is known: any other value counts as wrong.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "twin/devices/fpga/array_timing.h"
#include "twin/devices/fpga/module_port.h"
#include "twin/devices/fpga/scene_meter.h"
#include "twin/devices/fpga/sensor.h"
#include "twin/kernel/kernel.h"

namespace twin {

struct CameraCommand {
  uint8_t code = 0;
  uint8_t camera = 0;  // within the layer, or kAllCameras
  uint8_t h = 0, m = 0, l = 0;

  static constexpr uint8_t kAllCameras = 15;
};

class CameraGroup {
 public:
  static constexpr size_t kDepth = 512;
  static constexpr size_t kAlmostFull = 384;

  // `first`: place in the layer of sensors[0]. `stepEnds` hears what each exposure step was.
  CameraGroup(Kernel& kernel, SceneMeter& meter, std::vector<Sensor*> sensors, int first,
              std::function<void(std::string)> complain, std::function<void(const SceneMeter::Step&)> stepEnds);

  void SetModule(ModulePort& module) { module_ = &module; }

  bool Has(int camera) const;
  void Push(const CameraCommand& command);
  void Clear();             // FIFO reset: what waits and what is being done is dropped
  void Reset();             // the fabric's reset
  void SetHeld(bool held);  // while held, no new command begins
  void RestartSteps() { cursor_ = {}; }
  void FrameStarts(int camera);
  bool Receives(const Sensor& sensor) const;

  bool Idle() const { return queue_.empty() && !busy_; }
  bool AlmostFull() const { return queue_.size() >= kAlmostFull; }
  uint8_t LastRead() const { return lastRead_; }  // of a sensor register
  void TakesLastRead();                           // complains if it was taken before or is not there yet
  size_t Waiting() const { return queue_.size(); }

 private:
  void Next();
  void Begin(const CameraCommand& command);
  void Finish();
  void BusyFor(Duration time, std::function<void()> effect);
  void WaitForSync(bool rising);
  void Write(const CameraCommand& command, uint8_t value);
  void ReadOne(const CameraCommand& command);
  bool ForModule(const CameraCommand& command) const;

  Kernel& kernel_;
  SceneMeter& meter_;
  std::vector<Sensor*> sensors_;
  const int first_;
  ModulePort* module_ = nullptr;
  std::function<void(std::string)> complain_;
  std::function<void(const SceneMeter::Step&)> stepEnds_;

  std::deque<CameraCommand> queue_;
  bool held_ = false;
  bool busy_ = false;
  enum class Sync { None, Rising, Falling } sync_ = Sync::None;
  Kernel::EventId event_ = 0;  // end of the present command
  Kernel::EventId syncFall_ = 0;
  uint32_t subDelay_ = 0;  // delay units
  SceneMeter::Cursor cursor_;
  std::array<uint8_t, 0x100> receivers_{};
  uint8_t fetched_ = 0;  // the calculated value
  uint8_t lastRead_ = 0;
  bool lastReadFresh_ = false;
};

}  // namespace twin

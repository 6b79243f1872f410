// A layer's part of a shot: which frames of its cameras count, and the store that they go into.
//
// From capture start on, every exposure step that a group of cameras has carried out says what their next frame is:
// one to measure, or a bracket, which goes into the store. When all groups have had the step with the end mark, the
// configuration is finished; when all brackets of all cameras are in the layer's memory, the save is. No frame is
// stored after as many frame starts of brackets as the layer's limit allows. A row whose line length differs in its
// high byte from what the layer was told is a row error, and so is each row of a frame of another size. Only a prepared
// capture starts. Not judged: a limit higher than needed, the low byte of the line length, the delays between the
// sensors' starts.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "twin/devices/fpga/array_timing.h"
#include "twin/devices/fpga/layer_parts.h"
#include "twin/devices/fpga/sensor.h"

namespace twin {

class LayerCapture {
 public:
  LayerCapture(int layer, int groups, LayerParts& parts);

  // commands
  void Reset();    // the fabric's reset: the frames are lost
  void Prepare();  // a new capture; settings stay
  void Start();
  void SetLineLengthHigh(uint8_t high) { lineLengthHigh_ = high; }
  void SetFrameStartLimit(uint8_t limit) { frameStartLimit_ = limit; }

  // from the groups and the sensors
  void StepEnds(int group, int firstCamera, int cameras, const SceneMeter::Step& step);
  void FrameStarts(int camera);
  void FrameEnds(int camera, const Sensor::Exposure& taken);

  // state
  bool Configured() const { return configured_; }
  bool Saved() const { return saved_; }
  uint32_t RowErrors() const { return rowErrors_; }
  const std::optional<StoredFrame>& Slot(int slot) const { return store_[static_cast<size_t>(slot)]; }
  std::vector<StoredFrame> FramesInReplayOrder() const;
  const char* StateName() const;

 private:
  struct Tag {
    enum class Kind { None, Measure, Bracket } kind = Kind::None;
    SceneMeter::Step step;
  };
  struct CameraFrames {
    Tag present, next;
  };
  int Cameras() const { return kCamerasOfLayer[static_cast<size_t>(layer_)]; }
  void FinishConfiguration(int brackets);
  void Store(int camera, int bracket, const Sensor::Exposure& taken);
  void LookIfSaved();

  const int layer_;
  const int groups_;
  LayerParts& parts_;
  std::vector<CameraFrames> frames_;  // by camera
  std::array<std::optional<StoredFrame>, kSlots> store_;
  uint8_t lineLengthHigh_ = 0;
  uint8_t frameStartLimit_ = 0;
  bool prepared_ = false;
  bool capturing_ = false;
  unsigned groupsDone_ = 0;  // a bit a group that has had the end mark
  int brackets_ = 0;         // of this capture; 0 until the configuration is finished
  bool configured_ = false;
  bool saved_ = false;
  int bracketStarts_ = 0;  // frame starts of brackets, over all cameras
  uint32_t rowErrors_ = 0;
  Kernel::EventId saveEvent_ = 0;
};

}  // namespace twin

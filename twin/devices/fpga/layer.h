// One FPGA layer: what a frame on the bus does to it and reads from it. Commands and registers: layer_registers.cpp.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "twin/devices/fpga/camera_group.h"
#include "twin/devices/fpga/layer_capture.h"
#include "twin/devices/fpga/layer_parts.h"
#include "twin/devices/fpga/sensor.h"

namespace twin {

class Layer {
 public:
  Layer(int index, LayerParts parts);

  // One frame on the bus that is addressed to this layer.
  void Write(const CameraCommand& command);
  uint8_t Read(uint8_t code);

  // The fabric's reset, or the end of its clock or configuration: all is forgotten, the sensors are held in reset.
  void Reset();

  // A module that answers in camera 0's range of registers. It outlives the layer.
  void SetModule(ModulePort& module) { groups_[0].SetModule(module); }

  Sensor& At(int camera) { return sensors_[static_cast<size_t>(camera)]; }
  // What a person sees who looks into it: the registers that it has, as a read would find them if nothing were broken.
  struct Register {
    uint8_t code;
    const char* name;
    uint8_t value;
  };
  std::vector<Register> Registers() const;
  const LayerCapture& Capture() const { return capture_; }
  size_t CommandsWaiting() const;
  bool SensorsRun() const { return sensorsRun_; }  // they are out of their reset

 private:
  friend struct LayerRegisters;

  void Queue(const CameraCommand& command);
  void SetSensorReset(bool held);
  void SetFifoReset(bool high);
  void RunMainDelay(uint32_t units);
  void PrepareCapture();
  void WriteSetByte(const CameraCommand& command);
  void Send(uint8_t slot);
  bool Ready() const;
  void Complain(const char* what, const CameraCommand& command) const;

  const int index_;
  LayerParts parts_;
  LayerCapture capture_;
  std::deque<Sensor> sensors_;
  std::deque<CameraGroup> groups_;
  bool sensorsRun_ = false;
  bool fifoReset_ = false;
  bool mainDelayRuns_ = false;
  Kernel::EventId mainDelay_ = 0;
};

}  // namespace twin

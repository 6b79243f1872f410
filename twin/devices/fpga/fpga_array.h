// The camera array: three FPGA layers with 25 sensors and their frame stores, behind one SPI bus and five pins.
//
// Bus face: Spi(), opened as /dev/spidev0.0; the clock control register 0x12010040, which this device is (value 4
// clocks the configuration, 0x14 the fabric); PROGRAM_B, DONE, INIT and reset, SUSPEND, POWER_EN (bank 6 pins 0, 1,
// bank 5 pin 7, bank 6 pin 2, bank 0 pin 2). A frame is four words of address byte and data byte; a read answers in the
// second word received, every other byte received is 0. Frames that are not well formed are complained about and do
// nothing.
//
// The fabric runs when it is powered, configured, not suspended, clocked with 0x14, and has had a reset pulse since.
// Whenever it stops, commands, captures and stored frames are forgotten and the sensors fall into reset. Only a low
// PROGRAM_B or the loss of power ends the configuration. A reset pulse that is too short starts nothing, frames to a
// fabric that is just starting are lost, and so is a PROGRAM_B under suspend: each is complained about, as is a suspend
// that takes the clock from sensors which are out of their reset.
//
// Modelled: configuration (configuration.h), the bus (spi_bus.h), commands, registers and FIFOs (layer.h,
// camera_group.h), scene measurement and exposure sets (scene_meter.h), sensors (sensor.h), captures and stores
// (layer_capture.h), replay (video_chain.h). Not modelled: pixels (they follow from what a StoredFrame says), the
// copy protection. GPS and compass are a model of their own (module_port.h).
// World face: each sensor's temperature; the light comes from the PictureSource. Fault face: array_faults.h.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "twin/device_file.h"
#include "twin/devices/fpga/array_faults.h"
#include "twin/devices/fpga/array_timing.h"
#include "twin/devices/fpga/configuration.h"
#include "twin/devices/fpga/layer.h"
#include "twin/devices/fpga/scene_meter.h"
#include "twin/devices/fpga/spi_bus.h"
#include "twin/devices/fpga/video_chain.h"
#include "twin/devices/gpio/gpio.h"
#include "twin/kernel/kernel.h"
#include "twin/light/picture_source.h"
#include "twin/register_space.h"

namespace twin {

class FpgaArray final : public RegisterDevice {
 public:
  static constexpr uint32_t kClockRegister = 0x12010040;  // claim 4 bytes

  // All arguments outlive the array.
  FpgaArray(Kernel& kernel, Faults& faults, PictureSource& pictures, GpioBanks& gpio);

  // wiring
  void SetVideoInput(VideoInput& input) { chain_.SetVideoInput(input); }
  void SetComplaints(std::function<void(std::string)> sink) { complaints_ = std::move(sink); }
  // What hangs behind layer 0 (default: nothing, and nothing answers there).
  void SetModule(ModulePort& module) { layers_[0].SetModule(module); }
  // Whether the processor's four SPI pins are connected to its controller (default: always).
  void SetSpiRouted(std::function<bool()> routed) { spi_.SetRouted(std::move(routed)); }

  // bus
  DeviceFile& Spi() { return spi_; }
  uint32_t ReadRegister(uint32_t address) override;
  void WriteRegister(uint32_t address, uint32_t value) override;
  // The board's power has gone, or is back: the processor's own registers too are at their reset values.
  void PowerOnReset();

  // world; camera is an image number, 0 to 24
  void SetTemperature(int camera, int degreesCelsius) { At(camera).SetTemperature(degreesCelsius); }

  // for tests and the console
  const char* StateName() const;                // "off", "unconfigured", "suspended", "running", ...
  const char* LayerStateName(int layer) const;  // "idle", "measuring", "bracketing", "saving", "saved", "sending"
  uint32_t Shots() const { return shots_; }     // exposures since the board was built
  uint64_t FramesSent() const { return chain_.Sent(); }
  uint64_t FramesArrived() const { return chain_.Arrived(); }
  uint64_t Transfers() const { return spi_.Transfers(); }
  int MeasuredAverage() const { return meter_.Average(); }
  const SceneMeter& Meter() const { return meter_; }
  const Sensor& SensorOf(int camera) { return At(camera); }
  std::vector<Layer::Register> Registers(int layer) { return layers_[static_cast<size_t>(layer)].Registers(); }

 private:
  Sensor& At(int camera);
  void SetPower(bool on);
  void PowerChanges(bool on);
  void ResetChanges(bool high);
  void LookAtFabric();
  void ResetLayers();
  bool Clocked() const;
  void Exchange(std::span<const uint8_t> out, std::span<uint8_t> in);
  void Frame(std::span<const uint8_t> out, std::span<uint8_t> in);
  void ReadFrame(int layer, uint8_t code, std::span<uint8_t> in);
  void LayerSaved();
  void Complain(std::string text) const;

  Kernel& kernel_;
  ArrayFaults faults_;
  std::function<void(std::string)> complaints_;
  Pin& reset_;
  Pin& suspend_;
  Pin& power_;
  SpiBus spi_;
  SceneMeter meter_;
  VideoChain chain_;
  PictureSource& pictures_;
  std::deque<Layer> layers_;
  Configuration configuration_;
  uint32_t clock_ = 0;
  Time awakeAt_{0};       // when the fabric's clock runs again after suspend
  bool running_ = false;  // the fabric has had its reset pulse
  Time startedAt_{0};     // when it had
  std::optional<Time> resetLowAt_, powerLowAt_;
  uint32_t shots_ = 0;
};

}  // namespace twin

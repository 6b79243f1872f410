// The module with GPS receiver and compass behind layer 0.
//
// Bus face: one byte a register, least significant first. 0xFF00 latitude and 0xFF04 longitude, 32 bits signed: whole
// degrees x 10,000,000 plus minutes x 100,000, south and west negative, 0 without a fix. 0xFF08, 0xFF0A, 0xFF0C the
// magnetic field along the camera's x, y, z, 16 bits signed, 7000 is the full field. Writing 0xFF to 0xFF0E starts the
// compass calibration, to 0xFF0F ends it. Without the module every register reads 0 and writes go nowhere.
// Modelled: position and field as they are. Not modelled: time to a fix, errors of position, iron nearby and what the
// calibration does about it, torn reads of a moving position.
// World face: plugged or not, position or no fix, inclination of the field; the direction is the board's Attitude.
// Fault face: "module.read": Value, the byte that the layer gives; detail is the register.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "twin/attitude.h"
#include "twin/devices/fpga/module_port.h"
#include "twin/faults/faults.h"

namespace twin {

class GpsCompass final : public ModulePort {
 public:
  GpsCompass(Faults& faults, const Attitude& attitude);

  void SetComplaints(std::function<void(std::string)> sink) { complain_ = std::move(sink); }

  // bus
  uint8_t ReadModule(uint16_t address) override;
  void WriteModule(uint16_t address, uint8_t value) override;

  // --- world ---
  void SetPlugged(bool plugged) { plugged_ = plugged; }
  bool Plugged() const { return plugged_; }
  // Degrees; latitude -90 to 90, longitude -180 to 180. Throws std::invalid_argument for others.
  void SetPosition(double latitude, double longitude);
  void LoseFix() { latitude_ = longitude_ = 0; }
  bool HasFix() const { return latitude_ != 0 || longitude_ != 0; }
  double Latitude() const;  // degrees, as the registers can tell them
  double Longitude() const;
  // Degrees by which the field dips below the horizon; -90 to 90. 50 to begin with.
  void SetInclination(double degrees) { inclination_ = degrees; }

  // --- for tests ---
  // Calibration commands since the board was built: 'S' start, 'E' end.
  const std::string& Calibrations() const { return calibrations_; }

 private:
  int16_t Field(size_t axis) const;

  const Attitude& attitude_;
  std::function<void(std::string)> complain_;
  bool plugged_ = false;
  int32_t latitude_ = 0, longitude_ = 0;  // as the registers hold them
  double inclination_ = 50;
  std::string calibrations_;
  FaultPoint read_;
};

}  // namespace twin

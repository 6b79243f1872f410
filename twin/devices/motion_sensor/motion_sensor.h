// The motion sensor, an MPU-6050 on two GPIO wires: I2C address 0x68, registers by its register map, a FIFO of 1024
// bytes, and the motion processor (DMP).
//
// Bus face: the two wires (i2c_slave.h). Register pointer that counts up, except at the FIFO and the DMP memory. Bank
// select 0x6D, address 0x6E, memory 0x6F, which counts up within its bank; program start 0x70, 0x71. FIFO count is
// latched when its high byte is read; a full FIFO loses its oldest bytes and sets bit 4 of 0x3A, which reading clears;
// an empty one repeats its last byte. After power-on or a device reset the part sleeps; asleep it measures nothing
// and its DMP memory cannot be reached. For 100 ms behind a device reset registers take nothing and read 0.
// The FIFO is filled at the sample rate with what 0x23 names, and by the DMP at the rate of its program, which runs
// when it is loaded, switched on, and all axes are on. Nothing is made before somebody looks: an idle part costs
// nothing.
// Complaints: what the bus objects to (i2c_slave.h); a write to a register that the part's register map reserves; the
// DMP switched on without its program, with a program that has been written over where nothing is to be set or with
// what is no setting (motion_program.h), or with another rate or range than its program counts on (200 Hz, 2000 degrees
// per second, 2 g). Such a program does not run: there are no packets.
// It sits in the camera turned half around its z axis: its x and y are the camera's, reversed.
// Modelled further: accelerometer, gyroscope and temperature registers, ranges, self test against the factory's trim,
// yaw counted from the DMP's start. Not modelled: angular rates while the camera is turned, start-up time of the
// gyroscope, filters beyond the sample rate they imply, which clock it runs by, the second bus, motion detection,
// interrupt pin; rests of 50 ms behind a change of its sensors or an emptying of the FIFO.
// World face: the board's Attitude; SetNoise, SetPart. Fault face: below.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>

#include "twin/attitude.h"
#include "twin/devices/gpio/gpio.h"
#include "twin/devices/motion_sensor/bus_monitor.h"
#include "twin/devices/motion_sensor/i2c_slave.h"
#include "twin/devices/motion_sensor/motion_program.h"
#include "twin/faults/faults.h"
#include "twin/kernel/kernel.h"

namespace twin {

class MotionSensor final : private I2cPart {
 public:
  static constexpr size_t kFifoSize = 1024;

  // `seed` is for the noise. All else outlives this.
  MotionSensor(Kernel& kernel, Faults& faults, Attitude& attitude, Pin& clock, Pin& data, uint64_t seed);

  void SetComplaints(std::function<void(std::string)> sink) { complain_ = std::move(sink); }
  void PowerOnReset();

  // --- world ---
  // Off: every packet tells the attitude to the last bit. On, the default: a fixed error of up to 0.05 degrees in each
  // axis, drawn from the seed, and 0.02 degrees of noise.
  void SetNoise(bool on);
  // Which of the makers' parts is fitted: revision 0 to 7, product 0 to 15. Default 2 and 8.
  void SetPart(int revision, int product);

  // --- for tests and the console ---
  bool ProgramRuns() const { return packets_.runs; }
  size_t InFifo() const { return fifo_.size(); }  // as of the last look
  uint64_t BusBytes() const { return slave_.Bytes(); }

  // --- faults ---
  // "motion.absent": any effect; nothing is soldered there (asked at each address).
  // "motion.ack": any effect; one byte is not acknowledged, addresses too; detail is the register, -1 for an address.
  // "motion.hang": any effect; it holds the data line low, until a start at which no rule says so.
  // "motion.garbage": Value: a byte that it sends is that; any other effect: it is drawn. Detail is the register.
  // "motion.memory": any effect; a byte written to the DMP memory arrives inverted. Detail is its address.

 private:
  struct Stream {
    bool runs = false;
    Duration period{0};
    Time next{0};
    uint64_t number = 0;  // of the next sample
  };
  struct Motion {
    std::array<double, 3> accel;  // g
    std::array<double, 3> gyro;   // degrees per second
  };

  bool HoldsDataLow() override;
  void Complain(const std::string& what) override { complain_("motion sensor: " + what); }
  bool Addressed(uint8_t address, bool reads) override;
  bool Written(uint8_t byte) override;
  uint8_t Read() override;

  void DeviceReset();
  void WriteRegister(uint8_t address, uint8_t value);
  uint8_t ReadRegister(uint8_t address);
  void ControlUser(uint8_t value);
  void Advance();
  void JudgeProgram();

  bool Asleep() const;
  Duration SamplePeriod() const;
  void Retune();
  static void Tune(Stream& stream, bool runs, Duration period, Time now);
  void CatchUp();
  void Skip(Stream& stream);
  void Fill(const std::vector<uint8_t>& bytes);
  std::vector<uint8_t> Samples() const;
  std::vector<uint8_t> Packet();

  Motion Measure(uint64_t number) const;
  std::array<int16_t, 7> RawRegisters(uint64_t number) const;  // accelerometer, temperature, gyroscope
  std::array<double, 4> Quaternion(const Rotation& mounting) const;
  double Noise(uint64_t number, uint64_t what) const;  // about normal, deviation 1; always the same for the same
  uint8_t& At(uint8_t address) { return registers_[address]; }
  uint8_t At(uint8_t address) const { return registers_[address]; }

  Kernel& kernel_;
  Attitude& attitude_;
  std::function<void(std::string)> complain_;
  const uint64_t seed_;
  bool noise_ = true;
  int revision_ = 2, product_ = 8;

  std::array<uint8_t, 128> registers_{};
  MotionProgram program_;
  Time resetUntil_{0};
  uint8_t pointer_ = 0;
  bool pointerFollows_ = false;  // the next byte written is a register's address
  uint16_t latchedCount_ = 0;
  uint8_t lastFifoByte_ = 0;
  std::deque<uint8_t> fifo_;
  Stream samples_;
  Stream packets_;
  double yawAtStart_ = 0;       // degrees
  bool programIsGood_ = false;  // as judged when it was switched on

  FaultPoint absent_, ack_, hang_, garbage_, memory_;
  I2cSlave slave_;
  BusMonitor monitor_;
};

}  // namespace twin

// The motion sensor's model through its two wires, spoken to by an open-drain master of the test's own.
#include "twin/devices/motion_sensor/motion_sensor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <optional>

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

using Bytes = std::vector<uint8_t>;

class MotionSensorBus : public testing::Test {
 protected:
  MotionSensorBus() {
    sensor.SetComplaints([this](std::string what) { complaints.push_back(std::move(what)); });
    Line(kScl | kSda, true);
  }
  ~MotionSensorBus() override { EXPECT_THAT(complaints, IsEmpty()); }

  // --- the master: a line is let go or pulled low, never driven high ---
  void Line(uint32_t pins, bool high) {
    gpio.WriteRegister(kBank + (pins << 2), 0);
    const uint32_t outputs = gpio.ReadRegister(kBank + 0x400);
    gpio.WriteRegister(kBank + 0x400, high ? outputs & ~pins : outputs | pins);
  }
  bool Sda() { return gpio.ReadRegister(kBank + (kSda << 2)) != 0; }
  void Start() {
    Line(kSda, true);
    Line(kScl, true);
    Line(kSda, false);
    Line(kScl, false);
  }
  void Stop() {
    Line(kSda, false);
    Line(kScl, true);
    Line(kSda, true);
  }
  bool Bit(bool out) {
    Line(kSda, out);
    Line(kScl, true);
    const bool in = Sda();
    Line(kScl, false);
    return in;
  }
  bool Send(uint8_t byte) {
    for (int bit = 7; bit >= 0; bit--) Bit((byte >> bit & 1) != 0);
    return !Bit(true);
  }
  uint8_t Receive(bool last) {
    int byte = 0;
    for (int bit = 0; bit < 8; bit++) byte = byte << 1 | (Bit(true) ? 1 : 0);
    Bit(last);
    return static_cast<uint8_t>(byte);
  }
  // With a repeated start, which our own driver never uses.
  std::optional<Bytes> Read(uint8_t address, size_t count) {
    Start();
    if (!Send(0xD0) || !Send(address)) return Stop(), std::nullopt;
    Start();
    if (!Send(0xD1)) return Stop(), std::nullopt;
    Bytes bytes;
    for (size_t i = 0; i < count; i++) bytes.push_back(Receive(i + 1 == count));
    Stop();
    return bytes;
  }
  bool Write(uint8_t address, const Bytes& bytes) {
    Start();
    bool taken = Send(0xD0) && Send(address);
    for (const uint8_t byte : bytes) taken = taken && Send(byte);
    Stop();
    return taken;
  }

  int Word(uint8_t address) {
    const Bytes bytes = Read(address, 2).value();
    return static_cast<int16_t>(bytes[0] << 8 | bytes[1]);
  }
  void Memory(uint16_t address, const Bytes& bytes) {
    ASSERT_TRUE(Write(0x6D, {static_cast<uint8_t>(address >> 8), static_cast<uint8_t>(address)}));
    ASSERT_TRUE(Write(0x6F, bytes));
  }
  // Awake with all axes, 200 Hz, a program of nothings with a mounting as it is soldered, packets of a quaternion every
  // second sample.
  void LoadProgram(uint16_t size = 3062) {
    Write(0x6B, {0x01});
    Write(0x1A, {0x02});
    Write(0x19, {4});
    for (uint16_t at = 0; at < size; at = static_cast<uint16_t>(at + 2)) Memory(at, {0, 0});
    Memory(0x426, {0x4C, 0xCD, 0x6C});
    Memory(0x42A, {0x0C, 0xC9, 0x2C});
    Memory(0x440, {0x37, 0x57, 0x76});
    Memory(0x431, {0x27, 0x47, 0x66});
    Memory(0xA9E, {0x20, 0x28, 0x30, 0x38});
    Memory(0x216, {0, 1});
  }
  std::vector<double> Quaternion() {
    const Bytes bytes = Read(0x74, 16).value();
    std::vector<double> parts;
    for (size_t i = 0; i < 16; i += 4) {
      parts.push_back(static_cast<int32_t>(static_cast<uint32_t>(bytes[i]) << 24 | bytes[i + 1] << 16 |
                                           bytes[i + 2] << 8 | bytes[i + 3]) /
                      0x1p30);
    }
    return parts;
  }

  static constexpr uint32_t kBank = 0x12146000;
  static constexpr uint32_t kScl = 0x10, kSda = 0x08;
  twin::Kernel kernel;
  twin::Faults faults{kernel};
  twin::GpioBanks gpio{faults};
  twin::Attitude attitude;
  twin::MotionSensor sensor{kernel, faults, attitude, gpio.At(6, 4), gpio.At(6, 3), 1};
  std::vector<std::string> complaints;
};

TEST_F(MotionSensorBus, AnswersItsAddressAloneAndCountsItsRegisters) {
  EXPECT_EQ(Read(0x75, 1), Bytes{0x68});
  EXPECT_EQ(Read(0x6B, 1), Bytes{0x40});  // asleep
  ASSERT_TRUE(Write(0x19, {7, 3}));
  EXPECT_EQ(Read(0x18, 3), (Bytes{0, 7, 3}));

  Start();
  EXPECT_FALSE(Send(0xD2));
  EXPECT_FALSE(Send(0x19));
  EXPECT_FALSE(Send(1));
  Stop();
  EXPECT_EQ(Read(0x19, 1), Bytes{7});

  // A start in the middle of a byte that it sends begins anew.
  Write(0x1F, {0xFF});
  Write(0x1F, {});
  Start();
  Send(0xD1);
  for (int bit = 0; bit < 3; bit++) Bit(true);
  EXPECT_EQ(Read(0x75, 1), Bytes{0x68});

  ASSERT_TRUE(Write(0x6B, {0x81}));
  ASSERT_TRUE(Write(0x19, {9}));  // lost: it still resets
  kernel.Run(100ms);
  EXPECT_EQ(Read(0x19, 1), Bytes{0});
  EXPECT_EQ(Read(0x6B, 1), Bytes{0x40});
}

TEST_F(MotionSensorBus, MeasuresGravityInItsOwnAxesAndRange) {
  sensor.SetNoise(false);
  Write(0x6B, {0x01});
  EXPECT_EQ(Word(0x3F), 16384);
  // Left side up by 30 degrees: "up" leans to the camera's left, which is against the chip's y.
  attitude.Set(0, 30, 0);
  EXPECT_NEAR(Word(0x3B), 0, 1);
  EXPECT_NEAR(Word(0x3D), -16384 / 2, 1);
  EXPECT_NEAR(Word(0x3F), 16384 * std::sqrt(0.75), 1);
  // Front down by 30 degrees: "up" leans to the camera's back, along the chip's x.
  attitude.Set(30, 0, 77);
  EXPECT_NEAR(Word(0x3B), 16384 / 2, 1);
  Write(0x1C, {0x18});
  EXPECT_NEAR(Word(0x3B), 16384 / 2 / 8, 1);
  EXPECT_NEAR(Word(0x41), (31 - 36.53) * 340, 1);

  // Factory trim of the x axis: gyroscope code 20, accelerometer code 16.
  Write(0x1B, {0x80});
  Write(0x1C, {0x80});
  attitude.Set(0, 0, 0);
  EXPECT_EQ(Read(0x0D, 1), Bytes{0x94});
  EXPECT_NEAR(Word(0x43) / 131.0 / (25 * std::pow(1.046, 19)), 1, 0.14);
  EXPECT_NEAR(Word(0x3B) / 16384.0 / (0.34 * std::pow(0.92 / 0.34, 0.5)), 1, 0.14);
}

TEST_F(MotionSensorBus, FillsItsFifoAtTheSampleRateAndLosesTheOldest) {
  sensor.SetNoise(false);
  Write(0x6B, {0x01});
  Write(0x1A, {0x01});
  Write(0x6A, {0x40});
  Write(0x23, {0x08});
  kernel.Run(50ms);
  EXPECT_EQ(Word(0x72), 50 * 6);
  EXPECT_EQ(Read(0x74, 6), (Bytes{0, 0, 0, 0, 0x40, 0}));
  attitude.Set(0, 180, 0);  // from now on upside down
  Write(0x19, {1});
  kernel.Run(10ms);
  EXPECT_EQ(Word(0x72), 49 * 6 + 5 * 6);
  EXPECT_EQ(Read(0x3A, 1), Bytes{0x01});
  EXPECT_EQ(Read(0x3A, 1), Bytes{0x00});
  for (int i = 0; i < 49; i++) EXPECT_EQ(Read(0x74, 6), (Bytes{0, 0, 0, 0, 0x40, 0})) << i;
  EXPECT_EQ(Read(0x74, 6), (Bytes{0, 0, 0, 0, 0xC0, 0}));

  kernel.Run(1h);
  EXPECT_EQ(Word(0x72), 1024);
  EXPECT_EQ(Read(0x3A, 1), Bytes{0x11});

  Write(0x6A, {0x44});  // a FIFO that is on cannot be emptied
  EXPECT_EQ(Word(0x72), 1024);
  Write(0x23, {0});
  Write(0x6A, {0x04});
  EXPECT_EQ(Word(0x72), 0);
  Write(0x6A, {0x40});
  const uint8_t last = Read(0x74, 1).value()[0];
  EXPECT_THAT(Read(0x74, 5).value(), Each(last));
}

TEST_F(MotionSensorBus, TellsTheAttitudeAsThePacketsWereMade) {
  sensor.SetNoise(false);
  LoadProgram();
  Write(0x70, {0x04, 0x00});
  attitude.Set(0, 0, 50);
  Write(0x6A, {0xC0});
  kernel.Run(10ms);
  attitude.Set(0, 0, 80);
  kernel.Run(10ms);
  attitude.Set(90, 0, 50);
  kernel.Run(10ms);
  attitude.Set(0, -60, 50);
  kernel.Run(10ms);
  const double half = std::sqrt(0.5);
  const double turned = 15 * std::numbers::pi / 180;  // half of 30 degrees, counted from where the program began
  const auto near = [](std::vector<double> parts) {
    std::vector<testing::Matcher<double>> each;
    for (const double part : parts) each.push_back(testing::DoubleNear(part, 1e-8));
    return each;
  };
  EXPECT_THAT(Quaternion(), ElementsAreArray(near({1, 0, 0, 0})));
  EXPECT_THAT(Quaternion(), ElementsAreArray(near({std::cos(turned), 0, 0, std::sin(turned)})));
  EXPECT_THAT(Quaternion(), ElementsAreArray(near({half, 0, half, 0})));
  EXPECT_THAT(Quaternion(), ElementsAreArray(near({std::sqrt(0.75), -0.5, 0, 0})));
}

// What a driver that forgets something gets.
TEST_F(MotionSensorBus, RunsTheProgramOnlyWhenAllOfItIsThere) {
  Memory(0x1FE, {1});  // asleep: lost
  Write(0x6B, {0x01});
  Memory(0x1FE, {0xA1, 0xA2, 0xA3});  // the third at the bank's beginning
  Write(0x6D, {0x01, 0xFE});
  EXPECT_EQ(Read(0x6F, 2), (Bytes{0xA1, 0xA2}));
  Write(0x6D, {0x01, 0x00});
  EXPECT_EQ(Read(0x6F, 1), Bytes{0xA3});
  LoadProgram(1024);
  Write(0x70, {0x04, 0x00});
  Write(0x6A, {0xC0});
  EXPECT_FALSE(sensor.ProgramRuns());  // it begins behind what was loaded
  Write(0x6A, {0x00});
  LoadProgram();
  Write(0x6A, {0xC0});
  EXPECT_TRUE(sensor.ProgramRuns());
  kernel.Run(95ms);
  EXPECT_EQ(Word(0x72), 9 * 16);
  Write(0x6C, {0x07});
  EXPECT_FALSE(sensor.ProgramRuns());
}

}  // namespace

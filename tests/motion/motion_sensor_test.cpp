// The motion sensor's model through its two wires: what it takes, measures, queues and tells.
#include "twin/devices/motion_sensor/motion_sensor.h"

#include <cmath>

#include "tests/support/angle_bench.h"

using testing::Each;
using testing::ElementsAreArray;
using namespace std::chrono_literals;

namespace {

using Bytes = std::vector<uint8_t>;

struct MotionSensorBus : AngleBench {
  Bytes Read(uint8_t address, uint8_t count) {
    Bytes bytes(count);
    EXPECT_EQ(LumoI2cRead(address, count, bytes.data()), 0);
    return bytes;
  }
  void Write(uint8_t address, const Bytes& bytes) {
    EXPECT_EQ(LumoI2cWrite(address, static_cast<BYTE>(bytes.size()), bytes.data()), 0);
  }
  int Word(uint8_t address) {
    const Bytes bytes = Read(address, 2);
    return static_cast<int16_t>(bytes[0] << 8 | bytes[1]);
  }
  void WriteMemory(uint16_t address, const Bytes& bytes) {
    Write(0x6D, {static_cast<uint8_t>(address >> 8), static_cast<uint8_t>(address)});
    Write(0x6F, bytes);
  }
  // Awake with all axes, 200 Hz, a program of nothings with a mounting as it is soldered, packets of a quaternion every
  // second sample.
  void LoadProgram(uint16_t size = 3062) {
    Write(0x6B, {0x01});
    Write(0x6C, {0x00});
    Write(0x1A, {0x02});
    Write(0x19, {4});
    for (uint16_t at = 0; at < size; at = static_cast<uint16_t>(at + 2)) WriteMemory(at, {0, 0});
    WriteMemory(0x426, {0x4C, 0xCD, 0x6C});
    WriteMemory(0x42A, {0x0C, 0xC9, 0x2C});
    WriteMemory(0x440, {0x37, 0x57, 0x76});
    WriteMemory(0x431, {0x27, 0x47, 0x66});
    WriteMemory(0xA9E, {0x20, 0x28, 0x30, 0x38});
    WriteMemory(0x216, {0, 1});
    Write(0x70, {0x04, 0x00});
  }
  std::vector<double> Quaternion() {
    const Bytes bytes = Read(0x74, 16);
    std::vector<double> parts;
    for (size_t i = 0; i < 16; i += 4) {
      parts.push_back(static_cast<int32_t>(static_cast<uint32_t>(bytes[i]) << 24 | bytes[i + 1] << 16 |
                                           bytes[i + 2] << 8 | bytes[i + 3]) /
                      0x1p30);
    }
    return parts;
  }
  void OnChip(const std::function<void()>& body) {
    board.motionSensor.SetNoise(false);
    OnBoard(board, body, 2h);
  }
  twin::Attitude& attitude = board.attitude;
};

TEST_F(MotionSensorBus, AnswersItsAddressAloneCountsItsRegistersAndIsReset) {
  OnChip([&] {
    Write(0x19, {7, 3});
    EXPECT_EQ(Read(0x18, 3), (Bytes{0, 7, 3}));
    LumoI2cStartBit();
    for (const BYTE byte : {0xD2, 0x19, 1}) {
      LumoI2cWriteByte(byte);
      EXPECT_EQ(LumoI2cReadAck(), 0);
    }
    LumoI2cStopBit();
    EXPECT_EQ(Read(0x19, 1), Bytes{7});
    // With a repeated start, which our own driver never uses.
    LumoI2cStartBit();
    LumoI2cWriteByte(0xD0);
    EXPECT_EQ(LumoI2cReadAck(), 1);
    LumoI2cWriteByte(0x75);
    EXPECT_EQ(LumoI2cReadAck(), 1);
    LumoI2cStartBit();
    LumoI2cWriteByte(0xD1);
    EXPECT_EQ(LumoI2cReadAck(), 1);
    EXPECT_EQ(LumoI2cReadByte(), 0x68);
    LumoI2cWriteAck(1);
    LumoI2cStopBit();

    Write(0x6B, {0x81});
    Write(0x19, {9});  // lost: it still resets
    board.kernel.Spend(100ms);
    EXPECT_EQ(Read(0x19, 1), Bytes{0});
    EXPECT_EQ(Read(0x6B, 1), Bytes{0x40});  // asleep
  });
}

TEST_F(MotionSensorBus, MeasuresGravityInItsOwnAxesAndRange) {
  OnChip([&] {
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
  });
}

TEST_F(MotionSensorBus, FillsItsFifoAtTheSampleRateAndLosesTheOldest) {
  OnChip([&] {
    Write(0x6B, {0x01});
    Write(0x1A, {0x01});
    Write(0x6A, {0x40});
    Write(0x23, {0x08});
    board.kernel.Spend(50ms);
    EXPECT_NEAR(Word(0x72) / 6, 50, 2);
    EXPECT_EQ(Read(0x74, 6), (Bytes{0, 0, 0, 0, 0x40, 0}));
    board.kernel.Spend(1h);
    EXPECT_EQ(Word(0x72), 1024);
    EXPECT_EQ(Read(0x3A, 1), Bytes{0x11});
    Write(0x6A, {0x44});  // a FIFO that is on cannot be emptied
    EXPECT_EQ(Word(0x72), 1024);
    Write(0x23, {0});
    Write(0x6A, {0x04});
    EXPECT_EQ(Word(0x72), 0);
    Write(0x6A, {0x40});
    const uint8_t last = Read(0x74, 1)[0];
    EXPECT_THAT(Read(0x74, 5), Each(last));
  });
}

TEST_F(MotionSensorBus, TellsTheAttitudeAsThePacketsWereMade) {
  OnChip([&] {
    LoadProgram();
    attitude.Set(0, 0, 50);
    Write(0x6A, {0xC0});
    for (const auto& [pitch, roll, yaw] : {std::tuple{0, 0, 50}, {0, 0, 80}, {90, 0, 50}, {0, -60, 50}}) {
      attitude.Set(pitch, roll, yaw);
      board.kernel.Spend(10ms);
    }
    const double half = std::sqrt(0.5);
    const double turned = 15 * kDegree;  // half of 30 degrees, counted from where the program began
    const auto near = [](std::vector<double> parts) {
      std::vector<testing::Matcher<double>> each;
      for (const double part : parts) each.push_back(testing::DoubleNear(part, 1e-8));
      return each;
    };
    EXPECT_THAT(Quaternion(), ElementsAreArray(near({1, 0, 0, 0})));
    EXPECT_THAT(Quaternion(), ElementsAreArray(near({std::cos(turned), 0, 0, std::sin(turned)})));
    EXPECT_THAT(Quaternion(), ElementsAreArray(near({half, 0, half, 0})));
    EXPECT_THAT(Quaternion(), ElementsAreArray(near({std::sqrt(0.75), -0.5, 0, 0})));
  });
}

// What a driver that forgets something gets.
TEST_F(MotionSensorBus, RunsTheProgramOnlyWhenAllOfItIsThere) {
  OnChip([&] {
    WriteMemory(0x1FE, {1});  // asleep: lost
    Write(0x6B, {0x01});
    WriteMemory(0x1FE, {0xA1, 0xA2, 0xA3});  // the third at the bank's beginning
    Write(0x6D, {0x01, 0xFE});
    EXPECT_EQ(Read(0x6F, 2), (Bytes{0xA1, 0xA2}));
    Write(0x6D, {0x01, 0x00});
    EXPECT_EQ(Read(0x6F, 1), Bytes{0xA3});
    LoadProgram(1024);
    Write(0x6A, {0xC0});
    EXPECT_FALSE(board.motionSensor.ProgramRuns());  // it begins behind what was loaded
    Write(0x6A, {0x00});
    LoadProgram();
    Write(0x6A, {0xC0});
    EXPECT_TRUE(board.motionSensor.ProgramRuns());
    board.kernel.Spend(95ms);
    EXPECT_EQ(Word(0x72), 9 * 16);
    Write(0x6C, {0x07});
    EXPECT_FALSE(board.motionSensor.ProgramRuns());
  });
}

}  // namespace

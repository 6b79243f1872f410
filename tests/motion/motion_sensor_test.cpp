// The motion sensor's model through its two wires: what it keeps, and which program it runs.
#include "twin/devices/motion_sensor/motion_sensor.h"

#include "common/angle_reader/dmp.h"
#include "tests/support/angle_bench.h"

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
  void WriteMemory(uint16_t address, const Bytes& bytes) {
    Write(0x6D, {static_cast<uint8_t>(address >> 8), static_cast<uint8_t>(address)});
    Write(0x6F, bytes);
  }
};

// What a driver that forgets something gets.
TEST_F(MotionSensorBus, RunsTheProgramOnlyWhenAllOfItIsThere) {
  const std::pair<const char*, std::function<void()>> wrongs[] = {
      {"", [] {}},
      {"is broken at 0x5A0", [&] { WriteMemory(0x5A0, {1}); }},
      {"is not set at 0xAA2", [&] { WriteMemory(0xAA2, {1}); }},
      {"counts on 200 samples a second", [&] { Write(0x19, {9}); }},
      {"counts on 2000 degrees per second and 2 g", [&] { Write(0x1B, {0x10}); }},
      {"is not there, only 16 bytes of it", [&] { WriteMemory(0, Bytes(16)); }},
  };
  board.motionSensor.SetNoise(false);
  OnBoard(board, [&] {
    WriteMemory(0x1FE, {1});  // asleep: lost
    Write(0x6B, {0x01});
    WriteMemory(0x1FE, {0xA1, 0xA2, 0xA3});  // the third at the bank's beginning
    Write(0x6D, {0x01, 0xFE});
    EXPECT_EQ(Read(0x6F, 2), (Bytes{0xA1, 0xA2}));
    Write(0x6D, {0x01, 0x00});
    EXPECT_EQ(Read(0x6F, 1), Bytes{0xA3});
    for (const auto& [complaint, change] : wrongs) {
      // The driver's start up to where the program would be switched on.
      ASSERT_EQ(mpu_init() | mpu_set_sensors(0x78) | mpu_set_sample_rate(200), 0);
      ASSERT_EQ(dmp_load_motion_driver_firmware() | dmp_set_orientation(172), 0);
      ASSERT_EQ(dmp_enable_feature(0x173) | dmp_set_fifo_rate(100), 0);
      Write(0x23, {0});
      Write(0x6A, {0x04});
      change();
      const bool good = *complaint == 0;
      const size_t before = board.Complaints().size();
      Write(0x6A, {0xC0});
      EXPECT_EQ(board.motionSensor.ProgramRuns(), good);
      board.kernel.Spend(95ms);
      EXPECT_EQ(Read(0x72, 2), (good ? Bytes{1, 0x20} : Bytes{0, 0})) << complaint;  // nine packets
      if (!good) {
        EXPECT_THAT(board.Complaints().at(before), testing::HasSubstr(complaint));
        complaints++;
      }
    }
    Write(0x0B, {0});
    EXPECT_THAT(board.Complaints().back(), testing::HasSubstr("write to register 11"));
    complaints++;
  });
}

}  // namespace

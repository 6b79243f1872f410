// The motion sensor's driver and the tilt that it gives, on the board: through GPIO registers, wires and the chip.
#include "common/angle_reader/angle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "common/angle_reader/dmp.h"
#include "common/angle_reader/motion_sensor.h"
#include "common/angle_reader/self_test.h"
#include "common/angle_reader/soft_i2c.h"
#include "tests/support/on_board.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using namespace std::chrono_literals;

namespace {

constexpr double kDegree = std::numbers::pi / 180;
constexpr int kTouched = 12345;

class Angle : public testing::Test {
 protected:
  ~Angle() override { EXPECT_THAT(board.Complaints(), IsEmpty()); }

  BYTE Register(BYTE address) {
    BYTE value = 0;
    EXPECT_EQ(LumoI2cRead(address, 1, &value), 0);
    return value;
  }
  std::vector<int> Memory(uint16_t address, uint16_t count) {
    BYTE bytes[16] = {};
    EXPECT_EQ(mpu_read_mem(address, count, bytes), 0);
    return {bytes, bytes + count};
  }
  int InitOnBoard() {
    int result = -100;
    OnBoard(board, [&] { result = LumoInitAngle(); });
    return result;
  }
  // The next bytes that the chip sends from its FIFO.
  void ForgePacket(const std::vector<int32_t>& quaternion) {
    uint64_t nth = 1;
    for (const int32_t part : quaternion) {
      for (int shift = 24; shift >= 0; shift -= 8) {
        board.faults.Add({.point = "motion.garbage",
                          .detail = 0x74,
                          .nth = nth++,
                          .effect = {.kind = twin::Effect::Kind::Value, .value = part >> shift & 0xFF}});
      }
    }
  }

  twin::Board board{twin::BoardOptions{}};
  int x = kTouched, y = kTouched;
};

// --- mounting ---

TEST(Mounting, PacksRowsIntoCodes) {
  const auto code = [](int8_t a, int8_t b, int8_t c) {
    const int8_t row[3] = {a, b, c};
    return inv_row_2_scale(row);
  };
  EXPECT_EQ(code(1, 0, 0), 0);
  EXPECT_EQ(code(-1, 0, 0), 4);
  EXPECT_EQ(code(0, 1, 0), 1);
  EXPECT_EQ(code(0, -1, 0), 5);
  EXPECT_EQ(code(0, 0, 1), 2);
  EXPECT_EQ(code(0, 0, -1), 6);
  EXPECT_EQ(code(0, 0, 0), 7);
  EXPECT_EQ(code(1, -1, -1), 0);  // the first that is not 0
  const int8_t matrix[9] = {-1, 0, 0, 0, -1, 0, 0, 0, 1};
  EXPECT_EQ(inv_orientation_matrix_to_scalar(matrix), 172);
}

// --- start ---

TEST_F(Angle, StartsTheChipAndLeavesItsProgramRunningAtItsRate) {
  OnBoard(board, [&] {
    const twin::Time begin = board.Now();
    ASSERT_EQ(LumoInitAngle(), 0);
    EXPECT_LT(board.Now() - begin, 2s);
    EXPECT_TRUE(board.motionSensor.ProgramRuns());

    // 200 Hz with the filter at half of it, 2000 degrees per second, 2 g, all axes on, the gyroscope's clock.
    EXPECT_EQ(Register(0x19), 4);
    EXPECT_EQ(Register(0x1A), 2);
    EXPECT_EQ(Register(0x1B), 0x18);
    EXPECT_EQ(Register(0x1C), 0);
    EXPECT_EQ(Register(0x6B), 1);
    EXPECT_EQ(Register(0x6C), 0);
    EXPECT_EQ(Register(0x6A), 0xC0);
    EXPECT_EQ(Register(0x23), 0);
    EXPECT_EQ(Register(0x38), 0x02);

    EXPECT_THAT(Memory(0x426, 3), ElementsAre(0x4C, 0xCD, 0x6C));
    EXPECT_THAT(Memory(0x42A, 3), ElementsAre(0x0C, 0xC9, 0x2C));
    EXPECT_THAT(Memory(0x440, 3), ElementsAre(0x37, 0x57, 0x76));
    EXPECT_THAT(Memory(0x431, 3), ElementsAre(0x27, 0x47, 0x66));
    EXPECT_THAT(Memory(0x068, 4), ElementsAre(0x02, 0xCA, 0xE3, 0x09));
    EXPECT_THAT(Memory(0xAA7, 10), ElementsAre(0xA3, 0xC0, 0xC8, 0xC2, 0xC4, 0xCC, 0xC6, 0xA3, 0xA3, 0xA3));
    EXPECT_THAT(Memory(0xAB6, 1), ElementsAre(0x20));
    EXPECT_THAT(Memory(0x4B8, 9), ElementsAre(0xB8, 0xAA, 0xB3, 0x8D, 0xB4, 0x98, 0x0D, 0x35, 0x5D));
    EXPECT_THAT(Memory(0xAA2, 4), ElementsAre(0xB2, 0x8B, 0xB6, 0x9B));
    EXPECT_THAT(Memory(0x8B0, 1), ElementsAre(0xF8));
    EXPECT_THAT(Memory(0x73D, 1), ElementsAre(0xD9));
    EXPECT_THAT(Memory(0xA98, 4), ElementsAre(0x8B, 0x8B, 0x8B, 0x8B));
    EXPECT_THAT(Memory(0xA9E, 4), ElementsAre(0x20, 0x28, 0x30, 0x38));
    EXPECT_THAT(Memory(0x216, 2), ElementsAre(0, 1));
    EXPECT_THAT(Memory(0xAC1, 12), ElementsAre(0xFE, 0xF2, 0xAB, 0xC4, 0xAA, 0xF1, 0xDF, 0xDF, 0xBB, 0xAF, 0xDF, 0xDF));
    EXPECT_EQ(dmp.packet_length, 32);
    EXPECT_EQ(dmp.feature_mask, 0x173 | 0x08);

    EXPECT_LT(mpu_load_firmware(3062, dmp_memory, 0x0400, 200), 0);
    EXPECT_LT(mpu_set_sample_rate(100), 0);  // not while the program runs
  });
  EXPECT_THAT(board.Log(), HasSubstr("LumoInitAngle OK\n"));
  EXPECT_THAT(board.Log(), Not(HasSubstr("error")));
}

TEST_F(Angle, SaysWhichStepOfTheStartFailed) {
  struct Step {
    const char* fault;
    int result;
    const char* message;
  };
  // The n-th use of a register, its address on the bus and each byte of data counting one each: a power register is
  // written by the reset, the waking, the end of mpu_init, and then by the second step.
  const Step steps[] = {
      {"motion.absent silence times=always", -1, "mpu_init error\n"},
      {"motion.ack silence detail=107 nth=7", -2, "mpu_set_sensor come across error\n"},
      {"motion.ack silence detail=56 nth=3", -3, "mpu_configure_fifo come across error\n"},
      {"motion.ack silence detail=25 nth=3", -4, "mpu_set_sample_rate error\n"},
      {"motion.memory silence detail=3061", -5, "dmp_load_motion_driver_firmware come across error\n"},
      {"motion.ack silence detail=109 nth=769", -6, "dmp_set_orientation come across error\n"},
      {"motion.ack silence detail=109 nth=777", -7, "dmp_enable_feature come across error\n"},
      {"motion.ack silence detail=109 nth=795", -8, "dmp_set_fifo_rate come across error\n"},
      {"motion.ack silence detail=25 nth=11", -9, "mpu_set_dmp_state come across error\n"},
  };
  for (const Step& step : steps) {
    const size_t before = board.LogCount(step.message);
    board.faults.Clear();
    board.faults.Add(step.fault);
    EXPECT_EQ(InitOnBoard(), step.result) << step.fault;
    EXPECT_EQ(board.LogCount(step.message), before + 1) << step.fault;
    EXPECT_GE(board.faults.Fired(), 1u);
  }
  EXPECT_EQ(board.LogCount("LumoInitAngle OK"), 0u);
  board.faults.Clear();
  EXPECT_EQ(InitOnBoard(), 0);  // nothing of it stays
}

TEST_F(Angle, KnowsWhichPartsItCanDrive) {
  const auto init = [&](int revision, int product) {
    int result = -100;
    OnBoard(board, [&] {
      board.motionSensor.SetPart(revision, product);
      result = mpu_init() < 0 ? -1 : st.chip_cfg.accel_half;
    });
    return result;
  };
  EXPECT_EQ(init(1, 0), 1);
  EXPECT_EQ(init(2, 0), 0);
  EXPECT_EQ(init(0, 8), 0);
  EXPECT_EQ(board.LogCount("Half sensitivity part found.\n"), 0u);
  EXPECT_EQ(init(0, 4), 1);
  EXPECT_EQ(board.LogCount("Half sensitivity part found.\n"), 1u);
  for (int revision = 3; revision < 8; revision++) EXPECT_EQ(init(revision, 8), -1) << revision;
  EXPECT_EQ(board.LogCount("Unsupported software product rev.\n"), 5u);
  EXPECT_EQ(init(0, 0), -1);
  EXPECT_THAT(board.Log(), HasSubstr("Product ID read as 0 indicates device is either incompatible or an MPU3050.\n"));
}

TEST_F(Angle, SettersWriteTheirStepsAndRefuseOthers) {
  OnBoard(board, [&] {
    ASSERT_EQ(mpu_init(), 0);
    EXPECT_EQ(Register(0x6B), 0x40);
    EXPECT_EQ(Register(0x6C), 0x3F);
    BYTE byte = 0;
    EXPECT_LT(mpu_write_mem(0, 1, &byte), 0);  // asleep
    EXPECT_LT(mpu_set_dmp_state(1), 0);        // nothing is loaded
    ASSERT_EQ(mpu_set_sensors(0x48), 0);
    EXPECT_EQ(Register(0x6B), 1);
    EXPECT_EQ(Register(0x6C), 0x03);
    ASSERT_EQ(mpu_set_sensors(0x08), 0);
    EXPECT_EQ(Register(0x6B), 0);
    EXPECT_EQ(Register(0x6C), 0x07);

    const std::pair<int, int> filters[] = {{188, 1}, {187, 2}, {98, 2}, {97, 3}, {42, 3}, {41, 4},
                                           {20, 4},  {19, 5},  {10, 5}, {9, 6},  {0, 6}};
    for (const auto& [hz, value] : filters) {
      EXPECT_EQ(mpu_set_lpf(static_cast<uint16_t>(hz)), 0);
      EXPECT_EQ(Register(0x1A), value) << hz;
    }
    const std::pair<int, int> rates[] = {{1, 249}, {4, 249}, {200, 4}, {1000, 0}, {5000, 0}};
    for (const auto& [hz, value] : rates) {
      EXPECT_EQ(mpu_set_sample_rate(static_cast<uint16_t>(hz)), 0);
      EXPECT_EQ(Register(0x19), value) << hz;
    }
    EXPECT_EQ(mpu_set_sample_rate(300), 0);
    EXPECT_EQ(st.chip_cfg.sample_rate, 333);

    EXPECT_LT(mpu_set_gyro_fsr(300), 0);
    EXPECT_LT(mpu_set_accel_fsr(3), 0);
    EXPECT_EQ(mpu_set_gyro_fsr(1000), 0);
    EXPECT_EQ(Register(0x1B), 0x10);
    EXPECT_EQ(mpu_set_accel_fsr(16), 0);
    EXPECT_EQ(Register(0x1C), 0x18);
    const uint64_t bytes = board.motionSensor.BusBytes();
    EXPECT_EQ(mpu_set_accel_fsr(16), 0);
    EXPECT_EQ(mpu_set_gyro_fsr(1000), 0);
    EXPECT_EQ(board.motionSensor.BusBytes(), bytes);  // known already

    BYTE bank[20] = {};
    EXPECT_LT(mpu_write_mem(0x0F1, 16, bank), 0);
    EXPECT_EQ(mpu_write_mem(0x0F0, 16, bank), 0);
    EXPECT_LT(dmp_set_fifo_rate(201), 0);
    EXPECT_EQ(dmp_set_fifo_rate(200), 0);
    EXPECT_THAT(Memory(0x216, 2), ElementsAre(0, 0));
    EXPECT_EQ(dmp_set_fifo_rate(100), 0);
    EXPECT_THAT(Memory(0x216, 2), ElementsAre(0, 1));
    EXPECT_EQ(dmp_set_fifo_rate(1), 0);
    EXPECT_THAT(Memory(0x216, 2), ElementsAre(0, 199));
  });
}

TEST_F(Angle, TheSelfTestPassesAGoodPartAndLeavesItsSettings) {
  OnBoard(board, [&] {
    ASSERT_EQ(mpu_init(), 0);
    ASSERT_EQ(mpu_set_sensors(0x78), 0);
    ASSERT_EQ(mpu_configure_fifo(0x78), 0);
    ASSERT_EQ(mpu_set_sample_rate(100), 0);
    float gyro[3] = {}, accel[3] = {};
    EXPECT_EQ(mpu_run_self_test(gyro, accel), 3);
    EXPECT_NEAR(gyro[0], -1.4, 0.1);
    EXPECT_NEAR(accel[2], 1.034, 0.01);
    EXPECT_EQ(Register(0x19), 9);
    EXPECT_EQ(Register(0x1A), 3);
    EXPECT_EQ(Register(0x1B), 0x18);
    EXPECT_EQ(Register(0x1C), 0);
    EXPECT_EQ(Register(0x23), 0x78);
    // Masses that do not move are no pass.
    board.faults.Add("motion.garbage value=0 detail=116 times=always");
    EXPECT_EQ(mpu_run_self_test(gyro, accel), 0);
    EXPECT_EQ(Register(0x1B), 0x18);
  });
}

// --- packets ---

TEST_F(Angle, TakesTheOldestPacketAndNoneTwice) {
  board.motionSensor.SetNoise(false);
  OnBoard(board, [&] {
    ASSERT_EQ(LumoInitAngle(), 0);
    mpu_reset_fifo();
    board.attitude.Set(1, 0, 0);
    board.kernel.Spend(10ms);
    board.attitude.Set(2, 0, 0);
    board.kernel.Spend(10ms);
    board.attitude.Set(3, 0, 0);
    for (int degrees = 1; degrees <= 3; degrees++) {
      ASSERT_EQ(LumoReadAngle(&x, &y), 0);
      EXPECT_NEAR(x, degrees * kDegree * 1e8, 10);
    }
    // The third had to be waited for.
    short gyro[3], accel[3], sensors = -1;
    long quat[4];
    unsigned char more = 9;
    EXPECT_EQ(dmp_read_fifo(gyro, accel, quat, &sensors, &more), -1);
    EXPECT_EQ(sensors, 0);
    EXPECT_EQ(more, 0);
    board.kernel.Spend(35ms);
    EXPECT_EQ(dmp_read_fifo(gyro, accel, quat, &sensors, &more), 0);
    EXPECT_EQ(sensors, 0x100 | 0x08 | 0x70);
    EXPECT_GE(more, 2);
    EXPECT_NEAR(accel[2], 16384, 40);
    EXPECT_NEAR(static_cast<double>(quat[2]) / 0x1p30, std::sin(1.5 * kDegree), 1e-8);
  });
}

TEST_F(Angle, EmptiesAFifoThatHasOverflowed) {
  board.motionSensor.SetNoise(false);
  OnBoard(board, [&] {
    ASSERT_EQ(LumoInitAngle(), 0);
    board.kernel.Spend(200ms);  // more than half full, nothing lost
    board.attitude.Set(0, 5, 0);
    ASSERT_EQ(LumoReadAngle(&x, &y), 0);
    EXPECT_NEAR(y, 0, 10);
    board.kernel.Spend(20s);
    board.attitude.Set(0, 7, 0);
    const twin::Time begin = board.Now();
    ASSERT_EQ(LumoReadAngle(&x, &y), 0);
    EXPECT_NEAR(y, 7 * kDegree * 1e8, 10);
    EXPECT_GT(board.Now() - begin, 50ms);
    EXPECT_LT(board.Now() - begin, 90ms);
  });
}

TEST_F(Angle, AcceptsQuaternionsOfLengthOneAndEmptiesTheFifoAtOthers) {
  constexpr int32_t unit = 0x1000 << 16;  // a quarter
  struct Case {
    std::vector<int32_t> quaternion;
    bool good;
  };
  const Case cases[] = {
      {{3 * unit, 2 * unit, unit, unit}, true},             // 0x0F000000
      {{3 * unit, 2 * unit, unit, unit - 0x10000}, false},  // just below
      {{4 * unit, unit, 0, 0}, true},                       // 0x11000000
      {{4 * unit, unit, 0x10000, 0}, false},                // just above
      {{-4 * unit, 0, 0, 0}, true},                         // minus one is a turn by 360 degrees
      {{0, 0, 0, 0}, false},
      {{INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN}, false},  // 2^32
      {{INT32_MIN, INT32_MIN, 0, 0}, false},                  // 2^31
  };
  OnBoard(board, [&] {
    ASSERT_EQ(LumoInitAngle(), 0);
    for (const Case& one : cases) {
      mpu_reset_fifo();
      board.kernel.Spend(55ms);
      board.faults.Clear();
      ForgePacket(one.quaternion);
      short gyro[3], accel[3], sensors = 0;
      long quat[4];
      unsigned char more = 0;
      const twin::Time begin = board.Now();
      EXPECT_EQ(dmp_read_fifo(gyro, accel, quat, &sensors, &more), one.good ? 0 : -1);
      EXPECT_EQ((sensors & 0x100) != 0, one.good);
      EXPECT_EQ(board.Now() - begin > 50ms, !one.good);
      if (one.good) {
        EXPECT_EQ(more, 4);
      }
    }
  });
}

TEST_F(Angle, TurnsAQuaternionIntoHundredMillionthsOfARadian) {
  constexpr int32_t one = 1 << 30;
  constexpr int32_t half = 759250125;  // the square root of one half
  struct Case {
    std::vector<int32_t> quaternion;
    int x, y;
    int near;  // the arc sine is steep at its ends
  };
  const Case cases[] = {
      {{one, 0, 0, 0}, 0, 0, 0},
      {{half, half, 0, 0}, 0, 157079632, 1},
      {{half, 0, half, 0}, 157079632, kTouched, 6000},  // front straight down: there is no roll
      {{half, 0, 0, half}, 0, 0, 0},
      {{0, one, 0, 0}, 0, 314159265, 0},
      {{0x41000000, 0, 0x02000000, 0}, 6351926, 0, 1},         // longer than one, still taken
      {{770000000, 0, 770000000, 0}, 157079632, kTouched, 1},  // and past what an arc sine knows
  };
  OnBoard(board, [&] {
    ASSERT_EQ(LumoInitAngle(), 0);
    for (const Case& c : cases) {
      mpu_reset_fifo();
      board.kernel.Spend(15ms);
      board.faults.Clear();
      ForgePacket(c.quaternion);
      ASSERT_EQ(LumoReadAngle(&x, &y), 0);
      EXPECT_NEAR(x, c.x, c.near);
      if (c.y != kTouched) {
        EXPECT_NEAR(y, c.y, c.near);
      }
    }
  });
}

// --- tilt against the world ---

double AngleBetween(const twin::Vector3& a, const twin::Vector3& b) {
  const twin::Vector3 across = {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
  return std::atan2(std::hypot(across[0], across[1], across[2]), a[0] * b[0] + a[1] * b[1] + a[2] * b[2]) / kDegree;
}

// Where "up" is in the camera's axes: by the numbers of a shot, and by the world.
twin::Vector3 UpOf(double pitch, double roll) {
  return {-std::sin(pitch), std::cos(pitch) * std::sin(roll), std::cos(pitch) * std::cos(roll)};
}

// Evenly spread over the sphere by the golden angle; the largest error in degrees.
double LargestError(twin::Board& board, bool noise, int attitudes) {
  double largest = 0;
  board.motionSensor.SetNoise(noise);
  OnBoard(board, [&] {
    board.attitude.Set(0, 0, 33);
    ASSERT_EQ(LumoInitAngle(), 0);
    for (int i = 0; i < attitudes; i++) {
      const double up = 1 - 2 * (i + 0.5) / attitudes;
      const double around = std::remainder(i * 137.50776405, 360);
      const double pitch = std::asin(up) / kDegree, roll = around, yaw = std::remainder(i * 71.0, 360);
      board.attitude.Set(pitch, roll, yaw);
      board.kernel.Spend(500ms);
      int x = kTouched, y = kTouched;
      ASSERT_EQ(LumoReadAngle(&x, &y), 0);
      const double error = AngleBetween(UpOf(x * 1e-8, y * 1e-8), UpOf(pitch * kDegree, roll * kDegree));
      largest = std::max(largest, error);
      if (noise || std::abs(pitch) > 80) continue;
      EXPECT_NEAR(x * 1e-8 / kDegree, pitch, 0.001);
      EXPECT_NEAR(y * 1e-8 / kDegree, roll, 0.001);
    }
  });
  return largest;
}

TEST_F(Angle, TellsTheWorldsTiltAllOverTheSphere) {
  const double error = LargestError(board, false, 400);
  std::printf("largest error of 400 tilts without noise: %.7f degrees\n", error);
  EXPECT_LT(error, 0.001);
}

TEST_F(Angle, TellsTheWorldsTiltWithinItsNoise) {
  const double error = LargestError(board, true, 400);
  std::printf("largest error of 400 tilts with noise and bias: %.3f degrees\n", error);
  EXPECT_LT(error, 0.2);
  EXPECT_GT(error, 0.01);
}

// --- a sensor that is gone ---

TEST_F(Angle, GivesUpAfterTenTriesAndWritesNothing) {
  OnBoard(board, [&] {
    ASSERT_EQ(LumoInitAngle(), 0);
    for (const char* fault : {"motion.absent silence times=always", "motion.hang silence times=always"}) {
      board.faults.Clear();
      board.faults.Add(fault);
      const twin::Time begin = board.Now();
      EXPECT_EQ(LumoReadAngle(&x, &y), -1);
      EXPECT_EQ(x, kTouched);
      EXPECT_EQ(y, kTouched);
      EXPECT_GE(board.Now() - begin, 50ms) << fault;
      EXPECT_LT(board.Now() - begin, 60ms) << fault;
    }
    board.faults.Clear();
    EXPECT_EQ(LumoReadAngle(&x, &y), 0);
    EXPECT_NE(x, kTouched);
  });
}

TEST_F(Angle, ABusHeldLowFromTheStartIsNoChip) {
  board.faults.Add("motion.hang silence times=always");
  EXPECT_EQ(InitOnBoard(), -1);
  EXPECT_THAT(board.Log(), HasSubstr("Product ID read as 0"));
}

// Whatever breaks on the wires: a reading ends in its time, and on a bus that is whole again it gives the tilt. Unless
// an emptying of the FIFO was cut short: then the program stays off until the next start.
TEST_F(Angle, TenThousandFaultsOnTheBusHangNothing) {
  const std::vector<std::vector<const char*>> campaigns = {
      {"motion.ack silence p=0.3"},
      {"motion.garbage silence p=0.05"},
      {"motion.hang silence p=0.3"},
      {"motion.absent silence p=0.02", "motion.ack silence p=0.001", "motion.garbage silence p=0.002",
       "motion.hang silence p=0.01"}};
  constexpr int kRounds = 15;
  uint64_t fired = 0;
  int good = 0, bad = 0, recovered = 0;
  board.motionSensor.SetNoise(false);
  const auto round = [&](const std::vector<const char*>& campaign) {
    board.faults.Clear();
    board.attitude.Set(0, 0, 0);
    ASSERT_EQ(LumoInitAngle(), 0);
    for (const char* fault : campaign) board.faults.Add(fault);
    for (; board.faults.Fired() < 170; board.kernel.Spend(std::chrono::milliseconds(board.kernel.Random() % 500))) {
      const twin::Time begin = board.Now();
      const int result = LumoReadAngle(&x, &y);
      ASSERT_LE(board.Now() - begin, 10 * (50ms + 5ms + 5ms));
      ASSERT_TRUE(result == 0 || result == -1);
      (result == 0 ? good : bad)++;
    }
    fired += board.faults.Fired();
    board.faults.Clear();
    board.attitude.Set(3, 4, 5);
    board.kernel.Spend(1s);
    const bool runs = board.motionSensor.ProgramRuns();
    if (LumoReadAngle(&x, &y) < 0) {
      EXPECT_FALSE(runs);
      return;
    }
    recovered++;
    EXPECT_NEAR(x * 1e-8 / kDegree, 3, 0.001);
    EXPECT_NEAR(y * 1e-8 / kDegree, 4, 0.001);
  };
  const auto all = [&] {
    for (int i = 0; i < kRounds; i++) {
      for (const auto& campaign : campaigns) ASSERT_NO_FATAL_FAILURE(round(campaign));
    }
  };
  OnBoard(board, all, 24h);
  EXPECT_GE(fired, 10000u);
  EXPECT_GT(good, 100);
  EXPECT_GT(bad, 100);
  EXPECT_GT(recovered, kRounds);
}

// --- the bus ---

TEST_F(Angle, TheBusTellsWhereATransferEnded) {
  OnBoard(board, [&] {
    BYTE byte = 0;
    EXPECT_EQ(LumoI2cRead(0x75, 1, &byte), 0);
    EXPECT_EQ(byte, 0x68);
    EXPECT_EQ(LumoI2cRead(0x75, 0, &byte), 0);
    EXPECT_EQ(LumoI2cWrite(0x75, 0, &byte), 0);
    const auto with = [&](const char* fault, auto transfer) {
      board.faults.Clear();
      board.faults.Add(fault);
      return transfer();
    };
    const auto read = [&] { return LumoI2cRead(0x19, 1, &byte); };
    const auto write = [&] { return LumoI2cWrite(0x19, 1, &byte); };
    EXPECT_EQ(with("motion.ack silence detail=-1", read), -1);
    EXPECT_EQ(with("motion.ack silence detail=25", read), -2);
    EXPECT_EQ(with("motion.ack silence detail=-1 nth=2", read), -3);
    EXPECT_EQ(with("motion.ack silence detail=-1", write), -1);
    EXPECT_EQ(with("motion.ack silence detail=25", write), -2);
    EXPECT_EQ(with("motion.ack silence detail=25 nth=2", write), -3);
    EXPECT_EQ(read(), 0);  // each of them let the bus go
  });
}

// The lines as an oscilloscope on them shows one transfer: data at each rising clock, starts and stops.
TEST_F(Angle, TheBusMovesItsLinesAsTheProtocolSays) {
  std::string seen;
  bool watching = false;
  twin::Pin& scl = board.gpio.At(6, 4);
  twin::Pin& sda = board.gpio.At(6, 3);
  scl.OnChange([&](bool high) {
    if (watching && high) seen += sda.Level() ? '1' : '0';
  });
  sda.OnChange([&](bool high) {
    if (watching && scl.Level()) seen += high ? 'P' : 'S';
  });
  OnBoard(board, [&] {
    BYTE bytes[2] = {};
    LumoI2cStopBit();
    watching = true;
    EXPECT_EQ(LumoI2cRead(0x74, 2, bytes), 0);
    watching = false;
  });
  // Start, 0xD0, register, stop (its clock rises on a low data line), start, 0xD1, two bytes, the last not
  // acknowledged.
  EXPECT_EQ(seen,
            "S110100000"
            "011101000"
            "0P"
            "S110100010"
            "000000000"
            "000000001"
            "0P");
}

}  // namespace

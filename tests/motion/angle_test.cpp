// The tilt that the motion sensor gives, against the world's, and what is left of it when the sensor is not well.
#include "common/angle_reader/angle.h"

#include <algorithm>
#include <cmath>

#include "common/angle_reader/dmp.h"
#include "tests/support/angle_bench.h"

using namespace std::chrono_literals;

namespace {

using Angle = AngleBench;

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
  const double exact = LargestError(board, false, 400), noisy = LargestError(board, true, 400);
  std::printf("largest error of 400 tilts: %.7f degrees, with noise and bias %.3f\n", exact, noisy);
  EXPECT_LT(exact, 0.001);
  EXPECT_LT(noisy, 0.2);
  EXPECT_GT(noisy, 0.01);
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

}  // namespace

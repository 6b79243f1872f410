// The tilt that the motion sensor gives, against the world's, and what is left of it when the sensor is not well.
#include "common/angle_reader/angle.h"

#include <cmath>

#include "common/angle_reader/dmp.h"
#include "tests/support/angle_bench.h"

using namespace std::chrono_literals;

namespace {

using Angle = AngleBench;

TEST_F(Angle, AcceptsQuaternionsOfLengthOneAndEmptiesTheFifoAtOthers) {
  constexpr int32_t unit = 0x1000 << 16;                                                            // a quarter
  const std::pair<std::vector<int32_t>, bool> cases[] = {{{3 * unit, 2 * unit, unit, unit}, true},  // 0x0F...
                                                         {{3 * unit, 2 * unit, unit, unit - 0x10000}, false},  // below
                                                         {{4 * unit, unit, 0, 0}, true},         // 0x11...
                                                         {{4 * unit, unit, 0x10000, 0}, false},  // above
                                                         {{-4 * unit, 0, 0, 0}, true},
                                                         {{0, 0, 0, 0}, false},
                                                         {{INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN}, false}};
  OnBoard(board, [&] {
    ASSERT_EQ(LumoInitAngle(), 0);
    for (const auto& [quaternion, good] : cases) {
      ForgePacket(quaternion);
      board.kernel.Spend(40ms);
      short gyro[3], accel[3], sensors = 0;
      long quat[4];
      unsigned char more = 0;
      const twin::Time begin = board.Now();
      EXPECT_EQ(dmp_read_fifo(gyro, accel, quat, &sensors, &more), good ? 0 : -1);
      EXPECT_EQ((sensors & 0x100) != 0, good);
      EXPECT_EQ(board.Now() - begin > 50ms, !good);
      EXPECT_EQ(good ? more : 4, 4);
    }
  });
}

TEST_F(Angle, TurnsAQuaternionIntoHundredMillionthsOfARadian) {
  constexpr int32_t one = 1 << 30;
  constexpr int32_t half = 759250125;  // the square root of one half
  struct Case {
    std::vector<int32_t> quaternion;
    int x, y, near;
  };
  const Case cases[] = {
      {{one, 0, 0, 0}, 0, 0, 0},
      {{half, half, 0, 0}, 0, 157079632, 1},
      {{0, one, 0, 0}, 0, 314159265, 0},
      {{0x41000000, 0, 0x02000000, 0}, 6351926, 0, 1},          // longer than one, still taken
      {{770000000, 0, 770000000, 0}, 157079632, kTouched, 0}};  // past what an arc sine knows: no roll
  OnBoard(board, [&] {
    ASSERT_EQ(LumoInitAngle(), 0);
    for (const Case& c : cases) {
      ForgePacket(c.quaternion);
      ASSERT_EQ(LumoReadAngle(&x, &y), 0);
      EXPECT_NEAR(x, c.x, c.near);
      EXPECT_NEAR(c.y == kTouched ? kTouched : y, c.y, c.near);
    }
  });
}

// Evenly spread over the sphere by the golden angle.
TEST_F(Angle, TellsTheWorldsTiltAllOverTheSphere) {
  constexpr int kAttitudes = 100;
  for (const bool noise : {false, true}) {
    board.motionSensor.SetNoise(noise);
    OnBoard(board, [&] {
      board.attitude.Set(0, 0, 33);
      ASSERT_EQ(LumoInitAngle(), 0);
      for (int i = 0; i < kAttitudes; i++) {
        const double pitch = std::asin(1 - 2 * (i + 0.5) / kAttitudes) / kDegree;
        const double roll = std::remainder(i * 137.50776405, 360);
        if (std::abs(pitch) > 70) continue;  // where it matters less and less
        board.attitude.Set(pitch, roll, std::remainder(i * 71.0, 360));
        board.kernel.Spend(500ms);
        ASSERT_EQ(LumoReadAngle(&x, &y), 0);
        EXPECT_NEAR(x * 1e-8 / kDegree, pitch, noise ? 0.2 : 0.001);
        EXPECT_NEAR(std::remainder(y * 1e-8 / kDegree - roll, 360), 0, noise ? 0.4 : 0.001);
      }
    });
  }
}

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
      EXPECT_EQ((board.Now() - begin) / 10ms, 5) << fault;
    }
  });
}

}  // namespace

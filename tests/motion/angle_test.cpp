// The tilt that the motion sensor gives, against the world's, and what is left of it when the sensor is not well.
#include "common/angle_reader/angle.h"

#include <cmath>

#include "common/angle_reader/dmp.h"
#include "tests/support/angle_bench.h"

using namespace std::chrono_literals;

namespace {

using Angle = AngleBench;

TEST_F(Angle, TurnsQuaternionsOfLengthOneIntoHundredMillionthsOfARadianAndEmptiesTheFifoAtOthers) {
  constexpr int32_t one = 1 << 30, unit = one / 4;
  constexpr int32_t half = 759250125;  // the square root of one half
  struct Case {
    std::vector<int32_t> quaternion;
    bool good = false;
    int x = kTouched, y = kTouched;  // kTouched: no matter
  };
  const Case cases[] = {{{one, 0, 0, 0}, true, 0, 0},
                        {{half, half, 0, 0}, true, 0, 157079632},
                        {{0, one, 0, 0}, true, 0, 314159265},
                        {{0x41000000, 0, 0x02000000, 0}, true, 6351926, 0},  // longer than one, still taken
                        {{770000000, 0, 770000000, 0}, true, 157079632},     // past what an arc sine knows: no roll
                        {{3 * unit, 2 * unit, unit, unit}, true},            // 0x0F...
                        {{3 * unit, 2 * unit, unit, unit - 0x10000}},        // below
                        {{4 * unit, unit, 0, 0}, true},                      // 0x11...
                        {{4 * unit, unit, 0x10000, 0}},                      // above
                        {{INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN}}};
  OnBoard(board, [&] {
    ASSERT_EQ(LumoInitAngle(), 0);
    for (const Case& c : cases) {
      ForgePacket(c.quaternion);
      board.kernel.Spend(40ms);
      short gyro[3], accel[3], sensors = 0;
      long quat[4];
      unsigned char more = 0;
      const twin::Time begin = board.Now();
      EXPECT_EQ(dmp_read_fifo(gyro, accel, quat, &sensors, &more), c.good ? 0 : -1);
      EXPECT_EQ((sensors & 0x100) != 0, c.good);
      EXPECT_EQ(board.Now() - begin > 50ms, !c.good);
      EXPECT_EQ(c.good ? more : 4, 4);
      if (!c.good) continue;
      ForgePacket(c.quaternion);
      ASSERT_EQ(LumoReadAngle(&x, &y), 0);
      EXPECT_EQ(c.x == kTouched ? kTouched : x, c.x);
      EXPECT_EQ(c.y == kTouched ? kTouched : y, c.y);
    }
    // A sensor that is gone is given up after ten tries.
    board.faults.Add("motion.absent silence times=always");
    x = y = kTouched;
    const twin::Time begin = board.Now();
    EXPECT_EQ(LumoReadAngle(&x, &y), -1);
    EXPECT_EQ(std::pair(x, y), std::pair(kTouched, kTouched));
    EXPECT_EQ((board.Now() - begin) / 10ms, 5);
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

}  // namespace

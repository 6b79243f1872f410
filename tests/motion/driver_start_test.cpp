// The motion sensor's driver: its start, its setters and its self test, through GPIO registers, wires and the chip.
#include "common/angle_reader/dmp.h"
#include "common/angle_reader/self_test.h"
#include "tests/support/angle_bench.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

namespace {

using MotionDriver = AngleBench;

TEST_F(MotionDriver, StartsTheChipAndLeavesItsProgramRunningAtItsRate) {
  OnBoard(board, [&] {
    const twin::Time begin = board.Now();
    ASSERT_EQ(LumoInitAngle(), 0);
    EXPECT_LT(board.Now() - begin, 2s);
    EXPECT_TRUE(board.motionSensor.ProgramRuns());

    // 200 Hz with the filter at half of it, 2000 degrees per second, 2 g, all axes on, the gyroscope's clock.
    const std::pair<BYTE, int> registers[] = {{0x19, 4}, {0x1A, 2},    {0x1B, 0x18}, {0x1C, 0}, {0x6B, 1},
                                              {0x6C, 0}, {0x6A, 0xC0}, {0x23, 0},    {0x38, 2}};
    for (const auto& [address, value] : registers) EXPECT_EQ(Register(address), value) << int{address};

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

TEST_F(MotionDriver, SaysWhichStepOfTheStartFailed) {
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

TEST_F(MotionDriver, KnowsWhichPartsItCanDrive) {
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
  EXPECT_EQ(init(0, 4), 1);
  EXPECT_EQ(board.LogCount("Half sensitivity part found.\n"), 1u);
  EXPECT_EQ(init(3, 8), -1);
  EXPECT_EQ(board.LogCount("Unsupported software product rev.\n"), 1u);
  EXPECT_EQ(init(0, 0), -1);
  EXPECT_THAT(board.Log(), HasSubstr("Product ID read as 0 indicates device is either incompatible or an MPU3050.\n"));
}

TEST_F(MotionDriver, SettersWriteTheirStepsAndRefuseOthers) {
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

    const std::pair<int, int> filters[] = {{188, 1}, {187, 2}, {97, 3}, {41, 4}, {19, 5}, {10, 5}, {9, 6}};
    for (const auto& [hz, value] : filters) {
      EXPECT_EQ(mpu_set_lpf(static_cast<uint16_t>(hz)), 0);
      EXPECT_EQ(Register(0x1A), value) << hz;
    }
    const std::pair<int, int> rates[] = {{1, 249}, {200, 4}, {5000, 0}};
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

    BYTE bank[20] = {};
    EXPECT_LT(mpu_write_mem(0x0F1, 16, bank), 0);
    EXPECT_EQ(mpu_write_mem(0x0F0, 16, bank), 0);
    EXPECT_LT(dmp_set_fifo_rate(201), 0);
    EXPECT_EQ(dmp_set_fifo_rate(1), 0);
    EXPECT_THAT(Memory(0x216, 2), ElementsAre(0, 199));
  });
}

TEST_F(MotionDriver, TheSelfTestPassesAGoodPartAndLeavesItsSettings) {
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

}  // namespace

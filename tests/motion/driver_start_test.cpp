// The motion sensor's driver: each transfer and each wait of its start, its setters, and what a failed step leaves.
#include <algorithm>
#include <sstream>

#include "common/angle_reader/dmp.h"
#include "tests/support/angle_bench.h"
#include "tests/support/transcript_match.h"
#include "twin/transcript/transcript.h"

using namespace std::chrono_literals;

namespace {

using MotionDriver = AngleBench;

std::string Hex(const uint8_t* bytes, size_t count) { return twin::HexBytes(bytes, count); }

// Steps apart by commas, as lines of the transcript: "w6B 80" and "r06 FB 40" a register and its bytes, "s50" a wait in
// ms, "m426 4C CD" bytes of the DMP's memory.
std::vector<std::string> Road(const std::string& steps) {
  std::vector<std::string> road;
  std::istringstream stream(steps);
  for (std::string step; std::getline(stream, step, ',');) {
    const std::string address = step.substr(1, 2), rest = step.substr(std::min<size_t>(3, step.size()));
    switch (step[0]) {
      case 'w': road.push_back("i2c write " + address + rest); break;
      case 'r': road.push_back("i2c read " + address + " =" + rest); break;
      case 's': road.push_back("sleep " + step.substr(1) + "000"); break;
      default:
        road.push_back("i2c write 6D 0" + step.substr(1, 1) + " " + step.substr(2, 2));
        road.push_back("i2c write 6F" + step.substr(4));
    }
  }
  return road;
}

const std::string kResetFifo = "w38 00,w23 00,w6A 00,w6A 04,w6A 40,s50,w38 01,w23 78,";
const std::string kResetDmpFifo = "w38 00,w23 00,w6A 00,w6A 0C,s50,w6A C0,w38 02,w23 00,";
const std::string kFillFifo = "w38 01," + kResetFifo;
const std::string kPacket = "r74" + std::string(32 * 3, '.') + ",";

std::string WholeStart() {
  std::string start =
      "w6B 80,s100,w6B 00,r06 FB 40 07 1D 05 B2,"  // reset, woken; revision 2
      "w1B 18,w1C 00,w1A 03,w19 13,w1A 04,w38 00,w23 00,r6A 00,w6A 00,s3,w37 00,"
      "w6B 40,w6C 3F,w37 00,s50,"  // asleep
      "w6B 01,w6C 00,s50," +
      kFillFifo + "w19 09,w1A 03,";
  for (uint16_t at = 0; at < 3062; at += 16) {
    const std::string chunk = Hex(dmp_memory + at, static_cast<size_t>(std::min<int>(16, 3062 - at)));
    char place[16];
    snprintf(place, sizeof place, "%03X", at);
    start += std::string("m") + place + " " + chunk + ",";
    start += std::string("w6D 0") + place[0] + " " + (place + 1) + ",r6F " + chunk + ",";
  }
  start += "w70 04 00,m426 4C CD 6C,m42A 0C C9 2C,m440 37 57 76,m431 27 47 66,";
  start += "m068 02 CA E3 09,mAA7 A3 C0 C8 C2 C4 CC C6 A3 A3 A3,mAB6 20,m4B8 B8 AA B3 8D B4 98 0D 35 5D,";
  start += "mAA2 B2 8B B6 9B,m8B0 F8,m73D D9,mA98 8B 8B 8B 8B," + kResetFifo;
  start += "mA9E 20 28 30 38," + kResetFifo + kResetFifo;
  start += "m216 00 01,mAC1 FE F2 AB C4 AA F1 DF DF BB AF DF DF,";
  // The self test, still and moved; packets as often as they have come.
  for (const std::string ranges : {"w1B 00,w1C 18,", "w1B E0,w1C F8,"}) {
    start += "w23 00,w1A 01,w19 00," + ranges + "s50,w6A 04,w6A 40,w23 78,s50,w23 00,r72......,";
    start += "r74" + std::string(12 * 3, '.') + ",";
  }
  start += "r0D 94 93 95 00,w1B 18,w1C 00,w19 09,w1A 03,w6B 01,w6C 00,s50," + kFillFifo;
  return start + "w38 00,w19 04,w1A 02,w23 00,w38 02," + kResetDmpFifo;
}

// What was done, measured bytes as dots, and packet after packet as one.
std::vector<std::string> Done(const twin::Transcript& transcript) {
  std::vector<std::string> lines;
  for (std::string line : transcript.Texts()) {
    const bool measured = line.starts_with("i2c read 72") || line.starts_with("i2c read 74");
    if (measured) std::fill(line.begin() + 13, line.end(), '.');
    if (!measured || lines.empty() || lines.back() != line) lines.push_back(line);
  }
  return lines;
}

TEST_F(MotionDriver, StartsTheChipStepByStepAndThenReadsPacketByPacket) {
  board.motionSensor.SetNoise(false);
  OnBoard(board, [&] {
    twin::Transcript transcript{board.kernel, "i2c sleep"};
    ASSERT_EQ(LumoInitAngle(), 0);
    EXPECT_TRUE(SameRoad(Road(WholeStart()), Done(transcript)));
    EXPECT_TRUE(board.motionSensor.ProgramRuns());
    EXPECT_EQ(dmp.feature_mask, 0x173 | 0x08);
    EXPECT_LT(mpu_set_sample_rate(100), 0);  // the program counts on its own
    EXPECT_LT(dmp_load_motion_driver_firmware(), 0);

    transcript.Forget();
    board.kernel.Spend(20s);  // the first try finds that packets have been lost
    ASSERT_EQ(LumoReadAngle(&x, &y), 0);
    board.kernel.Spend(200ms);  // more than half full, nothing lost; but the packet is none
    ForgePacket({0, 0, 0, 0}, false);
    ASSERT_EQ(LumoReadAngle(&x, &y), 0);
    const std::string empty = "r72......,", soon = "s5," + empty + "s5," + empty + kPacket;
    EXPECT_TRUE(
        SameRoad(Road(empty + "r3A 13," + kResetDmpFifo + soon + empty + "r3A 02," + kPacket + kResetDmpFifo + soon),
                 Done(transcript)));
  });
  EXPECT_EQ(board.LogCount("error"), 0u);
}

TEST_F(MotionDriver, SaysWhichStepOfTheStartFailed) {
  // The n-th use of a register, its address on the bus and each byte of data counting one each: a power register is
  // written by the reset, the waking, the end of mpu_init, and then by the second step.
  const std::pair<const char*, const char*> steps[] = {
      {"motion.absent silence times=always", "mpu_init"},
      {"motion.ack silence detail=107 nth=7", "mpu_set_sensor come across"},
      {"motion.ack silence detail=56 nth=3", "mpu_configure_fifo come across"},
      {"motion.ack silence detail=25 nth=3", "mpu_set_sample_rate"},
      {"motion.memory silence detail=3061", "dmp_load_motion_driver_firmware come across"},
      {"motion.ack silence detail=109 nth=769", "dmp_set_orientation come across"},
      {"motion.ack silence detail=109 nth=777", "dmp_enable_feature come across"},
      {"motion.ack silence detail=109 nth=795", "dmp_set_fifo_rate come across"},
      {"motion.ack silence detail=25 nth=11", "mpu_set_dmp_state come across"}};
  for (int result = -1; const auto& [fault, step] : steps) {
    board.faults.Clear();
    board.faults.Add(fault);
    EXPECT_EQ(InitOnBoard(), result--) << fault;
    EXPECT_EQ(board.LogCount(std::string(step) + " error\n"), 1u) << fault;
  }
  EXPECT_EQ(board.LogCount("LumoInitAngle OK\n"), 0u);
  board.faults.Clear();
  EXPECT_EQ(InitOnBoard(), 0);  // nothing of it stays
  EXPECT_EQ(board.LogCount("LumoInitAngle OK\n"), 1u);
}

TEST_F(MotionDriver, KnowsWhichPartsItCanDrive) {
  std::string results;
  OnBoard(board, [&] {
    for (const auto& [revision, product] : {std::pair{1, 0}, {2, 0}, {0, 8}, {0, 4}, {3, 8}, {4, 8}, {0, 0}}) {
      board.motionSensor.SetPart(revision, product);
      results += mpu_init() < 0 ? " none" : st.chip_cfg.accel_half != 0 ? " half" : " whole";
    }
  });
  EXPECT_EQ(results, " half whole whole half none none none");
  for (const auto& [message, times] :
       {std::pair{"Half sensitivity part found.\n", 1u},
        {"Unsupported software product rev.\n", 2u},
        {"Product ID read as 0 indicates device is either incompatible or an MPU3050.\n", 1u}}) {
    EXPECT_EQ(board.LogCount(message), times);
  }
}

TEST_F(MotionDriver, SettersWriteTheirStepsOnceAndRefuseOthers) {
  OnBoard(board, [&] {
    ASSERT_EQ(mpu_init(), 0);
    BYTE byte = 0;
    EXPECT_LT(mpu_write_mem(0, 1, &byte), 0);  // asleep
    EXPECT_LT(mpu_set_dmp_state(1), 0);        // nothing is loaded
    twin::Transcript transcript{board.kernel, "i2c"};
    for (const uint8_t mask : {0x48, 0x28, 0x10, 0x08}) EXPECT_EQ(mpu_set_sensors(mask), 0);
    for (const uint16_t hz : {188, 187, 98, 97, 42, 41, 20, 19, 10, 9, 0}) EXPECT_EQ(mpu_set_lpf(hz), 0);
    for (const auto& [hz, real] : {std::pair<uint16_t, int>{1, 4}, {200, 200}, {300, 333}, {5000, 1000}}) {
      EXPECT_EQ(mpu_set_sample_rate(hz), 0);
      EXPECT_EQ(st.chip_cfg.sample_rate, real);
    }
    for (const uint16_t range : {2000, 250, 500, 1000, 2000}) EXPECT_EQ(mpu_set_gyro_fsr(range), 0);
    for (const uint8_t range : {2, 4, 8, 16, 2}) EXPECT_EQ(mpu_set_accel_fsr(range), 0);
    EXPECT_LT(mpu_set_gyro_fsr(300), 0);
    EXPECT_LT(mpu_set_accel_fsr(3), 0);
    BYTE bank[20] = {};
    EXPECT_LT(mpu_write_mem(0x0F1, 16, bank), 0);
    EXPECT_EQ(mpu_write_mem(0x0F0, 1, bank), 0);
    EXPECT_LT(dmp_set_fifo_rate(201), 0);
    EXPECT_EQ(dmp_set_fifo_rate(200), 0);
    EXPECT_TRUE(SameRoad(Road("w6B 01,w6C 03,w6B 01,w6C 05,w6B 01,w6C 3E,w6B 00,w6C 07,"  // sensors
                              "w1A 01,w1A 02,w1A 03,w1A 04,w1A 05,w1A 06,"                // filters
                              "w19 F9,w19 04,w1A 02,w19 02,w19 00,w1A 01,"                // rates
                              "w1B 00,w1B 08,w1B 10,w1B 18,w1C 08,w1C 10,w1C 18,w1C 00,m0F0 00,m216 00 00,"
                              "mAC1 FE F2 AB C4 AA F1 DF DF BB AF DF DF"),
                         transcript.Texts()));
  });
}

TEST(Mounting, IsPackedRowByRow) {
  const int8_t rows[] = {1, 0, 0, -1, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0};
  const uint16_t codes[] = {0, 4, 1, 5, 2, 6, 7};
  for (size_t i = 0; i < 7; i++) EXPECT_EQ(inv_row_2_scale(rows + 3 * i), codes[i]);
  EXPECT_EQ(inv_orientation_matrix_to_scalar(rows + 3), 4 | 1 << 3 | 5 << 6);
}

// A write that the chip has not taken is done again the next time.
TEST_F(MotionDriver, BelievesOnlyWhatTheChipHasTaken) {
  OnBoard(board, [&] {
    ASSERT_EQ(LumoInitAngle(), 0);
    st.chip_cfg.dmp_on = 0;
    const auto refused = [&](const std::string& detail, const std::function<int()>& set) {
      board.faults.Add("motion.ack silence detail=" + detail);
      EXPECT_LT(set(), 0) << detail;
      board.faults.Clear();
    };
    ASSERT_EQ(mpu_configure_fifo(0x78), 0);
    refused("56", [] { return mpu_configure_fifo(0); });
    EXPECT_NE(st.chip_cfg.int_enable, 0);
    refused("35 nth=3", [] { return mpu_configure_fifo(0x08); });
    refused("35", [] { return mpu_configure_fifo(0); });
    EXPECT_EQ(st.chip_cfg.fifo_enable, 0x78);
    refused("55", [] { return mpu_set_bypass(1); });
    refused("55", [] { return mpu_set_int_latched(1); });
    twin::Transcript transcript{board.kernel, "i2c"};
    EXPECT_EQ(mpu_set_int_latched(1), 0);
    EXPECT_EQ(mpu_set_bypass(1), 0);
    EXPECT_EQ(mpu_set_bypass(1), 0);
    EXPECT_TRUE(SameRoad(Road("w37 30,r6A 40,w6A 40,w37 32"), transcript.Texts()));
  });
}

}  // namespace

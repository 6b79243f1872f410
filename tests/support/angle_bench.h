// A board whose motion sensor is driven straight by the tests, as the application does it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numbers>
#include <vector>

#include "common/angle_reader/angle.h"
#include "common/angle_reader/motion_sensor.h"
#include "common/angle_reader/soft_i2c.h"
#include "tests/support/on_board.h"

constexpr double kDegree = std::numbers::pi / 180;
constexpr int kTouched = 12345;

struct AngleBench : testing::Test {
  ~AngleBench() override { EXPECT_EQ(board.Complaints().size(), complaints); }

  int InitOnBoard() {
    int result = -100;
    OnBoard(board, [&] { result = LumoInitAngle(); });
    return result;
  }
  // The next bytes that the chip sends from its FIFO, alone there.
  void ForgePacket(const std::vector<int32_t>& quaternion, bool empty = true) {
    if (empty) mpu_reset_fifo();
    if (empty) board.kernel.Spend(std::chrono::milliseconds(15));
    board.faults.Clear();
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
  size_t complaints = 0;  // that belong to the test
  int x = kTouched, y = kTouched;
};

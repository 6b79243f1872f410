// The tilt in a shot's record, by the button alone: how the camera is held, and a sensor that is gone in every way.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "tests/support/http_board.h"
#include "tools/lumora-shot/shot_file.h"

using testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

constexpr double kUnit = 1e-8 * 180 / std::numbers::pi;  // degrees

class Tilt : public testing::Test {
 protected:
  Tilt() {
    std::filesystem::create_directories(board.disk.Directory() / "DCIM");
    board.motionSensor.SetNoise(false);
  }
  ~Tilt() override { EXPECT_THAT(board.Complaints(), IsEmpty()); }

  // The record of a new shot.
  shot::Record Press() {
    const auto before = board.disk.Shots();
    board.button.Press(100ms);
    EXPECT_TRUE(board.RunUntilShotEnds());
    board.Run(1s);
    for (const auto& path : board.disk.Shots()) {
      if (std::find(before.begin(), before.end(), path) == before.end()) return shot::File(path).Get().record;
    }
    ADD_FAILURE() << "no shot; log:\n" << board.Log();
    return {};
  }
  bool SettleAngle() {
    return board.RunUntil([this] { return board.LogCount("vertexReady OK\n") > 0; }, 10s);
  }

  twin::Board board{twin::BoardOptions{}};
};

TEST_F(Tilt, StandsInTheRecordOfEachShot) {
  ASSERT_TRUE(board.Boot());
  ASSERT_TRUE(SettleAngle());
  const double attitudes[][2] = {{0, 0}, {3, -2}, {-45, 120}, {89, -179}, {-12.5, -90}};
  for (const auto& [pitch, roll] : attitudes) {
    board.attitude.Set(pitch, roll, 200);
    const shot::Record record = Press();
    EXPECT_NEAR(record.vertexX * kUnit, pitch, 0.002);
    EXPECT_NEAR(record.vertexY * kUnit, roll, 0.002);
  }
}

TEST_F(Tilt, IsNotAskedForInTheFirstThreeSeconds) {
  board.attitude.Set(10, 20, 0);
  ASSERT_TRUE(board.Boot());
  ASSERT_EQ(board.LogCount("vertexReady OK\n"), 0u);
  const shot::Record early = Press();
  EXPECT_EQ(early.vertexX, 0);
  EXPECT_EQ(early.vertexY, 0);
  ASSERT_TRUE(SettleAngle());
  EXPECT_NEAR(Press().vertexY * kUnit, 20, 0.002);
}

TEST_F(Tilt, AShotIsTakenWithoutASensor) {
  board.attitude.Set(10, 20, 0);
  size_t starts = 0;
  for (const char* fault : {"motion.absent silence times=always", "motion.hang silence times=always"}) {
    board.PowerOff();
    board.faults.Add(fault);
    ASSERT_TRUE(board.Boot());
    EXPECT_EQ(board.LogCount("mpu_init error\n"), ++starts);
    board.Run(5s);
    board.faults.Clear();  // what failed at the start is not tried again
    EXPECT_EQ(Press().vertexX, 0);
  }
  EXPECT_EQ(board.LogCount("vertexReady OK\n") + board.LogCount("vertexX:"), 0u);
}

TEST_F(Tilt, AShotIsTakenWhenTheSensorDiesOrHoldsItsBus) {
  board.attitude.Set(10, 20, 0);
  ASSERT_TRUE(board.Boot());
  ASSERT_TRUE(SettleAngle());
  EXPECT_NEAR(Press().vertexX * kUnit, 10, 0.002);
  for (const char* fault :
       {"motion.absent silence times=always", "motion.ack silence times=always", "motion.hang silence times=always"}) {
    board.faults.Clear();
    board.faults.Add(fault);
    const shot::Record record = Press();
    EXPECT_EQ(record.vertexX, 0) << fault;
    EXPECT_EQ(record.vertexY, 0) << fault;
  }
  board.faults.Clear();
  EXPECT_NEAR(Press().vertexX * kUnit, 10, 0.002);  // it is back
}

// --- what a client sets ---

class TiltClient : public HttpBoard {
 protected:
  TiltClient() : HttpBoard({twin::UsbAdapter::Wifi}) { board.motionSensor.SetNoise(false); }
  void SetUp() override {
    HttpBoard::SetUp();
    ASSERT_TRUE(board.RunUntil([this] { return board.LogCount("vertexReady OK\n") > starts; }, 10s));
    starts++;
  }
  shot::Record Shoot(const std::string& parameters) {
    const auto before = board.disk.Shots();
    Ok("/do_capture?" + parameters);
    Follow();
    for (const auto& path : board.disk.Shots()) {
      if (std::find(before.begin(), before.end(), path) == before.end()) return shot::File(path).Get().record;
    }
    ADD_FAILURE() << "no shot; log:\n" << board.Log();
    return {};
  }
  void PowerCycle() {
    Ok("/shutdown");
    ASSERT_TRUE(SwitchedOff());
    board.Run(1min);
    SetUp();
  }
  void ExpectTilt(const std::string& parameters, double x, double y) {
    const shot::Record record = Shoot(parameters);
    EXPECT_NEAR(record.vertexX * kUnit, x, 0.002);
    EXPECT_NEAR(record.vertexY * kUnit, y, 0.002);
  }

  size_t starts = 0;
};

TEST_F(TiltClient, MakesATiltTheLevelUntilItIsCleared) {
  board.attitude.Set(4, -7, 0);
  ExpectTilt("gyrocorrect=0", 4, -7);
  ExpectTilt("gyrocorrect=1", 0, 0);
  board.attitude.Set(5, -6.5, 0);
  ExpectTilt("gyrocorrect=0", 1, 0.5);  // it is for one shot, what it found stays
  PowerCycle();
  ExpectTilt("gyrocorrect=0", 1, 0.5);
  ExpectTilt("gyrocorrect=2", 5, -6.5);
  PowerCycle();
  ExpectTilt("gyrocorrect=0", 5, -6.5);
}

}  // namespace

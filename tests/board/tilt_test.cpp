// The tilt in a shot's record, by the button alone: how the camera is held, and a sensor that is gone in every way.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "tests/support/http_board.h"
#include "tools/lumora-shot/shot_file.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
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
  board.faults.Add("motion.absent silence times=always");
  ASSERT_TRUE(board.Boot());
  EXPECT_THAT(board.Log(), HasSubstr("mpu_init error\n"));
  board.Run(5s);
  EXPECT_EQ(board.LogCount("vertexReady OK\n"), 0u);
  board.faults.Clear();  // what failed at the start is not tried again
  EXPECT_EQ(Press().vertexX, 0);
  EXPECT_THAT(board.Log(), Not(HasSubstr("vertexX:")));
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
  // What it sends is drawn: either nothing passes for a quaternion, or something does; the shot is taken.
  board.faults.Add("motion.garbage silence times=always");
  Press();
}

TEST_F(Tilt, ABusHeldLowFromTheStartLeavesACamera) {
  board.faults.Add("motion.hang silence times=always");
  ASSERT_TRUE(board.Boot());
  EXPECT_EQ(Press().vertexX, 0);
}

// --- what a client sets ---

class TiltClient : public HttpBoard {
 protected:
  explicit TiltClient(std::vector<twin::UsbAdapter> usb = {twin::UsbAdapter::Wifi}) : HttpBoard(std::move(usb)) {
    board.motionSensor.SetNoise(false);
  }
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

TEST_F(TiltClient, ASeriesGoesOnWhenTheSensorDiesInIt) {
  board.attitude.Set(4, -7, 0);
  Ok("/do_capture?timelapse=1");
  const auto shots = [&](size_t count) {
    return board.RunUntil([&] { return board.disk.Shots().size() == count; }, 2min);
  };
  ASSERT_TRUE(shots(1));
  board.faults.Add("motion.absent silence times=always");
  ASSERT_TRUE(shots(3));
  Ok("/exit_timelapse");
  board.Run(1min);
  auto files = board.disk.Shots();
  std::sort(files.begin(), files.end());
  std::vector<double> tilts;
  for (const auto& file : files) tilts.push_back(shot::File(file).Get().record.vertexX * kUnit);
  tilts.resize(3);
  EXPECT_THAT(tilts, testing::ElementsAre(testing::DoubleNear(4, 0.002), 0, 0));
}

TEST_F(TiltClient, GivesThePositionWhereThereIsNoModule) {
  const shot::Record record = Shoot("longitude=-740445020&latitude=406892470");
  EXPECT_EQ(record.longitude, -740445020);
  EXPECT_EQ(record.latitude, 406892470);
  EXPECT_EQ(Get("/compass_calibrate_start").body, "NOT SUPPORT");
}

struct ClientOfModule : TiltClient {
  ClientOfModule() : TiltClient({twin::UsbAdapter::Wifi, twin::UsbAdapter::Serial}) {}
};

TEST_F(ClientOfModule, ThePositionIsTheModulesAndTheHeadingTheCameras) {
  board.attitude.Set(20, -15, 100);  // its front a hundred degrees west of north
  board.gpsCompass.SetPosition(-33.856784, 151.215297);
  const shot::Record record = Shoot("longitude=1&latitude=2");
  EXPECT_NEAR(record.latitude, -338567840, 2);
  EXPECT_NEAR(record.longitude, 1512152970, 0xFF00 * 5 / 3);
  EXPECT_NEAR(record.compassValue, -10000, 5);
  EXPECT_NEAR(record.vertexX * kUnit, 20, 0.002);

  board.gpsCompass.LoseFix();
  const shot::Record lost = Shoot("longitude=1&latitude=2");
  EXPECT_EQ(lost.latitude, 0);
  EXPECT_EQ(lost.longitude, 0);
  EXPECT_NEAR(lost.compassValue, -10000, 5);

  // The remote sees whether there is a position.
  for (const bool fix : {false, true}) {
    if (fix) board.gpsCompass.SetPosition(1.5, 2.5);
    board.serial.Forget();
    board.serial.Send("X0I260615103000-");
    board.Run(3s);
    EXPECT_THAT(board.serial.Received(), testing::StartsWith(fix ? "X0Ready    Y " : "X0Ready    N "));
  }
  board.gpsCompass.LoseFix();

  Ok("/compass_calibrate_start");
  Ok("/compass_calibrate_end");
  EXPECT_EQ(board.gpsCompass.Calibrations(), "SE");
}

}  // namespace

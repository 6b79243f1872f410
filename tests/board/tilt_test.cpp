// The tilt in a shot's record: how the camera is held, a sensor that is gone in every way, and the level that a client
// sets.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numbers>

#include "tests/support/http_board.h"
#include "tools/lumora-shot/shot_file.h"

using namespace std::chrono_literals;

namespace {

constexpr double kUnit = 1e-8 * 180 / std::numbers::pi;  // degrees

class Tilt : public HttpBoard {
 protected:
  Tilt() : HttpBoard({twin::UsbAdapter::Wifi}) { board.motionSensor.SetNoise(false); }

  void Settle() {
    ASSERT_TRUE(board.RunUntil([this] { return board.LogCount("vertexReady OK\n") > starts; }, 10s));
    starts++;
  }
  // Of a new shot, by the button or by a client's request.
  void ExpectTilt(double x, double y, const std::string& request = "") {
    const size_t before = board.disk.Shots().size();
    if (request.empty()) {
      board.button.Press(100ms);
      EXPECT_TRUE(board.RunUntilShotEnds());
      board.Run(1s);
    } else {
      Ok(request);
      Follow();
    }
    const auto shots = board.disk.Shots();
    ASSERT_EQ(shots.size(), before + 1) << board.Log();
    const shot::Record record = shot::File(shots.back()).Get().record;
    EXPECT_NEAR(record.vertexX * kUnit, x, 0.002);
    EXPECT_NEAR(record.vertexY * kUnit, y, 0.002);
  }

  size_t starts = 0;
};

TEST_F(Tilt, StandsInTheRecordOfEachShotFromTheFourthSecondOnAsLongAsTheSensorIsThere) {
  board.attitude.Set(10, 20, 0);
  ASSERT_EQ(board.LogCount("vertexReady OK\n"), 0u);
  ExpectTilt(0, 0);
  Settle();
  for (const auto& [pitch, roll] : {std::pair{-45.0, 120.0}, {89, -179}, {-12.5, -90}, {10, 20}}) {
    board.attitude.Set(pitch, roll, 200);
    ExpectTilt(pitch, roll);
  }
  for (const char* kind : {"motion.absent", "motion.ack", "motion.hang"}) {
    SCOPED_TRACE(kind);
    board.faults.Clear();
    board.faults.Add(std::string(kind) + " silence times=always");
    ExpectTilt(0, 0);
  }
  board.faults.Clear();
  ExpectTilt(10, 20);  // it is back
}

TEST_F(Tilt, AShotIsTakenWithoutASensor) {
  board.attitude.Set(10, 20, 0);
  size_t tries = 0;
  for (const char* fault : {"motion.absent silence times=always", "motion.hang silence times=always"}) {
    board.PowerOff();
    board.faults.Add(fault);
    ASSERT_TRUE(board.Boot());
    EXPECT_EQ(board.LogCount("mpu_init error\n"), ++tries);
    board.Run(5s);
    board.faults.Clear();  // what failed at the start is not tried again
    ExpectTilt(0, 0);
  }
  EXPECT_EQ(board.LogCount("vertexReady OK\n") + board.LogCount("vertexX:"), 0u);
}

TEST_F(Tilt, IsTheLevelFromAClientsWishUntilItIsCleared) {
  Settle();
  const auto powerCycle = [this] {
    Ok("/shutdown");
    ASSERT_TRUE(SwitchedOff());
    board.Run(1min);
    SetUp();
    Settle();
  };
  board.attitude.Set(4, -7, 0);
  ExpectTilt(4, -7, "/do_capture?gyrocorrect=0");
  ExpectTilt(0, 0, "/do_capture?gyrocorrect=1");
  board.attitude.Set(5, -6.5, 0);
  ExpectTilt(1, 0.5, "/do_capture?gyrocorrect=0");  // it is for one shot, what it found stays
  powerCycle();
  ExpectTilt(1, 0.5, "/do_capture?gyrocorrect=0");
  ExpectTilt(5, -6.5, "/do_capture?gyrocorrect=2");
  powerCycle();
  ExpectTilt(5, -6.5, "/do_capture?gyrocorrect=0");
}

}  // namespace

// Position and heading through the layers, against the world.
#include "common/fpga_ctrl/array/gps_compass.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "common/angle_reader/angle.h"
#include "common/fpga_ctrl/device/device.h"
#include "tests/support/on_board.h"

using testing::HasSubstr;
using namespace std::chrono_literals;

namespace {

constexpr double kDegree = std::numbers::pi / 180;

// Degrees x 10^7 as the device records them, from the world's degrees: minutes to five places in the registers, the
// longitude's second byte the same as its first.
int Recorded(double degrees, bool longitude) {
  const long long minutes = std::llround(std::abs(degrees) * 6000000);
  long long raw = minutes / 6000000 * 10000000 + minutes % 6000000;
  if (degrees < 0) raw = -raw;
  if (longitude) {
    const auto bytes = static_cast<uint32_t>(raw);
    raw = static_cast<int32_t>((bytes & 0xFFFF00FF) | (bytes & 0xFF) << 8);
  }
  const long long whole = raw / 10000000;
  return static_cast<int>(whole * 10000000 + (raw - whole * 10000000) * 5 / 3);
}

class Module : public testing::Test {
 protected:
  Module() {
    ctrlSigs->usbMode = kUsbSerial;
    board.gpsCompass.SetPlugged(true);
    board.motionSensor.SetNoise(false);
  }
  ~Module() override { EXPECT_THAT(board.Complaints(), testing::IsEmpty()); }

  void OnOpenDevice(const std::function<void()>& body) {
    OnBoard(board, [&] {
      ASSERT_EQ(LumoDeviceOpen(ctrlSigs.get()), 0);
      body();
    });
  }

  twin::Board board{twin::BoardOptions{}};
  std::unique_ptr<ControlSignals> ctrlSigs = std::make_unique<ControlSignals>();
};

TEST_F(Module, TellsThePositionAsLongAsThereIsAFix) {
  const std::pair<double, double> places[] = {{31.752057, 121.4737},
                                              {-33.856784, 151.215297},
                                              {40.689247, -74.044502},
                                              {-22.951916, -43.210487},
                                              {90, 180},
                                              {-90, -180},
                                              {0.0000002, 0},
                                              {0, -0.5},
                                              {59.99999999, 0.99999999}};
  OnOpenDevice([&] {
    for (const auto& [latitude, longitude] : places) {
      board.gpsCompass.SetPosition(latitude, longitude);
      EXPECT_EQ(LumoGetGpsState(ctrlSigs.get()), 1);
      EXPECT_EQ(ctrlSigs->latitude, Recorded(latitude, false)) << latitude;
      EXPECT_EQ(ctrlSigs->longitude, Recorded(longitude, true)) << longitude;
      EXPECT_NEAR(ctrlSigs->latitude, latitude * 1e7, 2);
    }
    board.attitude.Set(0, 0, -90);  // its front to the east
    for (const bool plugged : {true, false}) {
      board.gpsCompass.SetPlugged(plugged);
      board.gpsCompass.LoseFix();
      EXPECT_EQ(LumoGetGpsState(ctrlSigs.get()), 0);
      EXPECT_EQ(ctrlSigs->gpsState, 0);
    }
    ctrlSigs->usbMode = 3;
    EXPECT_EQ(LumoGetGpsState(ctrlSigs.get()), -1);
  });
  EXPECT_THAT(board.Log(), HasSubstr("Read GPS: longitude:0, latitude:0, compassValX:0, compassValY:4500, "
                                     "compassValZ:-5362, compassValue:9000\n"));
}

TEST_F(Module, TellsTheHeadingUnderAnyTilt) {
  double largest = 0;
  OnOpenDevice([&] {
    ASSERT_EQ(LumoInitAngle(), 0);
    ctrlSigs->vertexReady = 1;
    for (const auto& [pitch, roll] : {std::pair{0, 0}, {25, -10}, {-40, 70}}) {
      for (int point = 0; point < 16; point++) {
        const double heading = std::remainder(point * 22.5, 360);
        board.attitude.Set(pitch, roll, -heading);
        board.kernel.Spend(400ms);
        LumoGetGpsState(ctrlSigs.get());
        const double told = ctrlSigs->compassValue / 100.0;
        EXPECT_LE(std::abs(told), 180);
        largest = std::max(largest, std::abs(std::remainder(told - heading, 360)));
      }
    }
    // Without the tilt it is the plain direction in the camera's own plane.
    ctrlSigs->vertexReady = 0;
    board.attitude.Set(-40, 70, -45);
    LumoGetGpsState(ctrlSigs.get());
    const double dip = 50 * kDegree;
    const auto along = [&](size_t axis) {
      return board.attitude.ToWorld()[0][axis] * std::cos(dip) - board.attitude.ToWorld()[2][axis] * std::sin(dip);
    };
    EXPECT_NEAR(ctrlSigs->compassValue, std::atan2(along(1), along(0)) / kDegree * 100, 3);
  });
  EXPECT_LT(largest, 0.03);  // units of 1/7000 of the field, of which 0.64 lie flat
}

}  // namespace

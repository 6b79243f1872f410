// What a person types to hold the camera, and what the board's world is then.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "twin/console/console.h"

namespace twin {
namespace {

using testing::HasSubstr;

TEST(AttitudeCommands, HoldTheCameraAndPlaceItOnEarth) {
  Board board{BoardOptions{}};
  volatile std::sig_atomic_t stop = 0;
  std::ostringstream out;
  Console console{board, out, stop};
  const auto refusal = [&](const std::string& line) -> std::string {
    try {
      console.Execute(line);
    } catch (const CommandError& error) {
      return error.what();
    }
    return "accepted";
  };
  console.Execute("tilt 3 -2.5");
  console.Execute("heading 90");
  EXPECT_EQ(board.attitude.Pitch(), 3);
  EXPECT_EQ(board.attitude.Roll(), -2.5);
  EXPECT_NEAR(board.attitude.ToWorld()[1][0], -1, 0.01) << "its front looks east, and west is positive";
  console.Execute("tilt 0 180");
  EXPECT_NEAR(board.attitude.ToWorld()[2][2], -1, 1e-9) << "it hangs upside down";
  console.Execute("attitude");
  EXPECT_EQ(out.str(), "tilt 0.00 180.00, heading 90.00\n");

  console.Execute("gps 31.75 -121.5");
  EXPECT_TRUE(board.gpsCompass.HasFix());
  console.Execute("gps off");
  EXPECT_FALSE(board.gpsCompass.HasFix());

  for (const char* line : {"tilt 91 0", "tilt 0 -181", "tilt 1x 0", "heading north", "heading 361", "gps 90.1 0",
                           "gps 0 181", "gps nan 0"}) {
    EXPECT_THAT(refusal(line), HasSubstr("wants degrees")) << line;
  }
  EXPECT_THAT(refusal("gps on"), HasSubstr("usage: gps"));
}

}  // namespace
}  // namespace twin

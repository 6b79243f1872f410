// The wireless remote at its end of the serial line: what it asks for, and what it is shown.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/remote_frame.h"
#include "tools/lumora-shot/shot_file.h"
#include "twin/board.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using twin::Board;
using twin::CivilTime;
using twin::UsbAdapter;

namespace {

TEST(Remote, IsToldTheStatusSetsTheClockAndSeesItsShotsFiled) {
  Board board{{.usb = {UsbAdapter::Serial}}};
  std::vector<std::string> lines;
  board.serial.OnLine([&](const std::string& line) { lines.push_back(line); });
  board.gpsCompass.SetPosition(31.75, 121.4);
  ASSERT_TRUE(board.Boot());
  board.Run(4s);  // motion sensor settled, battery known
  lines.clear();
  board.serial.Send(RemoteFrame('I'));
  board.Run(300ms);
  EXPECT_THAT(lines, ElementsAre("X0Ready    Y 99 750"));
  CivilTime date = board.clockChip.Date();
  date.second = date.weekday = 0;
  EXPECT_EQ(date, (CivilTime{2026, 11, 24, 14, 5, 0, 0}));
  for (const auto& [command, tripod] : {std::pair{'H', 'N'}, std::pair{'T', 'Y'}}) {
    SCOPED_TRACE(command);
    lines.clear();
    board.serial.Send(RemoteFrame(command));
    ASSERT_TRUE(board.RunUntilShotEnds());
    board.Run(500ms);
    EXPECT_THAT(lines, ElementsAre("X0Capture    99 750", "X0Save       99 750",
                                   MatchesRegex(std::string("X01405[0-9][0-9] ") + tripod + " Y 99 750")));
    std::vector<std::filesystem::path> shots;
    for (const auto& file : std::filesystem::directory_iterator(board.disk.Directory() / "DCIM")) {
      if (file.path().extension() == ".dwo") shots.push_back(file.path());
    }
    ASSERT_THAT(shots, SizeIs(1));
    const shot::Shot shot = shot::ReadShot(shots[0].string());
    EXPECT_EQ(shot.record.isoMode, tripod == 'Y' ? 1 : 0);
    EXPECT_EQ(shot.record.hdrMode, 4 + 2);  // without settings, a camera with a remote shoots in six wide steps
    std::filesystem::remove(shots[0]);
  }
  EXPECT_THAT(board.Complaints(), IsEmpty());
}

}  // namespace

// The wireless remote at its end of the serial line: what it asks for, and what it is shown.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/remote_frame.h"
#include "tools/lumora-shot/shot_file.h"
#include "twin/board.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using twin::Board;
using twin::CivilTime;
using twin::UsbAdapter;

namespace {

struct Remote : testing::Test {
  Board board{{.usb = {UsbAdapter::Serial}}};
  std::vector<std::string> lines;

  void SetUp() override {
    board.serial.OnLine([this](const std::string& line) { lines.push_back(line); });
    board.gpsCompass.SetPosition(31.75, 121.4);
    ASSERT_TRUE(board.Boot());
    board.Run(4s);  // motion sensor settled, battery known
    lines.clear();
  }
  void TearDown() override { EXPECT_THAT(board.Complaints(), IsEmpty()); }

  void Send(const std::string& bytes) {
    board.serial.Send(bytes);
    board.Run(300ms);
  }
  void ExpectClock(int hour, int minute) {
    const CivilTime date = board.clockChip.Date();
    EXPECT_EQ(date.year, 2026);
    EXPECT_EQ(date.month, 11);
    EXPECT_EQ(date.day, 24);
    EXPECT_EQ(date.hour, hour);
    EXPECT_EQ(date.minute, minute);
  }
  std::filesystem::path OnlyShot() const {
    std::vector<std::filesystem::path> shots;
    for (const auto& file : std::filesystem::directory_iterator(board.disk.Directory() / "DCIM")) {
      if (file.path().extension() == ".dwo") shots.push_back(file.path());
    }
    EXPECT_THAT(shots, SizeIs(1));
    return shots.empty() ? std::filesystem::path{} : shots[0];
  }
};

TEST_F(Remote, IsToldTheStatusAndSetsTheClock) {
  Send(RemoteFrame('I'));
  EXPECT_THAT(lines, ElementsAre("X0Ready    Y 99 750"));
  ExpectClock(14, 5);
  board.gpsCompass.LoseFix();
  board.coProcessor.SetBattery(30);
  board.Run(70s);  // the ring of samples forgets the better ones
  Send(RemoteFrame('I', 0, "261124150000"));
  EXPECT_THAT(lines.back(), "X0Ready    N 99 210");
  ExpectClock(15, 0);
}

TEST_F(Remote, TakesShotsByHandAndOnATripodAndSeesThemFiled) {
  for (const auto& [command, tripod] : {std::pair{'H', 'N'}, std::pair{'T', 'Y'}}) {
    SCOPED_TRACE(command);
    lines.clear();
    board.serial.Send(RemoteFrame(command));
    ASSERT_TRUE(board.RunUntilShotEnds());
    board.Run(500ms);
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ(lines[0], "X0Capture    99 750");
    EXPECT_EQ(lines[1], "X0Save       99 750");
    EXPECT_THAT(lines[2], testing::MatchesRegex(std::string("X01405[0-9][0-9] ") + tripod + " Y 99 750"));
    const shot::Shot shot = shot::ReadShot(OnlyShot().string());
    EXPECT_EQ(shot.record.isoMode, tripod == 'Y' ? 1 : 0);
    EXPECT_EQ(shot.record.hdrMode, 4 + 2);  // without settings, a camera with a remote shoots in six wide steps
    std::filesystem::remove(OnlyShot());
  }
}

}  // namespace

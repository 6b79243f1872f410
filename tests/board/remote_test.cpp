// The wireless remote at its end of the serial line: what it asks for, and what it is shown.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/remote_frame.h"
#include "tools/lumora-shot/shot_file.h"
#include "twin/board.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
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
  void Boot(const std::string& setting) {
    board.PowerOff();
    std::filesystem::create_directories(board.disk.Directory() / "DCIM");
    FILE* file = fopen((board.disk.Directory() / "DCIM/setting.ini").c_str(), "wb");
    fputs(setting.c_str(), file);
    fclose(file);
    ASSERT_TRUE(board.Boot());
    board.Run(4s);
    lines.clear();
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

TEST_F(Remote, IsRefusedSilentlyWhileTheCameraIsBusy) {
  board.serial.Send(RemoteFrame('T', 0, "261124100000"));
  ASSERT_TRUE(board.RunUntil([this] { return board.panel.ShotRunning(); }, 10s));
  board.Run(1s);
  Send(RemoteFrame('H', 0, "261124111100") + RemoteFrame('I', 0, "261124112200"));
  ExpectClock(11, 22);  // the clock is set all the same
  ASSERT_TRUE(board.RunUntil([this] { return !board.panel.ShotRunning(); }, 2min));
  board.Run(3s);
  EXPECT_THAT(lines, SizeIs(3));  // capture, save, shot: nothing of what came in between
  OnlyShot();
}

TEST_F(Remote, OfAnotherCameraOrWithAnUnknownWordChangesNothing) {
  const CivilTime before = board.clockChip.Date();
  Send(RemoteFrame('I', 4) + RemoteFrame('Q') + RemoteFrame('h'));
  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(board.clockChip.Date().day, before.day);
  EXPECT_EQ(board.clockChip.Date().hour, before.hour);

  Boot("wirelessid=4\ndelaymode=0\n");
  Send(RemoteFrame('I', 0));
  EXPECT_THAT(lines, IsEmpty());
  Send(RemoteFrame('I', 4));
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0].substr(0, 7), "X4Ready");
}

TEST_F(Remote, FindsItsFramesInPiecesJoinedAndBehindNoise) {
  const std::string frame = RemoteFrame('I');
  board.serial.Send(frame.substr(0, 7));
  board.Run(2s);
  EXPECT_THAT(lines, IsEmpty());
  Send(frame.substr(7));
  EXPECT_THAT(lines, SizeIs(1));

  Send("noise\r\n" + frame);
  EXPECT_THAT(lines, SizeIs(2));

  // A stray "X" takes the fifteen bytes behind it, so the frame that they belong to is lost, and the next is found.
  Send("X" + frame);
  EXPECT_THAT(lines, SizeIs(2));
  Send(frame);
  EXPECT_THAT(lines, SizeIs(3));

  // Two frames in one read: the first makes the camera busy with nothing, so both are answered or served as one.
  Send(frame + frame);
  EXPECT_THAT(lines.size(), testing::AllOf(testing::Ge(4u), testing::Le(5u)));
}

TEST_F(Remote, IsHeardAgainAfterAHundredThousandBytesOfNoise) {
  std::string noise;
  uint64_t state = 1;
  while (noise.size() < 100'000) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    const char byte = static_cast<char>(state >> 56);
    if (byte != '0') noise += byte;  // no address of ours: whatever comes of it is no order for this camera
  }
  board.serial.Send(noise);
  board.Run(110s);
  board.serial.Send(std::string(16, ' '));  // whatever frame the noise had begun is over
  board.Run(100ms);
  EXPECT_THAT(lines, IsEmpty());
  EXPECT_FALSE(board.Exited());
  Send(RemoteFrame('I'));
  EXPECT_THAT(lines, SizeIs(1));
}

// What a camera with address 0 makes of a byte stream, by the rule alone: on "X" it takes sixteen bytes, else one.
size_t StatusRequestsIn(const std::string& bytes) {
  size_t requests = 0;
  for (size_t at = 0; at + 16 <= bytes.size();) {
    if (bytes[at] != 'X') {
      at++;
      continue;
    }
    if (bytes[at + 1] == '0' && bytes[at + 2] == 'I') requests++;
    at += 16;
  }
  return requests;
}

// 10,000 broken bytes: every frame that came through whole is taken, and none that did not.
TEST_F(Remote, TakesExactlyTheFramesThatCameThroughTenThousandBrokenBytes) {
  std::string stream;
  int broken = 0;
  uint64_t state = 7;
  const auto random = [&state] {
    state = state * 6364136223846793005u + 1442695040888963407u;
    return static_cast<uint32_t>(state >> 33);
  };
  while (broken < 10'000) {
    for (char byte : RemoteFrame('I')) {
      if (random() % 8 == 0) {
        broken++;
        if (random() % 4 == 0) continue;  // lost
        byte = static_cast<char>(random());
        if (byte == 'H' || byte == 'T') byte = 'I';  // a shot would make the camera busy, which is another story
      }
      stream += byte;
    }
  }
  const size_t before = board.LogCount("Serial Recv: GetInfo");
  board.serial.Send(stream);
  board.Run(std::chrono::milliseconds(stream.size() * 2));
  EXPECT_EQ(board.LogCount("Serial Recv: GetInfo") - before, StatusRequestsIn(stream));
  EXPECT_GT(StatusRequestsIn(stream), 100u);
  EXPECT_FALSE(board.Exited());
}

TEST_F(Remote, SeesDiskFullAndError) {
  board.disk.FillTo(1000);
  board.serial.Send(RemoteFrame('H'));
  ASSERT_TRUE(board.RunUntilShotEnds());
  board.Run(500ms);
  EXPECT_THAT(lines, ElementsAre("X0Disk Full  00 750"));

  board.disk.FillTo(60'000'000);
  lines.clear();
  board.faults.Add("venc.start fail times=1");
  board.serial.Send(RemoteFrame('H'));
  ASSERT_TRUE(board.RunUntilShotEnds());
  board.Run(500ms);
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_THAT(lines[0], HasSubstr("Capture"));
  EXPECT_EQ(lines[1].substr(0, 13), "X0Error      ");
}

TEST_F(Remote, KeepsTheCameraFromSwitchingItselfOff) {
  Boot("shutdownmode=1\n");
  for (int i = 0; i < 8; i++) {
    board.Run(100s);
    Send(RemoteFrame('I'));
  }
  EXPECT_TRUE(board.Powered());
  board.Run(310s);
  EXPECT_FALSE(board.Powered());
}

}  // namespace

#include "twin/console/console.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "twin/console/status_display.h"

namespace twin {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

TEST(ConsoleWords, KeepQuotedBlanksAndDropComments) {
  EXPECT_EQ(SplitLine("  press\t100ms  # once"), (Words{"press", "100ms"}));
  EXPECT_EQ(SplitLine(R"(expect log "a # \"b\" \\" x"y z")"), (Words{"expect", "log", "a # \"b\" \\", "xy z"}));
  EXPECT_EQ(SplitLine("say \"\""), (Words{"say", ""}));
  EXPECT_TRUE(SplitLine("# nothing").empty());
  EXPECT_THROW(SplitLine("expect log \"open"), CommandError);
}

// What a camera does in the eyes of the console, without a camera: two pulses when it is up, and for each press a shot
// of three seconds with a pulse before and a file after it.
int Camera() {
  Board& board = Board::Current();
  const auto set = [&](uint32_t address, bool level) {
    board.gpio.WriteRegister(address, level ? 0xFF : 0);
    board.kernel.Spend(1us);
  };
  const auto pulse = [&] {
    for (bool level : {false, true}) {
      set(0x12140040, level);
      set(0x12140008, level);
      board.kernel.Spend(100ms);
    }
  };
  board.gpio.WriteRegister(0x12142400, 0x02);
  board.gpio.WriteRegister(0x12140400, 0xF6);
  for (uint32_t address : {0x12142008u, 0x12140008u, 0x12140040u}) set(address, true);
  pulse();
  pulse();
  for (int shot = 0;; board.kernel.Spend(1ms)) {
    if (!board.button.Pressed()) continue;
    const Time pressed = board.Now();
    while (board.button.Pressed()) board.kernel.Spend(1ms);
    if (board.Now() - pressed > 3s) return 7;
    set(0x12142008, false);
    pulse();
    board.kernel.Spend(3s);
    const std::filesystem::path directory = board.disk.Directory() / "DCIM";
    std::filesystem::create_directories(directory);
    std::ofstream(directory / (std::to_string(++shot) + ".ori")) << "shot";
    board.WriteLog("took one\n", 9);
    set(0x12142008, true);
  }
}

struct ConsoleOfABoard : testing::Test {
  Board board{BoardOptions{}};
  volatile std::sig_atomic_t stop = 0;
  std::ostringstream out;
  Console console{board, out, stop};
  std::string script = (std::filesystem::path(testing::TempDir()) / ("script-" + std::to_string(getpid()))).string();

  ~ConsoleOfABoard() override { std::filesystem::remove(script); }
  int RunScript(const std::string& text) {
    std::ofstream(script) << text;
    return console.RunScript(script);
  }
  std::string Refusal(const std::string& line) {
    try {
      console.Execute(line);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "accepted";
  }
};

TEST_F(ConsoleOfABoard, AScriptTellsAStoryFromPowerOnToTheLastShot) {
  board.PowerOn(Camera);
  EXPECT_EQ(RunScript("wait idle\n"
                      "expect buzzer 2 100ms\n"
                      "listen\n"
                      "press 50ms\n"
                      "wait shot\n"
                      "expect led 1 100ms\n"
                      "expect shots 1\n"
                      "expect log 1 took one\n"
                      "press 20ms\n"
                      "wait log took one\n"
                      "wait 10ms\n"
                      "expect log 2 \"took one\"\n"
                      "expect power on\n"
                      "expect complaints 0\n"
                      "power cut\n"
                      "expect power off\n"
                      "expect led 2\n"
                      "power on\n"
                      "expect led 0\n"
                      "quit\n"
                      "expect shots 99\n"),
            0)
      << out.str();
  EXPECT_TRUE(console.Quitting());
}

TEST_F(ConsoleOfABoard, AFailedExpectationEndsTheScriptWithItsPlaceAndWhatWasFound) {
  board.PowerOn(Camera);
  EXPECT_EQ(RunScript("wait idle\n\nexpect buzzer 3 100ms\nwait 1h\n"), 1);
  EXPECT_THAT(out.str(), StartsWith(script + ":3: expected 3 buzzer pulses of 100ms, found 2 (100 ms at "));
  EXPECT_LT(board.Now(), 1min) << "nothing after it was carried out";
  EXPECT_EQ(Refusal("expect buzzer 2 150ms").substr(0, 44), "expected 2 buzzer pulses of 150ms, found 2 (");
  EXPECT_EQ(Refusal("expect log never"), "expected \"never\" in the log, found no such text");
  EXPECT_EQ(Refusal("expect colour red"), "expected colour red, found dark");
  EXPECT_THAT(Refusal("expect disk below 100"), StartsWith("expected disk below 100 KB free, found "));
}

TEST_F(ConsoleOfABoard, AWaitInVainFailsAndSaysWhy) {
  EXPECT_EQ(Refusal("wait idle 10s"), "waited for the board to be idle, but the power is off");
  board.PowerOn(Camera);
  EXPECT_EQ(Refusal("wait shot 30s"), "waited for a shot to begin in vain for 30s");
  board.button.Press(4s);
  EXPECT_EQ(Refusal("wait shot"), "waited for a shot to begin, but the application ended with 7");
  EXPECT_EQ(Refusal("expect running no"), "accepted");
  board.PowerOn(Camera);
  board.kernel.After(5s, [this] { stop = 1; });
  EXPECT_EQ(RunScript("wait 1h\nwait shot\nexpect shots 9\n"), 0) << "a signal ends every wait";
}

TEST_F(ConsoleOfABoard, ALineThatIsNotUnderstoodEndsTheScriptWithTwo) {
  EXPECT_EQ(RunScript("status\npres 100ms\n"), 2);
  EXPECT_THAT(out.str(), EndsWith(script + ":2: there is no command \"pres\"; try help\n"));
  EXPECT_EQ(console.RunScript(script + ".missing"), 2);
  for (const auto& [line, message] : std::vector<std::pair<std::string, std::string>>{
           {"press", "usage: press LENGTH"},
           {"press soon", "press wants a time such as 100ms or 4s, not \"soon\""},
           {"battery 64", "a battery sample is 0 to 63"},
           {"fault disk.wrote fail", "did you mean \"disk.write\"?"},
           {"clock 2026-02-30 10:00:00", "no such date"},
           {"clock 2026-02-03 10:00", "usage: clock"},
           {"expect happiness", "expect knows"},
           {"expect disk round 5", "expect disk wants"},
           {"plug toaster", "disk, wifi, ethernet and serial"},
           {"power up", "power wants on, off or cut"}}) {
    EXPECT_THAT(Refusal(line), HasSubstr(message)) << line;
  }
}

TEST_F(ConsoleOfABoard, CommandsReachTheWorld) {
  EXPECT_EQ(RunScript("battery 17\ncharge on\nclock 2031-05-06 07:08:09\nfill 262144\nreadonly on\npull\n"
                      "fault disk.write fail=ENOSPC nth=3\nhold\n"),
            0)
      << out.str();
  EXPECT_EQ(board.coProcessor.Battery(), 17);
  EXPECT_TRUE(board.coProcessor.Charging());
  EXPECT_EQ(board.clockChip.Date(), (CivilTime{2031, 5, 6, 7, 8, 9, 2}));
  EXPECT_EQ(board.disk.FreeKBs(), 262144u);
  EXPECT_TRUE(board.disk.ReadOnly());
  EXPECT_FALSE(board.disk.Plugged());
  EXPECT_THAT(board.faults.Describe(), testing::ElementsAre("disk.write fail=ENOSPC nth=3, fired 0 times"));
  EXPECT_TRUE(board.button.Pressed());
  EXPECT_EQ(RunScript("release\nfault clear\nplug\nplug serial\nplug ethernet\nunplug serial\n"), 0);
  EXPECT_TRUE(board.disk.Plugged());
  EXPECT_TRUE(board.usb.Plugged(UsbAdapter::Ethernet));
  EXPECT_FALSE(board.usb.Plugged(UsbAdapter::Serial));
  EXPECT_FALSE(board.button.Pressed());
  EXPECT_TRUE(board.faults.Describe().empty());
}

TEST_F(ConsoleOfABoard, TheStatusFollowsTheShot) {
  const auto status = [&] { return StatusText(board, console.watch); };
  EXPECT_THAT(status(), HasSubstr(" off "));
  board.PowerOn(Camera);
  console.Execute("wait 10ms");
  EXPECT_THAT(status(), HasSubstr("starting"));
  console.Execute("wait idle");
  EXPECT_THAT(status(), HasSubstr("ready"));
  console.Execute("press 50ms");
  console.Execute("wait 120ms");
  EXPECT_THAT(status(), AllOf(HasSubstr("sounds"), HasSubstr("counting down")));
  console.Execute("wait 2s");
  EXPECT_THAT(status(), HasSubstr("exposing"));
  console.Execute("wait 2s");
  EXPECT_THAT(status(), AllOf(HasSubstr("ready"), HasSubstr("1 shot")));
}

}  // namespace
}  // namespace twin

#include "twin/console/console.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

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
  board.PowerOn();
  EXPECT_EQ(RunScript("wait idle\nexpect buzzer 2 100ms\nlisten\n"
                      "press 100ms\nwait shot\nexpect led 3 100ms\nexpect shots 1\nexpect log 1 StartCapture\n"
                      "wait 200ms\npress 100ms\nwait log StartCapture\nwait 10ms\nexpect log 2 \"StartCapture\"\n"
                      "expect power on\nexpect complaints 0\npower cut\nexpect power off\npower on\nexpect led 0\n"
                      "quit\nexpect shots 99\n"),
            0)
      << out.str();
  EXPECT_TRUE(console.Quitting());
}

TEST_F(ConsoleOfABoard, HoldsTheCameraAndPlacesItOnEarth) {
  for (const char* line : {"tilt 3 -2.5", "heading 90", "attitude", "gps 31.75 -121.5"}) console.Execute(line);
  EXPECT_EQ(out.str(), "tilt 3.00 -2.50, heading 90.00\n");
  EXPECT_NEAR(board.attitude.ToWorld()[1][0], -1, 0.01) << "its front looks east, and west is positive";
  EXPECT_TRUE(board.gpsCompass.HasFix());
  console.Execute("gps off");
  EXPECT_FALSE(board.gpsCompass.HasFix());
  for (const char* line : {"tilt 91 0", "tilt 0 -181", "tilt 1x 0", "heading 361", "gps 90.1 0", "gps nan 181"}) {
    EXPECT_THAT(Refusal(line), HasSubstr("wants degrees")) << line;
  }
}

TEST_F(ConsoleOfABoard, AFailedExpectationOrWaitSaysItsPlaceAndWhatWasFound) {
  EXPECT_EQ(Refusal("wait idle 10s"), "waited for the board to be idle, but the power is off");
  board.PowerOn();
  EXPECT_EQ(RunScript("wait idle\n\nexpect buzzer 3 100ms\nwait 1h\n"), 1);
  EXPECT_THAT(out.str(), StartsWith(script + ":3: expected 3 buzzer pulses of 100ms, found 2 (100 ms at "));
  EXPECT_LT(board.Now(), 1min) << "nothing after it was carried out";
  for (const auto& [line, message] :
       {std::pair{"expect buzzer 2 150ms", "expected 2 buzzer pulses of 150ms, found 2 ("},
        {"expect log never", "expected \"never\" in the log, found no such text"},
        {"expect colour red", "expected colour red, found blue"},
        {"expect disk below 100", "expected disk below 100 KB free, found "},
        {"wait shot 30s", "waited for a shot to begin in vain for 30s"}}) {
    EXPECT_THAT(Refusal(line), StartsWith(message));
  }
  board.SendSignal(15);
  EXPECT_THAT(Refusal("wait shot"), StartsWith("waited for a shot to begin, but the application ended with "));
  board.PowerOn();
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

// What a panel needs, whose board goes on by itself: nothing here waits for anything.
TEST_F(ConsoleOfABoard, StepsPausesAndLetsAPhoneAskWithoutWaiting) {
  EXPECT_THAT(Refusal("phone /get_list"), HasSubstr("takes no connection"));
  console.Execute("plug ethernet");
  board.PowerOn();
  console.Execute("step 1500ms");
  EXPECT_EQ(board.Now(), 1500ms);
  console.Execute("step");
  EXPECT_EQ(board.Now(), 2600ms) << "the boot loader's end is due next";
  console.Execute("pace pause");
  EXPECT_TRUE(console.Paused());
  for (const char* line : {"step 2h", "pace slow", "phone get_list", "fault clear disk.wrote"})
    EXPECT_THAT(Refusal(line),
                testing::AnyOf(HasSubstr("at most"), HasSubstr("wants"), HasSubstr("slash"), HasSubstr("did you mean")))
        << line;
  console.Execute("wait idle");
  const Time asked = board.Now();
  console.Execute("phone /get_list");
  EXPECT_EQ(board.Now(), asked);
  EXPECT_EQ(out.str(), "");
  board.Run(1s);
  EXPECT_THAT(out.str(), StartsWith("phone    /get_list: 0,0,"));
  EXPECT_TRUE(Console::Waits("power off") && Console::Waits("ask /get_list") && !Console::Waits("power cut"));
}

TEST_F(ConsoleOfABoard, CommandsReachTheWorld) {
  EXPECT_EQ(RunScript("battery 17\ncharge on\nclock 2031-05-06 07:08:09\nfill 262144\nreadonly on\npull\n"
                      "fault disk.write fail=ENOSPC nth=3\nhold\nplug serial\nplug ethernet\nunplug serial\n"),
            0)
      << out.str();
  EXPECT_EQ(board.coProcessor.Battery(), 17);
  EXPECT_EQ(board.clockChip.Date(), (CivilTime{2031, 5, 6, 7, 8, 9, 2}));
  EXPECT_EQ(board.disk.FreeKBs(), 262144u);
  EXPECT_TRUE(board.coProcessor.Charging() && board.disk.ReadOnly() && board.button.Pressed());
  EXPECT_FALSE(board.disk.Plugged());
  EXPECT_TRUE(board.usb.Plugged(UsbAdapter::Ethernet) && !board.usb.Plugged(UsbAdapter::Serial));
  EXPECT_THAT(board.faults.Describe(), testing::ElementsAre("disk.write fail=ENOSPC nth=3, fired 0 times"));
  EXPECT_EQ(RunScript("capacity 1048576\nrelease\nfault clear\nplug\n"), 0);
  EXPECT_EQ(board.disk.TotalKBs(), 1048576u);
  EXPECT_EQ(RunScript("capacity 2097152\n"), 2);  // it is plugged in
  EXPECT_TRUE(board.disk.Plugged() && !board.button.Pressed() && board.faults.Describe().empty());
}

}  // namespace
}  // namespace twin

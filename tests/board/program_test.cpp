// The program as a person starts it: its options, what it prints, how it ends.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "tests/support/remote_frame.h"

namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;

struct Ended {
  int status = -1;
  std::string output;  // standard output and, where asked for, error
};

struct Program : testing::Test {
  fs::path place = fs::path(testing::TempDir()) / ("program-" + std::to_string(getpid()));
  const std::string program = std::string(LUMORA_BINARY_DIR) + "/bin/lumora-twin";

  Program() { fs::create_directories(place); }
  ~Program() override { fs::remove_all(place); }

  Ended Run(const std::string& arguments, const std::string& pictures = "marked") {
    Ended ended;
    FILE* pipe = popen((program + " --pictures " + pictures + " " + arguments).c_str(), "r");
    std::array<char, 4096> data;
    while (const size_t size = fread(data.data(), 1, data.size(), pipe)) ended.output.append(data.data(), size);
    ended.status = WEXITSTATUS(pclose(pipe));
    return ended;
  }
  // Starts it beside the test. Returns what it says on `stream`.
  FILE* Start(std::vector<const char*> arguments, int stream) {
    std::array<int, 2> in, out;
    EXPECT_EQ(pipe(in.data()) | pipe(out.data()), 0);
    arguments.insert(arguments.begin(), {program.c_str(), "--pictures", "marked"});
    arguments.push_back(nullptr);
    child = fork();
    if (child == 0) {
      dup2(in[0], STDIN_FILENO);
      dup2(out[1], stream);
      close(in[1]);
      execv(program.c_str(), const_cast<char* const*>(arguments.data()));
      _exit(99);
    }
    close(in[0]);
    close(out[1]);
    input = in[1];
    return fdopen(out[0], "r");
  }
  // Waits for it and returns its status, -1 if a signal ended it.
  int End(FILE* said) const {
    int status = 0;
    waitpid(child, &status, 0);
    close(input);
    fclose(said);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  pid_t child = 0;
  int input = -1;

  std::string Script(const std::string& text) {
    std::ofstream(place / "script") << text;
    return "--pace free --script " + (place / "script").string();
  }
};

TEST_F(Program, PressesOncePrintsTheShotAndLeavesTheLog) {
  const Ended ended = Run("--pace free --press-once --root " + (place / "board").string() + " --log " +
                          (place / "lumora.log").string() + " --status 2> " + (place / "status").string());
  EXPECT_EQ(ended.status, 0);
  ASSERT_THAT(ended.output, EndsWith(".ori\n"));
  const fs::path shot = ended.output.substr(0, ended.output.size() - 1);
  EXPECT_EQ(shot.parent_path(), place / "board/mnt/udisk/DCIM");
  EXPECT_GT(fs::file_size(shot), 100'000u);
  const auto read = [](const fs::path& file) {
    std::ifstream stream(file);
    return std::string(std::istreambuf_iterator<char>(stream), {});
  };
  EXPECT_THAT(read(place / "lumora.log"), HasSubstr("StartCapture\n"));
  EXPECT_THAT(read(place / "status"),
              AllOf(HasSubstr("starting"), HasSubstr("exposing"), HasSubstr(" of 94"), HasSubstr("1 shot\n")));
}

TEST_F(Program, SaysWhenNoShotComes) {
  fs::create_directories(place / "disk");
  const Ended ended = Run("--pace free --press-once --disk-size 200000 --disk " + (place / "disk").string() + " 2>&1");
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.output, "the board took no shot; LED 0 is red\n");
}

TEST_F(Program, EndsAsItsScriptDoes) {
  EXPECT_EQ(Run(Script("wait idle\nexpect colour blue\n")).status, 0);
  const Ended failed = Run(Script("wait idle\nexpect colour red\n"));
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(failed.output, (place / "script").string() + ":2: expected colour red, found blue\n");
  EXPECT_EQ(Run(Script("dance\n")).status, 2);
  EXPECT_EQ(Run("--pace slow 2>&1").status, 2);
  EXPECT_EQ(Run("--script " + (place / "none").string() + " 2>&1").status, 2);
}

TEST_F(Program, TwoRunsOfOneSeedAreOne) {
  const std::string commands = Script(
      "wait idle\nfault frame.lost silence nth=20 times=2\npress 100ms\nwait shot\nexpect shots 1\nlog 1000\nstatus\n");
  for (const std::string kind : {"marked", "rendered"}) {
    const std::string one = (place / kind / "a").string(), other = (place / kind / "b").string();
    const Ended first = Run(commands + " --disk " + one, kind), second = Run(commands + " --disk " + other, kind);
    EXPECT_EQ(first.status, 0) << first.output;
    EXPECT_EQ(first.output, second.output);
    EXPECT_EQ(system(("diff -r " + one + ' ' + other).c_str()), 0);
  }
}

TEST_F(Program, AsksTheCameraAsAPhoneDoes) {
  const std::string asking =
      Script("wait idle\nask /set_prefix?prefix=roof_\nask /do_capture\nwait shot\nwait 1s\nask /get_list\n");
  const Ended asked = Run("--usb ethernet " + asking);
  EXPECT_EQ(asked.status, 0);
  EXPECT_THAT(asked.output, testing::MatchesRegex("OK\nOK\n0,0,[0-9]+.*roof_.*\n"));
  const Ended vain = Run(asking);  // without an adapter there is nobody to ask
  EXPECT_EQ(vain.status, 1);
  EXPECT_THAT(vain.output, HasSubstr(":2: waited for the camera's port"));
}

TEST_F(Program, ReadsCommandsFromItsInput) {
  const Ended ended = Run("--pace free <<'END'\nwait idle\nexpect colour red\nstatus\nquit\nstatus\nEND");
  EXPECT_EQ(ended.status, 0);
  EXPECT_THAT(ended.output, testing::MatchesRegex("expected colour red, found blue\n.*ready.*0 shots\n"));
}

// With the adapter plugged in, a terminal program can play the remote: it sends a frame and reads a display line.
TEST_F(Program, NamesTheRemotesTerminal) {
  FILE* said = Start({"--usb", "serial"}, STDOUT_FILENO);
  char path[64] = {};
  EXPECT_EQ(fscanf(said, "remote   %63s", path), 1);
  const int line = open(path, O_RDWR | O_NOCTTY);
  EXPECT_GE(line, 0);
  const std::string frame = RemoteFrame('I');
  std::string shown;
  for (int i = 0; i < 60 && shown.size() < 19; i++) {  // the camera may not listen yet
    EXPECT_EQ(write(line, frame.data(), frame.size()), 16);
    pollfd answer{line, POLLIN, 0};
    while (shown.size() < 19 && poll(&answer, 1, 1000) > 0) {
      std::array<char, 64> data;
      shown.append(data.data(), static_cast<size_t>(std::max<ssize_t>(read(line, data.data(), data.size()), 0)));
    }
  }
  EXPECT_THAT(shown, testing::MatchesRegex("X0Ready    . 99 ..0"));
  EXPECT_EQ(write(input, "quit\n", 5), 5);
  EXPECT_EQ(End(said), 0);
  close(line);
}

TEST_F(Program, EndsCleanlyOnInterrupt) {
  FILE* status = Start({"--press-once", "--status"}, STDERR_FILENO);
  EXPECT_NE(fgetc(status), EOF);  // it is under way
  kill(child, SIGINT);
  EXPECT_EQ(End(status), 1) << "there is no shot to show";
}

}  // namespace

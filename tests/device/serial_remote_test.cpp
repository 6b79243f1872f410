// The wireless remote's thread and its port, on a line with the remote at the other end.
#include "common/usbserial/remote.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "common/control_signals.h"
#include "common/fpga_ctrl/device/clock.h"
#include "common/usbserial/display_line.h"
#include "common/usbserial/port.h"
#include "tests/support/on_board.h"
#include "tests/support/remote_frame.h"
#include "tests/support/transcript_match.h"
#include "twin/transcript/transcript.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using twin::Transcript;

namespace {

struct SerialRemote : testing::Test {
  SerialRemote() { board.descriptors.AddNode("/dev/ttyUSB0", board.serial); }
  ~SerialRemote() override { EXPECT_THAT(board.Complaints(), testing::IsEmpty()); }

  // Runs `body` beside the remote's thread.
  void BesideThread(const std::function<void()>& body) {
    OnBoard(
        board,
        [&] {
          ctrlSigs->serialFd = -1;
          board.kernel.Spawn("serial", [&] { LumoSerialMain(ctrlSigs.get()); });
          board.kernel.Spend(10ms);
          body();
        },
        1h);
  }
  void Send(const std::string& bytes) {
    board.serial.Send(bytes);
    board.kernel.Spend(std::chrono::milliseconds(bytes.size() * 11 / 10 + 200));
  }

  twin::Board board{twin::BoardOptions{}};
  std::unique_ptr<ControlSignals> ctrlSigs = std::make_unique<ControlSignals>();
};

std::string Settings(const termios& t) {
  char text[96];
  snprintf(text, sizeof text, "tty settings i 0x%x o 0x%x c 0x%x l 0x%x min 16 time 1", t.c_iflag, t.c_oflag, t.c_cflag,
           t.c_lflag);
  return text;
}

// --- the port ---

// Whatever was set before, by the rule: what the caller asks for, and a port that changes no byte and never waits.
TEST_F(SerialRemote, SetsThePortWhateverItWas) {
  constexpr tcflag_t kSized[] = {CS5, CS6, CS7, CS8};
  struct Row {
    int speed, bits, stops, parity, result;
    tcflag_t flags;
  };
  std::vector<Row> rows = {{9600, 4, 1, 'N', -1, 0}, {9600, 9, 1, 'N', -1, 0}, {9600, 8, 0, 'N', -1, 0},
                           {9600, 8, 3, 'N', -1, 0}, {9600, 8, 1, 'M', -1, 0}, {1234, 8, 1, 'N', 0, B600 | CS8}};
  const std::pair<int, tcflag_t> speeds[] = {{115200, B115200}, {19200, B19200}, {9600, B9600}, {4800, B4800},
                                             {2400, B2400},     {1200, B1200},   {300, B300}};
  for (const auto& [speed, code] : speeds) {
    rows.push_back({speed, 8, 1, 'N', 0, code | CS8});
  }
  for (int bits = 5; bits <= 8; bits++) {
    rows.push_back({9600, bits, 2, 'n', 0, B9600 | kSized[bits - 5] | CSTOPB});
  }
  for (const auto& [letters, flags] : {std::pair{"oO", PARENB | PARODD}, {"eE", PARENB}, {"sS", PARENB | CMSPAR}}) {
    for (const char* letter = letters; *letter != 0; letter++) {
      rows.push_back({9600, 7, 1, *letter, 0, B9600 | CS7 | static_cast<tcflag_t>(flags)});
    }
  }
  OnBoard(board, [&] {
    const int fd = HI_Serial_Open("/dev/ttyUSB0");
    Transcript transcript{board.kernel, "tty"};
    for (const bool all : {false, true}) {
      for (const Row& row : rows) {
        termios before = {};
        before.c_iflag = before.c_oflag = before.c_lflag = all ? 0x7FFFFFFF : 0;
        before.c_cflag = (all ? ~tcflag_t(CBAUD | CIBAUD) : tcflag_t{0}) | B600;
        board.serial.LeaveAs(before);
        transcript.Forget();
        EXPECT_EQ(HI_Serial_Set(fd, row.speed, 1, row.bits, row.stops, row.parity), row.result) << row.parity;
        termios after = before;
        after.c_iflag &= ~tcflag_t(BRKINT | INPCK | ISTRIP | INLCR | IGNCR | ICRNL | IXON | IXOFF | IXANY);
        after.c_oflag &= ~tcflag_t(OPOST);
        after.c_lflag &= ~tcflag_t(ICANON | ECHO | ECHOE | ISIG);
        after.c_cflag &= ~tcflag_t(CBAUD | CSIZE | CSTOPB | PARENB | PARODD | CMSPAR | CRTSCTS);
        after.c_cflag |= row.flags | CLOCAL | CREAD;
        std::vector<std::string> expected;
        if (row.result == 0) expected = {"tty flush input", Settings(after)};
        EXPECT_TRUE(SameRoad(expected, transcript.Texts())) << row.speed << row.bits << char(row.parity) << row.stops;
      }
    }
    for (const auto& [fault, message] : {std::pair{"serial.settings fail=EIO detail=0", "Serial tcgetattr error!\n"},
                                         {"serial.settings fail=EIO detail=1", "Serial tcsetattr error!\n"}}) {
      board.faults.Add(fault);
      EXPECT_EQ(HI_Serial_Init(fd, 9600, 0, 8, 1, 'N'), -1);
      EXPECT_EQ(board.LogCount(message), 1u);
    }
    board.faults.Add("serial.write value=5");
    transcript.Forget();
    EXPECT_EQ(HI_Serial_Send(fd, "twelve bytes", 12), -1);
    EXPECT_EQ(HI_Serial_Send(fd, "twelve bytes", 12), 12);
    EXPECT_THAT(transcript.Texts(),
                ElementsAre("tty write \"twelve bytes\"", "tty flush output", "tty write \"twelve bytes\""));
    EXPECT_EQ(HI_Serial_Open("/dev/ttyUSB1"), -1);
    EXPECT_EQ(board.LogCount("Can't Open Serial Device\n"), 1u);
  });
}

// What other settings make of the remote's bytes "X1\r", and of the camera's "X~".
TEST_F(SerialRemote, AWrongPortTurnsBytesToOthers) {
  struct Row {
    int speed, bits;
    char parity;
    tcflag_t input, local;
    std::string comes, shown;
  };
  const std::string broken = "anything else";
  for (const Row& row : {Row{9600, 7, 'E', 0, 0, "X1\r", "\xD8~"},  // a parity bit where the eighth would be
                         Row{9600, 8, 'N', ICRNL, 0, "X1\n", "X~"}, Row{9600, 8, 'N', IGNCR, ECHO, "X1", "X1X~"},
                         Row{4800, 8, 'N', 0, 0, broken, broken}}) {
    OnBoard(board, [&] {
      const int fd = HI_Serial_Open("/dev/ttyUSB0");
      EXPECT_EQ(HI_Serial_Init(fd, row.speed, 0, row.bits, 1, row.parity), 0);
      termios settings = board.serial.Settings();
      settings.c_iflag |= row.input;
      settings.c_lflag |= row.local;
      board.serial.LeaveAs(settings);
      board.serial.Forget();
      board.serial.Send("X1\r");
      char bytes[100];
      const int count = HI_Serial_Recv(fd, bytes, sizeof bytes);
      board.kernel.Spend(50ms);
      HI_Serial_Send(fd, "X~", 2);
      board.kernel.Spend(50ms);
      const std::string comes(bytes, static_cast<size_t>(std::max(count, 0)));
      EXPECT_EQ(comes == row.comes, row.comes != broken) << row.speed << row.bits << row.parity;
      EXPECT_EQ(board.serial.Received() == row.shown, row.shown != broken) << row.speed << row.bits << row.parity;
    });
  }
}

// --- the thread ---

TEST_F(SerialRemote, OpensReadsAndClosesItsPort) {
  BesideThread([&] {
    ctrlSigs->needQuit = 1;
    Send(std::string(16, '.'));  // it looks between two reads
    ctrlSigs->needQuit = 0;
    const int fd = ctrlSigs->serialFd;
    EXPECT_GE(fd, 3);
    Transcript transcript{board.kernel, "tty log sleep"};
    board.kernel.Spawn("serial", [&] { LumoSerialMain(ctrlSigs.get()); });
    board.kernel.Spend(10ms);
    board.serial.Send("X0?");
    board.kernel.Spend(31s);
    ctrlSigs->needQuit = 1;
    board.kernel.Spend(31s);
    EXPECT_EQ(ctrlSigs->serialFd, fd);
    const std::string silence[] = {"log HI_Serial_Recv \"Serial haven't data receive!\\n\"",
                                   "log LumoSerialMain \"Serial haven't data receive \\n\"", "sleep 1000"};
    // A fresh port's flags, less what would touch a byte: 9600 8N1.
    std::vector<std::string> expected = {"tty open 0x902", "tty flags 0x0", "tty flush input",
                                         "tty settings i 0x0 o 0x4 c 0xcbd l 0x8a20 min 16 time 1", "tty read 3"};
    for (int i = 0; i < 2; i++) expected.insert(expected.end(), std::begin(silence), std::end(silence));
    expected.insert(expected.end(), "tty close");
    EXPECT_TRUE(SameRoad(expected, transcript.Texts()));
    EXPECT_EQ(board.LogCount("Serial Init: 9600, 0, 8, 1, N\n"), 2u);
  });
}

TEST_F(SerialRemote, DoesWhatEachFrameAsksFor) {
  using Signals = ControlSignals;
  struct Row {
    const char* what;
    std::string frame;
    std::function<void(Signals&)> before;
    bool heard;        // clock and activity
    const char* log;   // what it says; empty: it is dropped
    unsigned int cmd;  // remoteCapCmd afterwards
  };
  const auto stored = [](BYTE strobe, BYTE delay, BYTE capture, int ev) {
    return [=](Signals& s) {
      s.strobeMode = strobe;
      s.delayMode = delay;
      s.captureMode = capture;
      s.evCompVal = static_cast<int8_t>(ev);
    };
  };
  const auto saves = [](BYTE stage) { return [=](Signals& s) { s.needSave = stage; }; };
  const Row rows[] = {
      {"status", RemoteFrame('I'), {}, true, "GetInfo", 0},
      {"by hand", RemoteFrame('H'), stored(2, 7, 3, -3), true, "HandCapture", PackRemoteCapCmd(2, 7, 3, 0x7D, 0)},
      {"on a tripod", RemoteFrame('T'), stored(1, 0, 0, 5), true, "TripodCapture", PackRemoteCapCmd(1, 0, 0, 0x85, 1)},
      {"too much", RemoteFrame('T'), stored(7, 9, 0xFD, 17), true, "TripodCapture", PackRemoteCapCmd(3, 8, 5, 0x90, 1)},
      {"least", RemoteFrame('H'), stored(4, 8, 8, -17), true, "HandCapture", PackRemoteCapCmd(0, 8, 0, 0x70, 0)},
      {"after a failed shot", RemoteFrame('H'), saves(1), true, "HandCapture", PackRemoteCapCmd(0, 0, 0, 0x80, 0)},
      {"a shot is accepted", RemoteFrame('H'), saves(0xFE), true, "", 0},
      {"a shot is running", RemoteFrame('I'), saves(0xFF), true, "", 0},
      {"a series", RemoteFrame('T'), [](Signals& s) { s.timeLapse = 2; }, true, "", 0},
      {"a request waits", RemoteFrame('T'), [](Signals& s) { s.remoteCapCmd = 5; }, true, "", 5},
      {"another camera", RemoteFrame('I', 4), {}, false, "", 0},
      {"its own number", RemoteFrame('I', 4), [](Signals& s) { s.wirelessId = 4; }, true, "GetInfo", 0},
      {"an unknown word", RemoteFrame('Q'), {}, false, "", 0},
      {"a small letter", RemoteFrame('h'), {}, false, "", 0}};
  BesideThread([&] {
    for (const Row& row : rows) {
      SCOPED_TRACE(row.what);
      Signals& s = *ctrlSigs;
      s.strobeMode = s.delayMode = s.captureMode = s.wirelessId = s.needSave = s.timeLapse = s.needWirelessCamInfo = 0;
      s.evCompVal = 0;
      s.remoteCapCmd = 0;
      s.needExitTimeLapse = 0xFF;
      s.saveRaw = s.gyroCorrect = s.saveSingle = 1;
      s.actionTime = 0;
      if (row.before) row.before(s);
      const int series = s.timeLapse;
      const size_t said = board.Log().size();
      Transcript transcript{board.kernel, "clock"};
      Send(row.frame);
      const std::string log = board.Log().substr(said);
      const bool taken = *row.log != 0, shot = taken && row.cmd != 0;
      EXPECT_EQ(log, taken ? std::string("Serial Recv: ") + row.log + " 26-11-24 14-05-09\n" : "");
      EXPECT_EQ(s.remoteCapCmd, row.cmd);
      EXPECT_EQ(s.needWirelessCamInfo, taken && !shot ? 0xFF : 0);
      for (const BYTE flag : {BYTE(s.saveRaw), BYTE(s.gyroCorrect), BYTE(s.saveSingle)}) EXPECT_EQ(flag, shot ? 0 : 1);
      EXPECT_EQ(s.needExitTimeLapse, shot ? 0 : 0xFF);
      EXPECT_EQ(s.timeLapse, series);
      EXPECT_EQ(s.actionTime != 0, row.heard);
      const auto clock = transcript.Texts();
      EXPECT_EQ(clock, row.heard ? std::vector<std::string>{"clock set 1795529109"} : std::vector<std::string>{});
    }
    EXPECT_EQ(board.clockChip.Date().hour, 14);
  });
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

// Of 10,000 broken bytes every frame that came through whole is taken, and none that did not: in reads of a frame, and
// in reads of whatever has come while the thread was away.
TEST_F(SerialRemote, TakesExactlyTheFramesThatCameThrough) {
  std::string stream = RemoteFrame('I').substr(0, 7);
  int broken = 0;
  std::mt19937 random(7);
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
  for (const bool away : {false, true}) {
    const size_t before = board.LogCount("Serial Recv: GetInfo");
    size_t longest = 0;
    ctrlSigs->needQuit = 0;
    BesideThread([&] {
      Transcript transcript{board.kernel, "tty"};
      transcript.OnLine([&](const Transcript::Line& line) {
        if (!line.text.starts_with("tty read ")) return;
        longest = std::max(longest, static_cast<size_t>(std::stoul(line.text.substr(9))));
        if (away) board.kernel.Spend(std::chrono::milliseconds(random() % 1500));
      });
      board.serial.Send(stream.substr(0, 7));
      board.kernel.Spend(2s);  // a frame in two pieces
      Send(stream.substr(7));
      board.kernel.Spend(3s);
      ctrlSigs->needQuit = 1;
      Send(std::string(16, '.'));  // it looks between two reads
      board.kernel.Spend(2s);      // it may have been away
    });
    EXPECT_EQ(board.LogCount("Serial Recv: GetInfo") - before, StatusRequestsIn(stream + std::string(16, '.')));
    EXPECT_EQ(longest > 1000, away);
  }
  EXPECT_GT(StatusRequestsIn(stream), 100u);
}

// --- the lines ---

TEST_F(SerialRemote, ShowsALineAndItsLevels) {
  OnBoard(board, [&] {
    ctrlSigs->serialFd = HI_Serial_Open("/dev/ttyUSB0");
    ctrlSigs->wirelessId = 7;
    Transcript transcript{board.kernel, "tty log"};
    LumoSendDisplayLine(ctrlSigs.get(), kLineReady, {0, 99}, true);
    EXPECT_THAT(transcript.Texts(),
                ElementsAre("tty write \"X7Ready    Y 00 990\"", "log - \"Serial Send: X7Ready    Y 00 990\\n\""));

    struct Levels {
      unsigned free;  // KB of 62,500,000
      int samples, sample, storage, battery;
    };
    for (const Levels& row : {Levels{62'400'000, 64, 60, 99, 99},
                              {61'800'000, 64, 59, 98, 99},
                              {625'000 - 4000, 64, 20, 0, 10},
                              {625'000 - 4000, 64, 37, 0, 40},
                              {625'000 - 4000, 64, 44, 0, 59},
                              {625'000 - 4000, 64, 52, 0, 80},
                              {1'250'000 + 4000, 63, 60, 2, 0},
                              {0, 64, 0, 0, 0}}) {
      board.disk.FillTo(row.free);
      ctrlSigs->batVoltageValIdx = row.samples;
      for (auto& sample : ctrlSigs->batVoltageVal) sample = static_cast<BYTE>(row.sample);
      const DisplayLevels levels = LumoReadDisplayLevels(ctrlSigs.get());
      EXPECT_EQ(levels.storageLevel, row.storage) << row.free;
      EXPECT_EQ(levels.batteryLevel, row.battery) << row.sample;
    }
    board.faults.Add("disk.statfs fail times=always");
    EXPECT_EQ(LumoReadDisplayLevels(ctrlSigs.get()).storageLevel, 0);
  });
}

}  // namespace

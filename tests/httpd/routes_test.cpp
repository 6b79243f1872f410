// Which path answers on which port, what counts as activity, and what the capture and settings routes hand over.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "tests/support/file_bytes.h"
#include "tests/support/http_bench.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

struct Routes : HttpBench {
  // The command that a request put into the mailbox.
  Command CommandOf(const std::string& target) {
    commands.clear();
    EXPECT_EQ(Get(target).raw, OkAnswer());
    EXPECT_THAT(commands, SizeIs(1)) << target;
    return commands.empty() ? Command{} : commands[0];
  }
};

const std::string invalid = NotFoundAnswer("Invalid request");

TEST_F(Routes, EachPathOnItsPortAndWhatKeepsTheCameraAwake) {
  Start();
  const auto expectServed = [&](const std::string& path, bool stamps) {
    SCOPED_TRACE(path);
    const uint16_t port = path == "/get_file" ? kBulk : kControl;
    ctrl->actionTime = 1;
    EXPECT_EQ(Get(path, port == kControl ? kBulk : kControl).raw, invalid);
    EXPECT_EQ(ctrl->actionTime, 1u);
    const HttpAnswer answer = Get(path, port);
    EXPECT_TRUE(answer.ended);
    EXPECT_NE(answer.raw, invalid);
    EXPECT_NE(answer.Status(), 0);
    const auto now = static_cast<unsigned int>(board.Uptime() / 1ms);
    EXPECT_NEAR(ctrl->actionTime, stamps ? now : 1, stamps ? 100 : 0);
    EXPECT_EQ(Get(path + "/", port).raw, invalid);
    EXPECT_EQ(Get(path.substr(1), port).raw, invalid);
  };
  for (const char* path :
       {"/get_session", "/get_list", "/get_thumb", "/get_parameters", "/shutdown", "/get_battery_level",
        "/get_last_temperature", "/get_current_temperature", "/get_last_exposure"})
    expectServed(path, false);
  for (const char* path : {"/set_time", "/do_capture", "/cap_single", "/get_file", "/del_file", "/get_single",
                           "/config", "/set_prefix", "/get_information", "/exit_timelapse", "/format_udisk",
                           "/compass_calibrate_start", "/compass_calibrate_end", "/del_updated_firmware"})
    expectServed(path, true);
  ctrl->actionTime = 1;
  EXPECT_EQ(Exchange(board, kBulk, PostText("/update_firmware?crcvalue=0", "x")).Status(), 400);
  EXPECT_EQ(ctrl->actionTime, 1u);
  EXPECT_EQ(Exchange(board, kControl, PostText("/update_firmware?crcvalue=0", "x")).raw, invalid);
}

// --- shots ---

TEST_F(Routes, CaptureWordsBitByBit) {
  Start();
  EXPECT_EQ(CommandOf("/do_capture").remoteCapCmd, 0x00008000u);
  EXPECT_EQ(CommandOf("/do_capture?strobemode=2&delay=5&capmode=3&evmode=11&isomode=1").remoteCapCmd, 0x25038301u);
  EXPECT_EQ(CommandOf("/do_capture?strobemode=3&delay=8&capmode=7&evmode=144&isomode=3").remoteCapCmd, 0x38079003u);
  EXPECT_EQ(Logged("RemoteCap StrobeMode:2 TimeLapse:0 DelayMode:5 CapMode:3 IsoMode:1 EvComp:3 Exposure:10000 Iso:100 "
                   "Raw:0 GryoCorrect:0\n"),
            1u);
}

TEST_F(Routes, WhatACaptureWritesBesides) {
  ctrl->manualExpsUs = 77;
  ctrl->manualIso = 88;
  ctrl->saveSingle = 9;
  ctrl->needExitTimeLapse = 255;
  Start();
  Command command =
      CommandOf("/do_capture?capmode=2&exposure=5000&iso=400&longitude=-3&latitude=4&saveraw=1&gyrocorrect=2");
  EXPECT_EQ(command.manualExpsUs, 77) << "an even mode leaves the manual values";
  EXPECT_EQ(command.manualIso, 88);
  EXPECT_EQ(command.longitude, -3);
  EXPECT_EQ(command.latitude, 4);
  EXPECT_EQ(command.saveRaw, 1);
  EXPECT_EQ(command.gyroCorrect, 2);
  EXPECT_EQ(command.saveSingle, 0);
  EXPECT_EQ(command.needExitTimeLapse, 0);

  command = CommandOf("/do_capture?capmode=1");
  EXPECT_EQ(command.manualExpsUs, 10000);
  EXPECT_EQ(command.manualIso, 100);
  EXPECT_EQ(command.longitude, 0);

  // Two halves come before a series: no series, no raw, and the exposure stays long.
  command = CommandOf("/do_capture?capmode=1&exposure=1000000&delay=8&timelapse=3&saveraw=1&gyrocorrect=1");
  EXPECT_EQ(command.manualExpsUs, 1000000);
  EXPECT_EQ(command.timeLapse, 0);
  EXPECT_EQ(command.saveRaw, 0);
  EXPECT_EQ(command.gyroCorrect, 0);

  command = CommandOf("/do_capture?capmode=3&exposure=1000000&timelapse=9&saveraw=1&gyrocorrect=1");
  EXPECT_EQ(command.manualExpsUs, 250000);
  EXPECT_EQ(command.timeLapse, 7);
  EXPECT_EQ(command.saveRaw, 0);
  EXPECT_EQ(command.gyroCorrect, 0);

  ctrl->timeLapse = 0;
  EXPECT_EQ(CommandOf("/do_capture?capmode=3&exposure=1000&timelapse=1").manualExpsUs, 1000);

  ctrl->timeLapse = 0;
  ctrl->usbMode = kUsbEthernet | kUsbSerial;  // there is a position of the camera's own
  ctrl->longitude = 11;
  ctrl->latitude = 12;
  command = CommandOf("/do_capture?longitude=-3&latitude=4");
  EXPECT_EQ(command.longitude, 11);
  EXPECT_EQ(command.latitude, 12);
}

TEST_F(Routes, ARefusedCaptureSaysOk) {
  Start();
  const auto refused = [this](const std::string& target) {
    commands.clear();
    const size_t logged = Logged("RemoteCap");
    EXPECT_EQ(Get(target).raw, OkAnswer());
    return commands.empty() && Logged("RemoteCap") == logged;
  };
  ctrl->needSave = 254;
  EXPECT_TRUE(refused("/do_capture"));
  EXPECT_FALSE(refused("/cap_single")) << "it does not look there";
  ctrl->needSave = 255;
  EXPECT_TRUE(refused("/do_capture"));
  ctrl->needSave = 17;
  EXPECT_FALSE(refused("/do_capture"));
  ctrl->timeLapse = 2;
  ctrl->saveSingle = 3;
  EXPECT_TRUE(refused("/do_capture"));
  std::ofstream{Disk("DCIM/00.jpg")} << "earlier";
  EXPECT_TRUE(refused("/cap_single"));
  EXPECT_EQ(FileText(Disk("DCIM/00.jpg")), "earlier");
  EXPECT_EQ(ctrl->saveSingle, 3);
}

TEST_F(Routes, SinglePicture) {
  ctrl->manualIso = 800;
  ctrl->saveRaw = 1;
  Start();
  for (const char* name : {"DCIM/24.jpg", "DCIM/23.jpg"}) std::ofstream{Disk(name)} << "earlier";
  ctrl->usbMode = kUsbEthernet | kUsbSerial;
  ctrl->longitude = 11;
  const Command command = CommandOf("/cap_single?camidx=30&exposure=2500&longitude=7&iso=1600&saveraw=1");
  EXPECT_EQ(command.remoteCapCmd, 98305u);
  EXPECT_EQ(command.saveSingle, 25);
  EXPECT_EQ(command.manualExpsUs, 2500);
  EXPECT_EQ(command.manualIso, 100);
  EXPECT_EQ(command.longitude, 0);
  EXPECT_EQ(command.saveRaw, 0);
  EXPECT_FALSE(std::filesystem::exists(Disk("DCIM/24.jpg")));
  EXPECT_TRUE(std::filesystem::exists(Disk("DCIM/23.jpg")));
  EXPECT_EQ(Logged("RemoteCap Exposure:2500\n"), 1u);
  EXPECT_EQ(CommandOf("/cap_single").manualExpsUs, 10000);
}

TEST_F(Routes, ACaptureHoldsItsPortUntilItIsTaken) {
  takesCommands = false;
  Start();
  const auto capture = board.network.Connect(kControl), list = board.network.Connect(kControl);
  capture->Send(GetText("/do_capture"));
  list->Send(GetText("/get_list"));
  board.Run(10min);
  EXPECT_EQ(capture->Received() + list->Received(), "");
  EXPECT_EQ(Get("/get_file", kBulk).Status(), 404) << "the other port serves";
  takesCommands = true;
  EXPECT_TRUE(RunUntilEnded(board, *list, 10ms));
  EXPECT_EQ(AnswerOf(*capture).body, "OK");
  EXPECT_EQ(AnswerOf(*list).body, "0,0\r\n");
}

// --- settings ---

TEST_F(Routes, TimeByPositionAlone) {
  Start();
  const std::string bad = TextAnswer("400 BAD REQUEST", "Invalid time string");
  for (const char* query : {"", "?time=", "?time=2026-11-13_06:53:0", "?time=2026-11-13_06:53:080"}) {
    EXPECT_EQ(Get(std::string("/set_time") + query).raw, bad) << query;
  }
  EXPECT_EQ(Logged("SetTime"), 0u);
  EXPECT_EQ(Get("/set_time?time=2026-11-13_06:53:08").raw, OkAnswer());
  EXPECT_EQ(board.SystemTime() / 1s, 1794552788);
  EXPECT_EQ(board.clockChip.Date().day, 13);
  EXPECT_EQ(Logged("SetTime 2026-11-13_6:53:8\n"), 1u);
  EXPECT_EQ(Get("/set_time?time=2027x01x02x03x04x05").raw, OkAnswer());
  EXPECT_EQ(board.clockChip.Date(), (twin::CivilTime{2027, 1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(Logged("SetTime 2027-1-2_3:4:5\n"), 1u);
  // No day of any month: the system rolls it over, the chip refuses it, the client hears nothing of that.
  EXPECT_EQ(Get("/set_time?time=2027-02-30_00:00:00").raw, OkAnswer());
  EXPECT_EQ(board.clockChip.Date().month, 1);
  EXPECT_EQ(board.SystemTime() / 1s, 1803945600);  // 2 March
}

TEST_F(Routes, ConfigWritesAllThreeAndAPrefixItsLength) {
  Start();
  EXPECT_EQ(Get("/config?btnsetting=1&shutdownmode=5&mutemode=1").raw, OkAnswer());
  EXPECT_EQ(Get("/set_prefix?prefix=abcdef").raw, OkAnswer());
  EXPECT_EQ(ctrl->prefixLen, 6);
  EXPECT_THAT(FileText(Disk("DCIM/setting.ini")), HasSubstr("btnsetting=1\nshutdownmode=5\n"));
  EXPECT_EQ(Get("/config").raw, OkAnswer());
  EXPECT_EQ(ctrl->btnSetting + ctrl->shutdownMode + ctrl->muteMode, 0);
}

TEST_F(Routes, CompassWaitsForItsAnswer) {
  Start();
  for (const char* path : {"/compass_calibrate_start", "/compass_calibrate_end"}) {
    EXPECT_EQ(Get(path).raw, OkAnswer("NOT SUPPORT"));
    EXPECT_EQ(ctrl->needCompassCalibrate, 0);
  }
  ctrl->usbMode = kUsbEthernet | kUsbSerial;
  const std::tuple<const char*, int, const char*> cases[] = {{"/compass_calibrate_start", 0, "OK"},
                                                             {"/compass_calibrate_end", 255, "ERROR"}};
  for (const auto& [path, answer, body] : cases) {
    const auto client = board.network.Connect(kControl);
    client->Send(GetText(path));
    EXPECT_FALSE(RunUntilEnded(board, *client, 1min)) << "no time-out";
    calibration = answer;
    EXPECT_TRUE(RunUntilEnded(board, *client, 4s));
    EXPECT_EQ(client->Received(), OkAnswer(body));
    ctrl->needCompassCalibrate = 0;
  }
}

TEST_F(Routes, Temperatures) {
  Start();
  const auto last = [this](const std::string& query) { return Get("/get_last_temperature" + query).body; };
  EXPECT_EQ(last(""), "-10000");
  for (size_t i = 0; i < 25; i++) ctrl->camTemp[i] = static_cast<int8_t>(30 + i % 2);  // 762 in all, mean 30.48
  EXPECT_EQ(last(""), "30");
  ctrl->camTemp[0] = 31;  // 763: 30.52
  EXPECT_EQ(last("?index=0"), "31");
  EXPECT_EQ(last("?index=1"), "31");
  EXPECT_EQ(last("?index=25"), "30");
  EXPECT_EQ(last("?index=26"), "31");
  ctrl->camTemp[24] = 127;  // 860: 34.4
  EXPECT_EQ(last(""), "34") << "a sensor that was not read counts with its 127";
  EXPECT_EQ(last("?index=25"), "-10000");
  ctrl->camTemp[3] = -2;
  EXPECT_EQ(last("?index=4"), "254");

  const twin::Time before = board.Now();
  EXPECT_EQ(Get("/get_current_temperature?index=2").body, "-10000");
  EXPECT_NEAR((board.Now() - before) / 1ms, 500, 10);
  EXPECT_EQ(ctrl->needReadTemperature, 1) << "the reading is still wanted";
  temperature = 95ms;
  board.Run(100ms);
  const twin::Time again = board.Now();
  EXPECT_EQ(Get("/get_current_temperature?index=2").body, "31");
  EXPECT_NEAR((board.Now() - again) / 1ms, 100, 10);
}

}  // namespace

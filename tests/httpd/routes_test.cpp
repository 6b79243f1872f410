// Each route, a row a case: what it finds, what it writes into the shared record, what it answers, what it does
// besides.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <span>

#include "tests/support/http_bench.h"
#include "twin/transcript/transcript.h"

namespace {

using namespace std::chrono_literals;

// `answer` is a body of "OK", or a status in front of ": ". `road` is what the thread did to files, the clock and the
// log, "; " between; "..." ends what is told of it, null tells nothing.
struct Row {
  const char* before;
  const char* target;
  const char* written;
  const char* answer;
  const char* road = "";
};

// What every capture writes.
#define CAPTURE(word, rest) "remoteCapCmd=" word " needExitTimeLapse=0 " rest " saveSingle=0 stamp"
#define PLAIN "longitude=0 latitude=0 saveRaw=0 gyroCorrect=0"

const Row captures[] = {
    {"", "/do_capture", CAPTURE("32768", PLAIN), "OK",
     "log - \"RemoteCap StrobeMode:0 TimeLapse:0 DelayMode:0 CapMode:0 IsoMode:0 EvComp:0 Exposure:10000 Iso:100 Raw:0 "
     "GryoCorrect:0\\n\""},
    {"", "/do_capture?strobemode=2&timelapse=3&delay=5&capmode=3&evmode=11&isomode=1",
     CAPTURE("620987137", "timeLapse=3 manualExpsUs=10000 manualIso=100 " PLAIN), "OK",
     "log - \"RemoteCap StrobeMode:2 TimeLapse:3 DelayMode:5 CapMode:3 IsoMode:1 EvComp:3 Exposure:10000 Iso:100 Raw:0 "
     "GryoCorrect:0\\n\""},
    {"", "/do_capture?strobemode=3&delay=8&capmode=6&evmode=144&isomode=3", CAPTURE("939954179", PLAIN), "OK", nullptr},
    {"", "/do_capture?capmode=2&exposure=5000&iso=400&longitude=-3&latitude=4&saveraw=1&gyrocorrect=2",
     CAPTURE("163840", "longitude=-3 latitude=4 saveRaw=1 gyroCorrect=2"), "OK",
     "log - \"RemoteCap StrobeMode:0 TimeLapse:0 DelayMode:0 CapMode:2 IsoMode:0 EvComp:0 Exposure:5000 Iso:400 Raw:1 "
     "GryoCorrect:2\\n\""},
    {"usbMode=6", "/do_capture?longitude=-3&latitude=4", CAPTURE("32768", "saveRaw=0 gyroCorrect=0"), "OK", nullptr},
    // Two halves come before a series: no series, no raw frames, and the exposure stays long.
    {"", "/do_capture?capmode=1&exposure=1000000&delay=8&timelapse=3&saveraw=1&gyrocorrect=1",
     CAPTURE("134316032", "manualExpsUs=1000000 manualIso=100 " PLAIN), "OK", nullptr},
    {"", "/do_capture?capmode=1&exposure=250001&iso=1600&delay=7&timelapse=9&saveraw=1&gyrocorrect=1",
     CAPTURE("117538816", "timeLapse=7 manualExpsUs=250000 manualIso=1600 " PLAIN), "OK", nullptr},
    {"", "/do_capture?capmode=1&exposure=249999&timelapse=1",
     CAPTURE("98304", "timeLapse=1 manualExpsUs=249999 manualIso=100 " PLAIN), "OK", nullptr},
    {"needSave=253", "/do_capture", CAPTURE("32768", PLAIN), "OK", nullptr},
    {"needSave=254", "/do_capture", "stamp", "OK"},
    {"needSave=255", "/do_capture", "stamp", "OK"},
    {"timeLapse=2", "/do_capture", "stamp", "OK"},
    {"timeLapse=2", "/cap_single", "stamp", "OK"},
    {"needSave=255 usbMode=6", "/cap_single?camidx=30&exposure=2500&longitude=7&iso=1600&saveraw=1&gyrocorrect=1",
     "remoteCapCmd=98305 needExitTimeLapse=0 manualExpsUs=2500 manualIso=100 " PLAIN " saveSingle=25 stamp", "OK",
     "file remove \"/mnt/udisk/DCIM/24.jpg\" failed; log - \"RemoteCap Exposure:2500\\n\""},
    {"", "/cap_single",
     "remoteCapCmd=98305 needExitTimeLapse=0 manualExpsUs=10000 manualIso=100 " PLAIN " saveSingle=1 stamp", "OK",
     nullptr},
    {"", "/exit_timelapse", "stamp", "OK"},
    {"timeLapse=1", "/exit_timelapse", "needExitTimeLapse=255 stamp", "OK"},
};

const Row settings[] = {
    {"", "/config?btnsetting=1&shutdownmode=5&mutemode=1", "btnSetting=1 shutdownMode=5 muteMode=1 stamp", "OK",
     "file open \"/mnt/udisk/DCIM/setting.ini\" wb..."},
    {"", "/set_prefix?prefix=elevenchars", "prefixLen=11 stamp prefix=elevenchars", "OK",
     "file open \"/mnt/udisk/DCIM/setting.ini\" wb..."},
    {"", "/set_prefix?prefix=xy", "prefixLen=2 stamp prefix=xyfore", "OK", nullptr},
    {"", "/set_prefix", "prefixLen=0 stamp", "OK", nullptr},
    {"", "/shutdown", "needShutdown=255", "OK"},
    {"", "/format_udisk", "needFormat=255 stamp", "OK"},
    {"", "/set_time", "stamp", "400 BAD REQUEST: Invalid time string"},
    {"", "/set_time?time=2026-11-13_06:53:0", "stamp", "400 BAD REQUEST: Invalid time string"},
    {"", "/set_time?time=2026-11-13_06:53:080", "stamp", "400 BAD REQUEST: Invalid time string"},
    {"", "/set_time?time=2026-11-13_06:53:08", "stamp", "OK",
     "clock set 1794552788; log - \"SetTime 2026-11-13_6:53:8\\n\""},
    {"", "/set_time?time=2027901902903904905", "stamp", "OK",
     "clock set 1798859045; log - \"SetTime 2027-1-2_3:4:5\\n\""},
    {"usbMode=3", "/compass_calibrate_start", "stamp", "NOT SUPPORT"},
    {"usbMode=3", "/compass_calibrate_end", "stamp", "NOT SUPPORT"},
    {"usbMode=4", "/compass_calibrate_start", "needCompassCalibrate=1 stamp", "OK"},
    {"usbMode=4", "/compass_calibrate_start", "needCompassCalibrate=1 stamp", "ERROR"},
    {"usbMode=4", "/compass_calibrate_end", "needCompassCalibrate=2 stamp", "ERROR"},
};

const Row state[] = {
    {"deviceId=12 serialNo=4294967295", "/get_information", "stamp",
     "disk_total=62500000\r\ndisk_free=62499968\r\nfirmware_version=20251113\r\ndevice_id=12\r\nserial_no=-1\r\n"},
    {"batCharging=1", "/get_battery_level", "", "-1"},
    {"batVoltageValIdx=64", "/get_battery_level", "", "100"},
    {"batVoltageValIdx=64 batCharging=1", "/get_battery_level", "", "1100"},
    {"", "/get_last_temperature", "", "-10000"},
    {"", "/get_current_temperature", "needReadTemperature=1", "-10000"},
    {"lastExposure=1234567 lastIso=200", "/get_last_exposure", "", "exposure=1.234567s\r\niso=200\r\n"},
    {"", "/get_list?longitude=5&latitude=6", "", "0,0\r\n"},
    {"needCapture=255 needSave=254 batCharging=1", "/get_list", "", "255,254\r\n"},
    {"needCapture=255 needSave=254 batVoltageValIdx=64", "/get_list", "", "255,254,100\r\n"},
    {"usbMode=4 gpsState=1 batCharging=1", "/get_list", "", "0,0,-1,1\r\n"},
    {"usbMode=4 needCapture=255 needSave=255 gpsState=1 batVoltageValIdx=64 batCharging=1", "/get_list", "",
     "255,255,1100,1\r\n"},
    {"usbMode=4 needCapture=255 needSave=255 gpsState=100 batVoltageValIdx=64 batCharging=1", "/get_list", "",
     "255,255,1100,100"},
    // During a series a poll sets the position, to 0 if it has none.
    {"timeLapse=1", "/get_list?longitude=5&latitude=6", "longitude=5 latitude=6", "0,0\r\n"},
    {"timeLapse=1", "/get_list", "longitude=0 latitude=0", "0,0\r\n"},
    {"timeLapse=1 usbMode=4", "/get_list?longitude=5&latitude=6", "", "0,0,-1,0\r\n"},
};

const Row files[] = {
    {"", "/get_thumb?filename=none", "needUpdate=255 errFileNum=1", "404 NOT FOUND: File not found"},
    {"errFileNum=1", "/get_thumb?filename=none", "needUpdate=255", "404 NOT FOUND: File not found"},
    {"", "/get_parameters?filename=none", "", "404 NOT FOUND: File cannot open",
     "file open \"/mnt/udisk/DCIM/none.ori\" rb failed"},
    {"", "/get_single?camidx=8", "stamp", "404 NOT FOUND: File not found"},
    {"", "/get_file?filename=none", "stamp", "404 NOT FOUND: File not found"},
    {"", "/del_file?filename=a.B", "needUpdate=255 stamp", "OK", "file remove \"/mnt/udisk/DCIM/a.B.ori\" failed"},
    {"", "/del_updated_firmware", "stamp", "OK", "file remove \"/mnt/udisk/lumora.updated\" failed"},
    {"", "/update_firmware?crcvalue=1", "", "400 Bad Request: CRC error", nullptr},
    // Shots of a camera with the remote, which has neither Wi-Fi nor Ethernet, have a name of their own.
    {"serialFd=-1 usbMode=4", "/get_parameters?filename=a", "", "404 NOT FOUND: File cannot open",
     "file open \"/mnt/udisk/DCIM/a.ori\" rb failed"},
    {"serialFd=3 usbMode=5", "/get_parameters?filename=a", "", "404 NOT FOUND: File cannot open",
     "file open \"/mnt/udisk/DCIM/a.ori\" rb failed"},
    {"serialFd=3 usbMode=6", "/get_parameters?filename=a", "", "404 NOT FOUND: File cannot open",
     "file open \"/mnt/udisk/DCIM/a.ori\" rb failed"},
    {"serialFd=3 usbMode=4", "/del_file?filename=a", "needUpdate=255 stamp", "OK",
     "file remove \"/mnt/udisk/DCIM/a.dwo\" failed"},
};
#undef CAPTURE
#undef PLAIN

const std::string invalid = NotFoundAnswer("Invalid request");

struct Routes : HttpBench {
  HttpAnswer Ask(const std::string& target, uint16_t port) {
    return target.starts_with("/update") ? Exchange(board, port, PostText(target, "x")) : Get(target, port);
  }
  static std::string AnswerOf(const std::string& text) {
    const size_t colon = text.find(": ");
    return text[0] == '4' ? TextAnswer(text.substr(0, colon), text.substr(colon + 2)) : OkAnswer(text);
  }
  void Expect(const Row& row) {
    SCOPED_TRACE(std::string(row.before) + " " + row.target);
    const std::string target = row.target, path = target.substr(0, target.find('?'));
    const uint16_t port = path == "/get_file" || path == "/update_firmware" ? kBulk : kControl;
    Prepare();
    Set(row.before);
    calibration = row.answer == std::string("ERROR") ? 255 : 0;
    for (const auto& [wrong, at] :
         {std::pair{path, kControl + kBulk - port}, {path + "/", +port}, {path.substr(1), +port}}) {
      EXPECT_EQ(Ask(wrong, static_cast<uint16_t>(at)).raw, invalid) << wrong << at;
    }
    EXPECT_EQ(Written(), "") << "on the way to nothing";
    const twin::Transcript transcript{board.kernel, "file clock log"};
    EXPECT_EQ(Ask(target, port).raw, AnswerOf(row.answer));
    EXPECT_EQ(found.empty() ? Written() : found, row.written);
    if (row.road == nullptr) return;
    std::string road, expected = row.road;
    for (const auto& text : transcript.Texts("port " + std::to_string(port))) road += (road.empty() ? "" : "; ") + text;
    if (expected.ends_with("...")) {
      expected.resize(expected.size() - 3);
      road.resize(std::min(road.size(), expected.size()));
    }
    EXPECT_EQ(road, expected);
  }
};

TEST_F(Routes, RowByRow) {
  Start();
  for (const auto& rows : {std::span<const Row>(captures), std::span<const Row>(settings), std::span<const Row>(state),
                           std::span<const Row>(files)}) {
    for (const Row& row : rows) Expect(row);
  }
  EXPECT_EQ(board.clockChip.Date(), (twin::CivilTime{2027, 1, 2, 3, 4, 5, 6}));
  Set("batVoltageValIdx=64 batCharging=1");
  for (Shared<BYTE>& sample : ctrl->batVoltageVal) sample = 0;
  EXPECT_EQ(Get("/get_battery_level").body, "1000") << "empty, and charging";
  const std::string first = Get("/get_session").body, second = Get("/get_session").raw;
  EXPECT_EQ(first, std::to_string(std::stoi(first)));
  EXPECT_EQ(second, OkAnswer(second.substr(second.find("\r\n\r\n") + 4)));
  EXPECT_NE(second, OkAnswer(first));
  EXPECT_EQ(Get("/get_session", kBulk).raw, invalid);
}

TEST_F(Routes, HandOversHoldTheirPortUntilTheyAreTaken) {
  isAttentive = false;
  Start();
  Set("usbMode=4");
  for (const char* target : {"/do_capture", "/cap_single", "/compass_calibrate_start", "/compass_calibrate_end"}) {
    const auto client = board.network.Connect(kControl), list = board.network.Connect(kControl);
    client->Send(GetText(target));
    list->Send(GetText("/get_list"));
    board.Run(10min);
    EXPECT_EQ(client->Received() + list->Received(), "") << target;
    EXPECT_EQ(Get("/get_file", kBulk).Status(), 404) << "the other port serves";
    isAttentive = true;
    EXPECT_TRUE(RunUntilEnded(board, *list, 10ms)) << target;
    EXPECT_EQ(client->Received(), OkAnswer());
    isAttentive = false;
  }
}

TEST_F(Routes, Temperatures) {
  Start();
  const auto last = [this](const std::string& query) { return Get("/get_last_temperature" + query).body; };
  for (size_t i = 0; i < 25; i++) ctrl->camTemp[i] = static_cast<int8_t>(30 + i % 2);  // 762 in all, mean 30.48
  EXPECT_EQ(last(""), "30");
  ctrl->camTemp[0] = 31;  // 763: 30.52
  EXPECT_EQ(last("?index=0") + last("?index=1") + last("?index=25") + last("?index=26"), "31313031");
  ctrl->camTemp[24] = 127;  // 860: 34.4
  EXPECT_EQ(last(""), "34") << "a sensor that was not read counts with its 127";
  EXPECT_EQ(last("?index=25"), "-10000");
  ctrl->camTemp[3] = -2;
  EXPECT_EQ(last("?index=4") + last(""), "25443") << "frost is no less than heat";

  for (const auto& [reading, ends, body] : {std::tuple{495ms, 500, "31"}, {505ms, 500, "-10000"}, {95ms, 100, "31"}}) {
    temperature = reading;
    const twin::Time before = board.Now();
    EXPECT_EQ(Get("/get_current_temperature?index=2").body, body);
    EXPECT_NEAR((board.Now() - before) / 1ms, ends, 10);
    board.Run(100ms);
    EXPECT_EQ(ctrl->needReadTemperature, 0);
  }
}

}  // namespace

// From power to readiness and back: what a start takes from the disk, what stops it, and how it ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "tests/support/file_bytes.h"
#include "tests/support/http.h"
#include "tests/support/transcript_match.h"
#include "twin/board.h"
#include "twin/transcript/transcript.h"

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using twin::Board;

namespace {

namespace fs = std::filesystem;

struct Start : testing::Test {
  Board board{{}};
  const fs::path disk = board.disk.Directory();
};

// --- the road of a start and of an end ---

using Files = std::map<std::string, std::string>;  // by name

// What a start with these files and adapters leaves on the main thread, without the sleeps of the array.
struct StartRoad : std::vector<std::string> {
  void Add(const std::string& step) { push_back(step); }
  void Shell(std::initializer_list<const char*> commands) {
    for (const char* command : commands) Add("shell " + twin::Quoted(command));
  }
  void Log(const std::string& function, const std::string& text) { Add("log " + function + " " + twin::Quoted(text)); }
  // The file's first `most` bytes; null if it is not there.
  const std::string* Read(const std::string& path, const Files& files, size_t most, bool whole = false) {
    const auto file = files.find(path);
    Add("file open " + twin::Quoted(path) + " rb" + (file == files.end() ? " failed" : ""));
    if (file == files.end()) return nullptr;
    if (whole) Size();
    Add("file read " + std::to_string(std::min(most, file->second.size())));
    Add("file close");
    return &file->second;
  }
  void Size() {
    Add("file seek 0 2");
    Add("file seek 0 0");
  }
  void Write(const std::string& path, const std::vector<size_t>& sizes, const char* flush = nullptr) {
    Add("file open " + twin::Quoted(path) + " wb");
    for (const size_t size : sizes) Add("file write " + std::to_string(size));
    if (flush != nullptr) Add(flush);
    Add("file close");
  }
  void Rename(const std::string& from, const std::string& to) {
    Add("file rename " + twin::Quoted("/mnt/udisk/" + from) + " " + twin::Quoted("/mnt/udisk/" + to));
  }
  void Copy(const std::string& name, const std::string& done, const Files& files) {
    const auto file = files.find("/mnt/udisk/" + name);
    Add("file open " + twin::Quoted("/mnt/udisk/" + name) + " rb" + (file == files.end() ? " failed" : ""));
    if (file == files.end()) return;
    Size();
    Add("file open " + twin::Quoted(name) + " wb");
    for (size_t left = file->second.size(); left > 0; left -= std::min<size_t>(left, 1024)) {
      Add("file read " + std::to_string(std::min<size_t>(left, 1024)));
      Add("file write " + std::to_string(std::min<size_t>(left, 1024)));
    }
    for (const char* step : {"file read 0", "file close", "file close"}) Add(step);
    Rename(name, done);
  }
  // One of the two numbers, with the settings that it saves.
  void Number(const std::string& name, const Files& files, const std::string& settings) {
    if (Read("/mnt/udisk/" + name + ".txt", files, 128) == nullptr) return;
    Write("/mnt/udisk/DCIM/setting.ini", {settings.size()}, "file flush");
    Add("file sync");
    Log("LumoSaveSetting", "SaveSettingStr:\n" + settings);
    Rename(name + ".txt", name + "_updated.txt");
  }
};

}  // namespace

struct Given {
  const char* what;
  std::vector<twin::UsbAdapter> usb;
  Files files;  // by path
  bool accessPoint = true;
};

struct WholeRoad {
  Given given;
  bool Has(twin::UsbAdapter adapter) const { return std::ranges::count(given.usb, adapter) > 0; }
  // `saved` is what the settings are in the end.
  StartRoad Expected(const Files& files, const std::string& saved) const {
    StartRoad road;
    road.Add("file access \"/mnt/udisk/debug\" 2 failed");
    road.Log("main", "Full Start\n");
    road.Copy("logo.jpg", "logo_updated.jpg", files);
    road.Copy("info.ini", "info_updated.ini", files);
    road.Copy("hostapd.conf", "hostapd_updated.conf", files);
    road.Copy("dhcpd.conf", "dhcpd_updated.conf", files);
    if (const std::string* text = road.Read("/mnt/udisk/wb.ini", files, 1022)) {
      road.Log("LumoLoadWBFile", "LoadWBStr:\n" + text->substr(0, 1022) + "\n");
      for (const char* step :
           {"open \"CameraVignet_800\" rb+", "read 3080", "seek 0 0", "write 3080", "flush", "close"})
        road.Add("file " + std::string(step));
      road.Rename("wb.ini", "wb_updated.ini");
    }
    if (const std::string* name = road.Read("/mnt/udisk/wifi.txt", files, 128)) {
      road.Rename("wifi.txt", "wifi_updated.txt");
      const std::string conf =
          *road.Read("hostapd.conf", {{"hostapd.conf", files.at("/mnt/udisk/hostapd.conf")}}, 9999, true);
      const size_t value = conf.find("\nssid=") + 6;
      road.Write("hostapd.conf", {value, name->size(), conf.size() - conf.find('\n', value)});
    }
    const std::string& script = *road.Read("/etc/init.d/S90user", files, 9999, true);
    road.Log("LumoModifyS90User", "Add Retry mount to S90User\n");
    road.Log("LumoModifyS90User", "Add Update firmware to S90User\n");
    road.Write("/etc/init.d/S90user", {script.size() + 207});
    road.Read("CameraConf_800", files, 800);
    for (const auto& [name, size] :
         {std::pair{"mii", 6976u}, {"r8152", 37'784u}, {"usbserial", 35'276u}, {"cp210x", 23'660u}}) {
      road.Add("file access " + twin::Quoted("/mnt/local/" + std::string(name) + ".ko") + " 0 failed");
      road.Write("/mnt/local/" + std::string(name) + ".ko", {size});
    }
    road.Write("/var/lib/dhcp/dhcpcd.leases", {1});
    const std::string* settings = road.Read("/mnt/udisk/DCIM/setting.ini", files, 1023);
    if (settings != nullptr) road.Log("main", "LoadSettingStr:\n" + *settings);
    for (const char* number : {"thumbnail", "wireless_id"}) road.Number(number, files, saved);
    if (const std::string* text = road.Read("vertex.ini", files, 1023)) road.Log("main", "LoadVertexStr:\n" + *text);
    const Files info =
        files.contains("/mnt/udisk/info.ini") ? Files{{"info.ini", files.at("/mnt/udisk/info.ini")}} : Files{};
    if (const std::string* text = road.Read("info.ini", info, 1023)) road.Log("main", "LoadInfoStr:\n" + *text);
    road.Read("CameraConf_800", files, 800);
    AddDevice(road, files);
    return road;
  }
  // From the device's opening to the call of the media set-up.
  void AddDevice(StartRoad& road, const Files& files) const {
    road.Add("clock set");
    road.Log("-", "LumoStcSpiReadWrite:242\n");
    road.Add("file access \"/mnt/udisk/DCIM/\" 2" +
             std::string(files.contains("/mnt/udisk/DCIM/setting.ini") ? "" : " failed"));
    if (!files.contains("/mnt/udisk/DCIM/setting.ini")) road.Add("file mkdir \"/mnt/udisk/DCIM/\" 777");
    road.Read("CameraConf_800", files, 800);
    const bool serial = Has(twin::UsbAdapter::Serial), wifi = Has(twin::UsbAdapter::Wifi),
               wire = Has(twin::UsbAdapter::Ethernet);
    road.Add("shell popen \"lsusb\"");
    road.Log("-", "UsbMode:" + std::to_string((wifi ? 1 : 0) + (wire ? 2 : 0) + (serial ? 4 : 0)) + "\n");
    if (serial) {
      road.Shell({"insmod usbserial.ko", "insmod cp210x.ko", "sleep 1"});
      road.Log("LumoUsbSerialOpen", "cp210x_start\n");
    }
    if (wire) {
      road.Shell({"insmod mii.ko", "insmod r8152.ko", "sleep 1", "ifconfig eth0 192.168.6.1/24"});
      road.Log("LumoEthOpen", "r8152_start\n");
    } else if (wifi) {
      road.Shell({"./80211_start.sh"});
      road.Log("LumoWifiOpen", "80211_start.sh\n");
      road.Add("file access \"/var/run/hostapd/wlan0\" 0" + std::string(given.accessPoint ? "" : " failed"));
    }
    const bool net = wire || (wifi && given.accessPoint);
    road.Log("main", std::string("Has Net?:") + (net ? "Yes" : "No") + "\n");
    int threads = 0;
    const auto create = [&] { road.Add("thread create " + std::to_string(++threads)); };
    create();
    road.Add("thread signal 13 ignored");
    if (serial) create();
    if (net) create();
    if (net) create();
    road.Add("thread signal 2 handled");
    road.Add("thread signal 15 handled");
  }
  // Behind the media pipeline's end, up to the first round of waiting for the power to go.
  StartRoad ExpectedEnd() const {
    StartRoad road;
    road.Shell({"sync"});
    road.Add("sleep 1000000");
    road.Shell({"umount /mnt/udisk"});
    road.Add("sleep 100000");
    if (Has(twin::UsbAdapter::Ethernet)) {
      road.Shell({"ifconfig eth0 down", "sleep 1", "rmmod r8152.ko", "rmmod mii.ko"});
      road.Log("LumoEthClose", "r8152_shutdown\n");
    } else if (Has(twin::UsbAdapter::Wifi)) {
      road.Shell({"./80211_shutdown.sh"});
      road.Log("LumoWifiClose", "80211_shutdown.sh\n");
    }
    if (Has(twin::UsbAdapter::Serial)) {
      road.Shell({"rmmod cp210x.ko", "rmmod usbserial.ko"});
      road.Log("LumoUsbSerialClose", "cp210x_shutdown\n");
    }
    for (int i = 0; i < 3; i++) road.Add("sleep 1000");  // the array goes to rest
    road.Add("sleep 10000");
    return road;
  }
};

void LiveThrough(const Given& given) {
  SCOPED_TRACE(given.what);
  const WholeRoad road{given};
  Board board{twin::BoardOptions{.usb = given.usb}};
  Files files = given.files;
  for (const auto& [path, text] : files) {
    PutText(path[0] == '/' ? board.paths.Root() / path.substr(1) : board.paths.Local() / path, text);
  }
  for (const char* name : {"CameraConf_800", "CameraVignet_800"}) files[name] = FileText(board.paths.Local() / name);
  files["/etc/init.d/S90user"] = FileText(board.paths.Root() / "etc/init.d/S90user");
  if (!given.accessPoint) board.faults.Add("wifi.access-point fail");
  twin::Transcript transcript{board.kernel, "file shell log thread clock sleep"};
  ASSERT_TRUE(board.Boot());
  board.Run(5s);
  const bool net = board.network.Listening(8080);
  EXPECT_EQ(board.network.Listening(8081), net);
  board.button.Press(4s);
  ASSERT_TRUE(board.RunUntil([&] { return !board.Powered(); }, 1min));
  EXPECT_FALSE(board.disk.Mounted());
  EXPECT_THAT(board.Complaints(), IsEmpty());

  std::vector<std::string> start = transcript.Texts("main");
  const auto sync = std::find(start.begin(), start.end(), "shell \"sync\"");
  const StartRoad end = road.ExpectedEnd();
  ASSERT_GE(static_cast<size_t>(start.end() - sync), end.size());
  EXPECT_TRUE(SameRoad(end, {sync, sync + static_cast<long>(end.size())}));
  EXPECT_LE(start.end() - sync - static_cast<long>(end.size()), 2) << "20 ms until the power goes";
  start.resize(static_cast<size_t>(std::find(start.begin(), start.end(), "thread signal 15 handled") - start.begin()) +
               1);
  std::erase_if(start, [](const std::string& step) { return step.starts_with("sleep "); });
  for (std::string& step : start) step = step.starts_with("clock set") ? "clock set" : step;
  EXPECT_TRUE(SameRoad(road.Expected(files, FileText(board.disk.Directory() / "DCIM" / "setting.ini")), start));
  EXPECT_EQ(net, std::count(start.begin(), start.end(), "log main \"Has Net?:Yes\\n\"") == 1);
}

TEST(WholeStart, FromPowerToReadinessAndBack) {
  const Given givens[] = {
      Given{"AnEmptyDiskAndNoAdapters", {}, {}}, Given{"NoAccessPoint", {twin::UsbAdapter::Wifi}, {}, false},
      Given{"WifiAndTheRemote", {twin::UsbAdapter::Wifi, twin::UsbAdapter::Serial}, {}},
      Given{"AllUpdatesAndAllAdapters",
            {twin::UsbAdapter::Wifi, twin::UsbAdapter::Ethernet, twin::UsbAdapter::Serial},
            {{"/mnt/udisk/logo.jpg", std::string(2048, 'L')},
             {"/mnt/udisk/info.ini", "deviceid=3\n"},
             {"/mnt/udisk/hostapd.conf", std::string(1100, '#') + "\nssid=theirs\nend"},
             {"/mnt/udisk/dhcpd.conf", std::string(100, '#')},
             {"/mnt/udisk/wb.ini", "blue=1.1\ngreen=1\nred=0.9\n" + std::string(1100, '#')},
             {"/mnt/udisk/wifi.txt", "Attic-Camera.2"},
             {"/mnt/udisk/thumbnail.txt", "7" + std::string(200, ' ')},
             {"/mnt/udisk/wireless_id.txt", "5\n"},
             {"/mnt/udisk/DCIM/setting.ini", "thumbcamidx=20\nwirelessid=5\nprefix=attic_\ncapturemode=2\n"},
             {"vertex.ini", "plusvertexx=1\n"}}}};
  for (const Given& given : givens) LiveThrough(given);
}

// --- what the start values are, and what ends a start ---

TEST(StartValues, AreTheRemotesIfItIsThereAndNoSettingsAre) {
  using twin::UsbAdapter;
  struct Row {
    std::vector<UsbAdapter> usb;
    const char* before;
    const char* after;
  };
  for (const Row& row :
       {Row{{UsbAdapter::Ethernet}, "", "capturemode=0\nstrobemode=0\nisomode=0\nevcompval=0\n"},
        Row{{UsbAdapter::Ethernet, UsbAdapter::Serial}, "", "capturemode=4\nstrobemode=0\nisomode=1\nevcompval=0\n"},
        Row{{UsbAdapter::Ethernet, UsbAdapter::Serial},
            "evcompval=-3\n",
            "capturemode=0\nstrobemode=0\nisomode=0\nevcompval=-3\n"}}) {
    Board board{twin::BoardOptions{.usb = row.usb}};
    const fs::path setting = board.disk.Directory() / "DCIM" / "setting.ini";
    if (*row.before != 0) PutText(setting, row.before);
    ASSERT_TRUE(board.Boot());
    ASSERT_TRUE(board.RunUntil([&] { return board.network.Listening(8080); }, 5s));
    const std::string information = Get(board, "/get_information").body;
    EXPECT_THAT(information, HasSubstr("\r\ndevice_id=2\r\n"));
    EXPECT_THAT(information, Not(HasSubstr("\r\nserial_no=0\r\n")));
    EXPECT_EQ(Get(board, "/get_last_temperature?index=3").body, "-10000");
    Get(board, "/set_prefix?prefix=a");
    board.Run(1s);
    board.PowerOff();
    EXPECT_THAT(FileText(setting),
                AllOf(StartsWith(row.after), HasSubstr("\nthumbcamidx=12\nwirelessid=0\nprefix=a\n")));
  }
}

TEST_F(Start, FailsWithoutCalibration) {
  fs::remove(board.paths.Local() / "CameraConf_800");
  EXPECT_TRUE(board.Boot());
  EXPECT_TRUE(board.Exited());
  EXPECT_EQ(static_cast<int8_t>(board.ExitStatus()), -1);
  EXPECT_THAT(board.Log(), testing::ContainsRegex("Read CameraConf_800 error\nmain:[0-9]+: LumoDeviceOpen error\n"));
}

TEST_F(Start, LogGoesToTheDiskIfTheDiskAsksForIt) {
  PutText(disk / "debug", "of the last time");
  ASSERT_TRUE(board.Boot());
  board.button.Press(4s);
  ASSERT_TRUE(board.RunUntil([&] { return !board.Powered(); }, 1min)) << board.Log();
  EXPECT_EQ(board.LogCount("Full Start"), 0u);
  EXPECT_THAT(FileText(disk / "debug"), AllOf(StartsWith("main:"), HasSubstr(": Quit\n")));
  EXPECT_THAT(board.Complaints(), IsEmpty());
}

TEST_F(Start, SignalsEndTheProcessAtOnceAndTheIspsThread) {
  for (const int number : {2, 15}) {
    ASSERT_TRUE(board.Boot());
    board.SendSignal(13);
    board.Run(100ms);
    EXPECT_FALSE(board.Exited());
    twin::Transcript transcript{board.kernel, "thread"};
    board.SendSignal(number);
    board.Run(5s);
    EXPECT_TRUE(board.Exited());
    EXPECT_EQ(static_cast<int8_t>(board.ExitStatus()), -1);
    EXPECT_THAT(transcript.Texts("signal"), testing::Contains(StartsWith("thread join ")));
    board.PowerOff();
  }
  EXPECT_EQ(board.LogCount("\033[0;31mprogram termination abnormally!\033[0;39m\n"), 2u);
  EXPECT_EQ(board.LogCount(": Quit\n"), 0u);
}

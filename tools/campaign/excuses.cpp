#include "tools/campaign/excuses.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace campaign {

namespace {

using Points = std::array<std::string_view, 4>;

struct Excuse {
  std::string_view find;  // how the find begins
  Points points;          // how a fault begins; kLoss: power or stick has gone; none: any
  std::string_view log;   // what the log must hold; empty: nothing
  std::string_view cause;
};

constexpr std::string_view kLoss = "loss";
constexpr std::string_view kSetUp = "SAMPLE_VENC_1080P_MJPEG_JPEG:";  // speaks in its failures alone
constexpr std::string_view kWrites = "writes are not looked at while frames are filed";
constexpr std::string_view kDirectories =
    "a DNG file's preview and directories are not looked at when they are written";
constexpr std::string_view kForgotten = "a write that the stick forgets is noticed nowhere";
constexpr std::string_view kAbsent = "a co-processor whose first two replies are garbled counts as absent";
constexpr std::string_view kNoSetUp = "a set-up that fails at the start leaves a camera that looks ready";

constexpr std::string_view kDeadBranch =
    "an encoder's branch that was set up in name only gives no frame until a new start";

constexpr std::string_view kInItsPlace = "the next shot takes the place of an earlier one";
constexpr std::string_view kSameSecond = "a shot in a second that has been before takes the earlier one's place";
constexpr std::string_view kLosesStream = "a shot that was given up loses its stream";
constexpr std::string_view kEmptyStream = "a stream that was given empty is a picture less";
constexpr std::string_view kNoSync = "a sync that the stick refuses is noticed nowhere";
constexpr std::string_view kFoundOnce = "an adapter is looked for at the start alone";

constexpr Points kAnywhere = {};
constexpr Points kBadWrite = {"disk.write fail", "disk.write value", "disk.write silence"};
constexpr Points kBadFile = {"disk.write fail", "disk.write value", "disk.write silence", "disk.read fail"};
constexpr Points kForgottenWrite = {"disk.write value", "disk.write silence"};
constexpr Points kAdapter = {"usb.", "module.insert", "shell.popen", "wifi.access-point"};

constexpr std::array kExcuses = {
    Excuse{"listed and not whole", kBadWrite, "", kWrites},
    Excuse{"saved and not whole", kBadWrite, "", kWrites},
    Excuse{"saved and not whole", {"disk.sync"}, "", kNoSync},
    Excuse{"a saved shot is gone", {"disk.sync"}, "", kNoSync},
    Excuse{"saved raw files that are not whole", {"disk.sync"}, "", kNoSync},
    Excuse{"listed and not whole: empty file",
           {kLoss},
           "",
           "a battery that goes between both syncs of a shot leaves a file of no length"},
    Excuse{"raw: no DNG file: ", kBadFile, "", kDirectories},
    Excuse{"raw: without its preview: ", kBadWrite, "", kDirectories},
    Excuse{"raw: without a raw picture: ", kBadFile, "", kDirectories},
    Excuse{"raw: without a mark: ", kForgottenWrite, "", kForgotten},
    Excuse{"raw: without a mark: ",
           {"vi.frame silence", "vi.frame value"},
           "",
           "the first of two raw frames that was not given is the second"},
    Excuse{"the firmware is not whole: 50000 bytes", kForgottenWrite, "", kForgotten},
    Excuse{"the phone is given another file",
           {"disk.read fail"},
           "",
           "a read that fails while a file is sent goes unseen"},
    Excuse{"without the faults the next shot is refused", kAnywhere, kSetUp, kNoSetUp},
    Excuse{"the shot hangs", kAnywhere, kSetUp, kNoSetUp},
    Excuse{"the switch-off hangs", kAnywhere, kSetUp, kNoSetUp},
    Excuse{"without the faults the next shot is refused",
           {"disk.mount"},
           "",
           "a disk that was not mounted counts as full"},
    Excuse{"the shot hangs", {"heap.malloc"}, "malloc error", "without memory for a frame's packs the snap loop ends"},
    Excuse{"files left open", kAnywhere, "Cap error", kLosesStream},
    Excuse{"files left open", kAnywhere, "Restart LumoLoadNew", kLosesStream},
    Excuse{"without the faults the next shot does not come",
           {"venc.stop"},
           "StartRecvPicEx(",
           "a refused stop of an encoder costs the next shot too"},
    Excuse{"without the faults the next shot does not come", {"vpss.", "sys.bind"}, "Too many Retry", kDeadBranch},
    Excuse{"without the faults the next shot does not come",
           {"array.power"},
           "LumoFpgaAwake error",
           "a dip of the array's supply behind a shot costs the next one"},
    Excuse{"without the faults the next shot hangs",
           {"sys.set-reg"},
           "Retry LumoLoadNew",
           "an input that is not led back from memory gives the encoders no frame"},
    Excuse{"rescue: ", kAnywhere, "Retry LumoLoadNew",
           "rescue does not take frames for certain that were asked for again"},
    Excuse{"descriptors", kAnywhere, "HI_RTC_SET_TIME error", "a clock that refuses leaves its descriptor open"},
    Excuse{"the settings are neither the old nor the new ones: 0 bytes",
           {kLoss},
           "",
           "a battery that goes while settings are saved leaves none"},
    Excuse{kInItsPlace, kAnywhere, "Serial Recv: ", kSameSecond},
    Excuse{kInItsPlace, kAnywhere, "SetTime ", kSameSecond},
    Excuse{"without the faults the phone gets no list",
           {"net."},
           "accept() error",
           "a failed start of a port is not looked at"},
    Excuse{"without the faults the phone gets no list", kAdapter, "", kFoundOnce},
    Excuse{"without the faults the remote is not answered", kAdapter, "", kFoundOnce},
    Excuse{"without the faults the remote is not answered",
           {"serial.open", "serial.settings"},
           "",
           "the remote's port is opened and set once"},
    Excuse{"the board objects", {"gpio.stuck"}, "", "a wire that is held upsets the part behind it"},
    Excuse{
        "the board objects: array: the byte of a sensor read", {"spi.reply"}, "", "a reply that is wrong is believed"},
    Excuse{"the board objects: array: ", {"spi.message"}, "", "a lost transfer upsets the sensors behind it"},
    Excuse{"the board objects: motion sensor: ",
           {"motion.garbage"},
           "",
           "a control register that is read wrongly is written back"},
    Excuse{"the board objects: switched off with changes",
           {"isp.exit"},
           "",
           "a refused end of the ISP keeps the tear-down waiting"},
    Excuse{"the board objects: motion sensor: ", {"motion.hang"}, "", "a bus that is held low acknowledges everything"},
    Excuse{"listed and not whole: ", {"venc.stream"}, "", kEmptyStream},
    Excuse{"saved and not whole: ", {"venc.stream"}, "", kEmptyStream},
};

// The log ends with nothing but frames that were asked for again, and what the serial thread says meanwhile.
bool AsksWithoutEnd(const std::string& log) {
  constexpr size_t kOften = 50;  // a counted one ends the shot after 32
  size_t end = log.size();
  for (size_t asked = 0; end > 1;) {
    const size_t begin = log.rfind('\n', end - 2) + 1;
    const std::string_view line = std::string_view(log).substr(begin, end - begin);
    if (line.find("Retry LumoLoadNew") != line.npos) {
      asked++;
    } else if (line.find("Serial haven't data receive") == line.npos) {
      return asked >= kOften;
    }
    end = begin;
  }
  return false;
}

// The second reply of the start was none, and not it alone.
bool CountsAsAbsent(const Plan& plan, const std::string& log) {
  return log.find("LumoStcSpiReadWrite:0\n") != std::string::npos &&
         std::ranges::any_of(plan.faults, [](const std::string& fault) {
           return fault.starts_with("stc.") && fault.find(" times=") != fault.npos;
         });
}

// The last that was asked for was a picture of one camera, which a press repeats.
bool OneCameraAsked(const std::string& log) {
  const size_t one = log.rfind("RemoteCap Exposure:"), whole = log.rfind("RemoteCap StrobeMode:");
  return one != std::string::npos && (whole == std::string::npos || whole < one);
}

bool IsLoss(const Action& action) { return action.what == "cut" || action.what == "pull"; }

bool HasOne(const Plan& plan, std::string_view point) {
  if (point == kLoss) {
    return std::ranges::any_of(plan.actions, IsLoss) ||
           std::ranges::any_of(plan.faults, [](const auto& fault) { return fault.find("powercut") != fault.npos; });
  }
  return std::ranges::any_of(plan.faults, [&](const std::string& fault) { return fault.starts_with(point); });
}

bool HasAny(const Plan& plan, const Points& points) {
  return points == kAnywhere ||
         std::ranges::any_of(points, [&](std::string_view point) { return !point.empty() && HasOne(plan, point); });
}

}  // namespace

std::string CauseOf(const Plan& plan, const std::string& find, const std::string& log) {
  // The control thread waits for such a shot, and so does a switch-off.
  if ((find == "the shot hangs" || find == "the switch-off hangs") && AsksWithoutEnd(log))
    return "a timeout where a layer begins counts nothing";
  if (find == "without the faults the next shot is refused" && OneCameraAsked(log))
    return "a press after a picture of one camera takes that camera's again";
  if ((find == "no shot begins" || find == "without the faults the next shot hangs") && CountsAsAbsent(plan, log))
    return std::string(kAbsent);
  for (const Excuse& excuse : kExcuses) {
    if (find.starts_with(excuse.find) && HasAny(plan, excuse.points) && log.find(excuse.log) != std::string::npos)
      return std::string(excuse.cause);
  }
  return "";
}

}  // namespace campaign

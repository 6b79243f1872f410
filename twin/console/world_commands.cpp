// Commands for what a person and nature do to the board.
#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>

#include "twin/console/console.h"
#include "twin/console/limits.h"
#include "twin/light/world_picture.h"

namespace twin {

namespace {

template <class Number>
bool Within(const Limits& limit, Number number) {
  return static_cast<double>(number) >= limit.least && static_cast<double>(number) <= limit.most;
}

void SetClock(Console& console, const Words& arguments) {
  CivilTime date;
  const std::string text = Joined(arguments, 0);
  int end = 0;
  const int fields = sscanf(text.c_str(), "%d-%d-%d %d:%d:%d%n", &date.year, &date.month, &date.day, &date.hour,
                            &date.minute, &date.second, &end);
  if (fields != 6 || static_cast<size_t>(end) != text.size()) throw CommandError("usage: clock YYYY-MM-DD HH:MM:SS");
  try {
    console.board.clockChip.SetDate(date);
  } catch (const std::invalid_argument& refusal) {
    throw CommandError(refusal.what());
  }
}

void SetBattery(Console& console, const Words& arguments) {
  const int64_t sample = NumberFrom(arguments[0], "battery");
  if (!Within(limits::kBattery, sample)) throw CommandError("a battery sample is 0 to 63, not " + arguments[0]);
  console.board.coProcessor.SetBattery(static_cast<int>(sample));
}

void SetLight(Console& console, const Words& arguments) {
  const double factor = FractionFrom(arguments[0], "light");
  if (!Within(limits::kLight, factor)) throw CommandError("light wants a factor from 0.000001 to 1000000");
  console.board.pictures->SetLight(factor);
}

void SetTemperature(Console& console, const Words& arguments) {
  const int64_t degrees = NumberFrom(arguments[0], "temperature");
  if (!Within(limits::kTemperature, degrees))
    throw CommandError("a sensor measures -64 to 191 degrees, not " + arguments[0]);
  const int64_t camera = arguments.size() > 1 ? NumberFrom(arguments[1], "the camera") : -1;
  if (arguments.size() > 1 && !Within(limits::kCamera, camera))
    throw CommandError("cameras are 0 to 24, not " + arguments[1]);
  for (int c = 0; c < 25; c++) {
    if (camera < 0 || camera == c) console.board.array.SetTemperature(c, static_cast<int>(degrees));
  }
}

void FillDisk(Console& console, const Words& arguments) {
  const int64_t freeKBs = NumberFrom(arguments[0], "fill");
  if (freeKBs < 0) throw CommandError("fill wants the KB that stay free, not " + arguments[0]);
  console.board.disk.FillTo(static_cast<uint64_t>(freeKBs));
}

void SetCapacity(Console& console, const Words& arguments) {
  const int64_t capacityKBs = NumberFrom(arguments[0], "capacity");
  if (console.board.disk.Plugged()) throw CommandError("capacity wants the disk pulled: it is another stick's");
  if (capacityKBs < 1) throw CommandError("capacity wants KB, at least 1, not " + arguments[0]);
  console.board.disk.SetCapacity(static_cast<uint64_t>(capacityKBs));
}

// What the last shot's exposure N would show of the world, if nothing stood between.
void WriteWorld(Console& console, const Words& arguments) {
  constexpr int kWidth = 4096;
  if (arguments.size() == 2 || (arguments.size() == 3 && arguments[1] != "--exposure"))
    throw CommandError("usage: world FILE [--exposure N]");
  const int64_t exposure = arguments.size() == 3 ? NumberFrom(arguments[2], "the exposure") : 1;
  const World* world = console.board.pictures->Surroundings();
  if (world == nullptr) throw CommandError("marked pictures show no world: start with --pictures rendered");
  const auto& delivered = console.board.media.Delivered();
  const auto last = std::find_if(delivered.rbegin(), delivered.rend(),
                                 [&](const DeliveredFrame& picture) { return picture.frame.bracket == exposure; });
  if (last == delivered.rend()) throw CommandError("no shot has had an exposure " + std::to_string(exposure));
  const StoredFrame& frame = last->frame;
  const std::vector<uint8_t> jpeg = WorldPicture(*world, frame.seconds * frame.gain * frame.light, kWidth);
  std::ofstream file(arguments[0], std::ios::binary);
  file.write(reinterpret_cast<const char*>(jpeg.data()), static_cast<std::streamsize>(jpeg.size()));
  if (!file.flush()) throw CommandError("cannot write " + arguments[0]);
}

// The disk, or one of the adapters.
void SetPlugged(Console& console, const Words& arguments, bool plugged) {
  Board& board = console.board;
  const std::string what = arguments.empty() ? "disk" : arguments[0];
  if (what == "disk") return plugged ? board.disk.Plug() : board.disk.Pull();
  for (const UsbAdapterKind& kind : kUsbAdapters) {
    if (kind.word == what) return plugged ? board.usb.Plug(kind.adapter) : board.usb.Unplug(kind.adapter);
  }
  throw CommandError("there are disk, wifi, ethernet and serial to plug, not \"" + what + '"');
}

void SetDiskSpeed(Console& console, const Words& arguments) {
  for (size_t i = 0; i < arguments.size(); i++) {
    const int64_t bytesPerSecond = NumberFrom(arguments[i], "speed");
    if (bytesPerSecond < 1) throw CommandError("speed wants bytes per second, at least 1, not " + arguments[i]);
    UsbDisk& disk = console.board.disk;
    i == 0 ? disk.SetWriteSpeed(static_cast<uint64_t>(bytesPerSecond))
           : disk.SetReadSpeed(static_cast<uint64_t>(bytesPerSecond));
  }
}

void AddFault(Console& console, const Words& arguments) {
  Faults& faults = console.board.faults;
  try {
    if (arguments[0] != "clear") return faults.Add(Joined(arguments, 0));
    if (arguments.size() == 1) return faults.Clear();
    faults.Clear(Joined(arguments, 1));
  } catch (const std::invalid_argument& refusal) {
    throw CommandError(refusal.what());
  }
}

constexpr std::array<Command, 18> kCommands = {{
    {"press", "LENGTH", "press the button so long", 1, 1,
     [](Console& c, const Words& a) { c.board.button.Press(LengthFrom(a[0], "press")); }},
    {"hold", "[LENGTH]", "press the button and keep it, or keep it so long and let go", 0, 1,
     [](Console& c, const Words& a) {
       a.empty() ? c.board.button.Hold() : c.board.button.Press(LengthFrom(a[0], "hold"));
     }},
    {"release", "", "let the button go", 0, 0, [](Console& c, const Words&) { c.board.button.Release(); }},
    {"bounce", "LENGTH", "the button's contact chatters so long", 1, 1,
     [](Console& c, const Words& a) { c.board.button.Bounce(LengthFrom(a[0], "bounce")); }},
    {"battery", "0..63", "what the battery measures from now on", 1, 1, SetBattery},
    {"charge", "on|off", "the charger", 1, 1,
     [](Console& c, const Words& a) { c.board.coProcessor.SetCharging(SwitchFrom(a[0], "charge")); }},
    {"light", "X", "factor on the world's light from now on", 1, 1, SetLight},
    {"world", "FILE [--exposure N]", "write it as one equirectangular JPEG, as the last shot's exposure N has it", 1, 3,
     WriteWorld},
    {"temperature", "DEGREES [CAMERA]", "of one sensor's die, or of all", 1, 2, SetTemperature},
    {"clock", "YYYY-MM-DD HH:MM:SS", "set the battery-backed clock", 2, 2, SetClock},
    {"plug", "[disk|wifi|ethernet|serial]", "plug it in; the camera looks for it at its next start", 0, 1,
     [](Console& c, const Words& a) { SetPlugged(c, a, true); }},
    {"pull", "[disk|wifi|ethernet|serial]", "pull it out; the disk, if not said", 0, 1,
     [](Console& c, const Words& a) { SetPlugged(c, a, false); }},
    {"unplug", "[disk|wifi|ethernet|serial]", "the same", 0, 1,
     [](Console& c, const Words& a) { SetPlugged(c, a, false); }},
    {"fill", "KB", "other files take the disk's room, so many KB stay free", 1, 1, FillDisk},
    {"capacity", "KB", "the pulled disk's files are on a stick of this size now", 1, 1, SetCapacity},
    {"readonly", "on|off", "the disk's write lock", 1, 1,
     [](Console& c, const Words& a) { c.board.disk.SetReadOnly(SwitchFrom(a[0], "readonly")); }},
    {"speed", "WRITE [READ]", "bytes that the disk writes and reads in a second", 1, 2, SetDiskSpeed},
    {"fault", "POINT EFFECT [CONDITION...] | clear [POINT]",
     "break something (see faults), or nothing (there) any more", 1, 20, AddFault},
}};

}  // namespace

std::span<const Command> WorldCommands() { return kCommands; }

}  // namespace twin

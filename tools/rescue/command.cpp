#include "tools/rescue/command.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <set>

#include "tools/lumora-shot/layout.h"
#include "tools/photos/extract.h"
#include "tools/rescue/disk_source.h"
#include "tools/rescue/rescue.h"
#include "tools/rescue/scan.h"

namespace rescue {
namespace {

constexpr int all = 0, some = 1, none = 2;

int Refuse(const std::string& name, const char* why) {
  std::fprintf(stderr, "lumora-shot: %s: %s\n", name.c_str(), why);
  return none;
}

// Counts the pictures for who waits in front of a terminal.
Looker Counting() {
  if (isatty(STDERR_FILENO) == 0) return LookAt;
  return [count = 0](std::span<const uint8_t> jpeg) mutable {
    std::fprintf(stderr, "\r%d pictures", ++count);
    return LookAt(jpeg);
  };
}

void EndCounting() {
  if (isatty(STDERR_FILENO) != 0) std::fputs("\r\x1b[K", stderr);
}

void TellUnreadable(const std::string& name, const DiskSource& disk) {
  if (disk.Unreadable() > 0)
    std::fprintf(stderr, "lumora-shot: %s: %lld bytes cannot be read, and are taken for zeros\n", name.c_str(),
                 static_cast<long long>(disk.Unreadable()));
}

int Finish(Source source, Rescued& rescued, const Order& order, const std::string& out) {
  if (order.list) std::fputs(ListOf(rescued).c_str(), stdout);
  if (order.certainOnly)
    std::erase_if(rescued.placement.placed, [](const Placed& p) { return p.certainty == Certainty::Doubtful; });
  std::fputs(SummaryOf(rescued).c_str(), stdout);
  if (rescued.placement.placed.empty() || rescued.thumbnail.empty()) return none;
  WriteShot(source, rescued, out);
  std::printf("%s\n", out.c_str());
  return rescued.Complete() ? all : some;
}

int RescueFile(const Order& order) {
  DiskSource disk(order.source);
  if (disk.Size() == 0) return Refuse(order.source, "empty file");
  if (disk.Size() > longestShot) return Refuse(order.source, "longer than any shot; a disk's image is for --scan");
  const shot::Bytes bytes = disk.Read(0, disk.Size());
  TellUnreadable(order.source, disk);
  Rescued rescued = Rescue(bytes, Counting());
  EndCounting();
  if (rescued.finds.pictures.size() == 1 && rescued.finds.pictures[0].offset == 0)
    return Refuse(order.source, "a single picture and no shot; any viewer opens it, with the extension jpg");
  if (rescued.placement.placed.empty()) return Refuse(order.source, "no whole picture is left in it");
  return Finish(bytes, rescued, order, order.out);
}

// The name that the camera gives a shot of this time, with a number behind it if there is such a file already.
std::string FreeName(const std::string& directory, const shot::Bytes& head) {
  const shot::Record record = RecordIn(head);
  char time[96];
  std::snprintf(time, sizeof time, "%04d-%02d-%02d_%02d.%02d.%02d", record.shootDateYear, record.shootDateMon,
                record.shootDateDay, record.shootTimeHour, record.shootTimeMin, record.shootTimeSec);
  const char* extension = NumberAt(head, 0, 2) == shot::tokenDwo ? ".dwo" : ".ori";
  std::string path;
  for (int i = 1; i == 1 || std::filesystem::exists(path); ++i)
    path = directory + "/" + time + (i == 1 ? "" : "-" + std::to_string(i)) + extension;
  return path;
}

// Writes what stands on the disk outside the shots that were put together.
size_t WriteLoose(DiskSource& disk, const std::vector<int64_t>& pictures, const std::set<int64_t>& used,
                  const std::string& directory) {
  size_t written = 0;
  for (const int64_t at : pictures) {
    if (used.contains(at)) continue;
    const shot::Bytes jpeg = PictureOn(disk, at, LookAt);
    if (jpeg.empty()) continue;
    shot::WriteWhole(directory + "/loose_" + std::to_string(at) + ".jpg", jpeg);
    written++;
  }
  return written;
}

int ScanDisk(const Order& order) {
  DiskSource disk(order.source);
  std::error_code failed;
  std::filesystem::create_directories(order.out, failed);
  if (!std::filesystem::is_directory(order.out)) return Refuse(order.out, "cannot make this directory");
  const bool terminal = isatty(STDERR_FILENO) != 0;
  const Marks marks = SearchDisk(disk, [&](int64_t done) {
    if (terminal)
      std::fprintf(stderr, "\r%lld of %lld MB", static_cast<long long>(done >> 20),
                   static_cast<long long>(disk.Size() >> 20));
  });
  EndCounting();
  int shots = 0, complete = 0;
  std::set<int64_t> used;
  for (size_t i = 0; i < marks.heads.size(); ++i) {
    const int64_t at = marks.heads[i], next = i + 1 < marks.heads.size() ? marks.heads[i + 1] : disk.Size();
    const shot::Bytes bytes = ShotAt(disk, at, next, LookAt);
    if (bytes.empty()) continue;
    Rescued rescued = Rescue(bytes, Counting());
    EndCounting();
    std::printf("at %lld: ", static_cast<long long>(at));
    const int result = Finish(bytes, rescued, order, FreeName(order.out, rescued.head.bytes));
    shots += result != none;
    complete += result == all;
    for (const Placed& placed : rescued.placement.placed)
      used.insert(at + rescued.finds.pictures[placed.picture].offset);
  }
  const size_t loose = WriteLoose(disk, marks.pictures, used, order.out);
  TellUnreadable(order.source, disk);
  std::printf("%d shot%s, %d of them complete; %zu picture%s outside of them\n", shots, shots == 1 ? "" : "s", complete,
              loose, loose == 1 ? "" : "s");
  return shots == 0 && loose == 0 ? none : shots > 0 && complete == shots && loose == 0 ? all : some;
}

}  // namespace

int Run(const Order& order) {
  if (order.scan) return ScanDisk(order);
  std::error_code failed;
  if (std::filesystem::exists(order.out, failed))
    return Refuse(order.out, "is there already; a rescue replaces nothing");
  return RescueFile(order);
}

}  // namespace rescue

#include "tools/rescue/command.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "tools/photos/extract.h"
#include "tools/rescue/disk_source.h"
#include "tools/rescue/rescue.h"

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

}  // namespace

int Run(const Order& order) {
  std::error_code failed;
  if (!order.scan && std::filesystem::exists(order.out, failed))
    return Refuse(order.out, "is there already; a rescue replaces nothing");
  return RescueFile(order);
}

}  // namespace rescue

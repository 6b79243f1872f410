#include "twin/seam/board_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <utility>

namespace twin {

namespace {
constexpr Duration kFlashLookUp = 100us;
constexpr Duration kFlashRead = 100us;  // a call that finds its page in memory or on NAND
constexpr Duration kFlashWrite = 2ms;   // a NAND page
}  // namespace

std::unique_ptr<BoardFile> BoardFile::Open(Kernel& kernel, const Paths& paths, UsbDisk& disk,
                                           const std::function<Duration()>& date, const std::string& path, int flags) {
  BoardPath where = paths.Resolve(path);
  const bool writes = (flags & O_ACCMODE) != O_RDONLY, makes = (flags & O_CREAT) != 0;
  std::error_code ignored;
  const bool exists = std::filesystem::exists(where.host, ignored);
  if (std::filesystem::is_directory(where.host, ignored) && writes) {
    errno = EISDIR;
    return nullptr;
  }
  if (where.onDisk) {
    const UsbDisk::Verdict verdict = disk.BeforeOpen(where.volume, writes, !exists && makes);
    kernel.Spend(verdict.takes);
    if (verdict.error != 0) {
      errno = verdict.error;
      return nullptr;
    }
  } else {
    kernel.Spend(kFlashLookUp);
  }
  if (where.onDisk && exists && (flags & O_TRUNC) != 0) {  // what it held stays on the stick until a sync
    disk.Replacing(where.volume);
    std::filesystem::remove(where.host, ignored);
    disk.Removed(where.volume);
  }
  const int descriptor = open(where.host.c_str(), flags | O_CLOEXEC, 0666);
  if (descriptor < 0) return nullptr;
  std::unique_ptr<BoardFile> file(new BoardFile(disk, date, std::move(where), descriptor));
  if (file->OnDisk() && makes) disk.SizeChanged(file->path_.volume, file->Size());
  if (makes && ((flags & O_TRUNC) != 0 || !exists)) file->Stamp();
  return file;
}

BoardFile::BoardFile(UsbDisk& disk, const std::function<Duration()>& date, BoardPath path, int descriptor)
    : disk_(disk), date_(date), path_(std::move(path)), descriptor_(descriptor) {}

BoardFile::~BoardFile() { close(descriptor_); }

void BoardFile::Stamp() {
  const Duration now = date_();
  timespec when{};
  when.tv_sec = static_cast<time_t>(now / 1s);
  when.tv_nsec = static_cast<long>((now % 1s).count());
  const timespec times[] = {when, when};
  futimens(descriptor_, times);
}

uint64_t BoardFile::Size() const {
  struct stat status {};
  return fstat(descriptor_, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

BoardFile::Transfer BoardFile::ReadAt(uint64_t offset, char* data, size_t size) {
  Transfer transfer{.takes = kFlashRead};
  if (path_.onDisk) {
    const UsbDisk::Verdict verdict = disk_.BeforeRead(path_.volume, size);
    transfer.takes = verdict.takes;
    transfer.error = verdict.error;
    if (verdict.error != 0) return transfer;
  }
  const ssize_t got = pread(descriptor_, data, size, static_cast<off_t>(offset));
  if (got < 0) {
    transfer.error = errno;
  } else {
    transfer.bytes = static_cast<uint64_t>(got);
  }
  return transfer;
}

BoardFile::Transfer BoardFile::WriteAt(uint64_t offset, const char* data, size_t size) {
  UsbDisk::WriteVerdict verdict{.stored = size, .reported = size, .takes = kFlashWrite};
  if (path_.onDisk) verdict = disk_.BeforeWrite(path_.volume, offset, size);
  if (verdict.stored > 0 && pwrite(descriptor_, data, verdict.stored, static_cast<off_t>(offset)) < 0) {
    return {.error = errno};
  }
  Stamp();
  if (path_.onDisk) disk_.SizeChanged(path_.volume, Size());
  return {.error = verdict.error, .bytes = verdict.reported, .takes = verdict.takes, .powerCut = verdict.powerCut};
}

}  // namespace twin

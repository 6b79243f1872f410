#include "twin/seam/file_stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace twin {

namespace {
constexpr Duration kFlashRead = 100us;  // a call that finds its page in memory or on NAND
constexpr Duration kFlashWrite = 2ms;   // a NAND page
}  // namespace

uint64_t HostFileSize(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

FileStream::FileStream(Kernel& kernel, UsbDisk& disk, const std::function<Duration()>& date, BoardPath path,
                       int descriptor, bool readable, bool writable)
    : kernel_(kernel),
      disk_(disk),
      date_(date),
      path_(std::move(path)),
      descriptor_(descriptor),
      readable_(readable),
      writable_(writable) {}

FileStream::~FileStream() { close(descriptor_); }

void FileStream::Stamp() {
  const Duration now = date_();
  timespec when{};
  when.tv_sec = static_cast<time_t>(now / 1s);
  when.tv_nsec = static_cast<long>((now % 1s).count());
  const timespec times[] = {when, when};
  futimens(descriptor_, times);
}

bool FileStream::Fail(int error) {
  failed = true;
  errno = error;
  return false;
}

size_t FileStream::Read(char* data, size_t size) {
  if (!readable_) return Fail(EBADF);
  if (Flush() != 0) return 0;
  Duration takes = kFlashRead;
  if (path_.onDisk) {
    const UsbDisk::Verdict verdict = disk_.BeforeRead(path_.volume, size);
    kernel_.Spend(verdict.takes);
    if (verdict.error != 0) return Fail(verdict.error);
    takes = Duration{0};
  }
  const ssize_t got = pread(descriptor_, data, size, static_cast<off_t>(position_));
  if (got < 0) return Fail(errno);
  kernel_.Spend(takes);
  position_ += static_cast<uint64_t>(got);
  if (static_cast<size_t>(got) < size) end = true;
  return static_cast<size_t>(got);
}

size_t FileStream::Write(const char* data, size_t size) {
  if (!writable_) return Fail(EBADF);
  if (buffered_ + size > kBufferSize && Flush() != 0) return 0;
  if (size >= kBufferSize) return WriteOut(data, size) ? size : 0;
  std::memcpy(buffer_.data() + buffered_, data, size);
  buffered_ += size;
  position_ += size;
  return size;
}

int FileStream::Flush() {
  if (buffered_ == 0) return 0;
  const size_t size = std::exchange(buffered_, 0);  // as in the C library, what cannot be written is dropped
  position_ -= size;
  return WriteOut(buffer_.data(), size) ? 0 : -1;
}

// Writes at position_ and moves it on by what was taken. The power may go in the middle.
bool FileStream::WriteOut(const char* data, size_t size) {
  if (kernel_.Dying()) return Fail(EIO);
  UsbDisk::WriteVerdict verdict{.stored = size, .reported = size, .takes = kFlashWrite};
  if (path_.onDisk) verdict = disk_.BeforeWrite(path_.volume, position_, size);
  if (verdict.stored > 0 && pwrite(descriptor_, data, verdict.stored, static_cast<off_t>(position_)) < 0) {
    return Fail(errno);
  }
  Stamp();
  if (path_.onDisk) disk_.SizeChanged(path_.volume, HostFileSize(descriptor_));
  kernel_.Spend(verdict.takes);
  if (verdict.powerCut) disk_.CutPower();
  position_ += verdict.reported;
  if (verdict.error != 0) return Fail(verdict.error);
  return verdict.reported == size || Fail(ENOSPC);
}

int FileStream::Seek(int64_t offset, int whence) {
  if (Flush() != 0) return -1;
  int64_t base = 0;
  if (whence == SEEK_CUR) base = static_cast<int64_t>(position_);
  if (whence == SEEK_END) base = static_cast<int64_t>(HostFileSize(descriptor_));
  if (base + offset < 0) {
    errno = EINVAL;
    return -1;
  }
  position_ = static_cast<uint64_t>(base + offset);
  end = false;
  return 0;
}

int FileStream::Close() { return Flush(); }

}  // namespace twin

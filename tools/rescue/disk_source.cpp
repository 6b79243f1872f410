#include "tools/rescue/disk_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace rescue {
namespace {
constexpr size_t block = 1 << 20, sector = 512;
}

DiskSource::DiskSource(const std::string& path) {
  // O_NONBLOCK: a named pipe must not hold us up before it is refused.
  fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd_ < 0) throw shot::CannotRead(path + ": cannot open: " + std::strerror(errno));
  struct stat status {};
  const bool known = fstat(fd_, &status) == 0 && (S_ISREG(status.st_mode) || S_ISBLK(status.st_mode));
  size_ = known ? lseek(fd_, 0, SEEK_END) : -1;
  if (size_ >= 0) return;
  close(fd_);
  throw shot::CannotRead(path + ": neither a regular file nor a disk");
}

DiskSource::~DiskSource() { close(fd_); }

// Returns false at what cannot be read; `got` is what came before it.
bool DiskSource::ReadAt(int64_t offset, uint8_t* to, size_t size, size_t& got) const {
  for (got = 0; got < size;) {
    const ssize_t n = pread(fd_, to + got, size - got, offset + static_cast<off_t>(got));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) break;
    got += static_cast<size_t>(n);
  }
  return true;
}

shot::Bytes DiskSource::Read(int64_t offset, int64_t size) {
  const int64_t there = std::clamp<int64_t>(size_ - offset, 0, std::max<int64_t>(size, 0));
  shot::Bytes bytes(static_cast<size_t>(there));
  for (size_t at = 0; at < bytes.size();) {
    // Where a block fails it is read again by sectors, to lose no more than must be.
    const size_t wanted = std::min(block, bytes.size() - at);
    size_t got = 0;
    if (ReadAt(offset + static_cast<int64_t>(at), &bytes[at], wanted, got)) {
      if (got < wanted) bytes.resize(at + got);
      at += wanted;
      continue;
    }
    for (const size_t end = at + wanted; at < end; at += sector) {
      const size_t part = std::min(sector, end - at);
      if (ReadAt(offset + static_cast<int64_t>(at), &bytes[at], part, got) && got == part) continue;
      std::fill_n(&bytes[at], part, uint8_t{0});
      unreadable_ += static_cast<int64_t>(part);
    }
    at = std::min(at, bytes.size());
  }
  return bytes;
}

}  // namespace rescue

// A file that is only in memory, for code that opens files by name.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <span>
#include <string>

namespace fuzz {

class MemoryFile {
 public:
  explicit MemoryFile(std::span<const uint8_t> bytes) : fd_(memfd_create("fuzz", 0)) {
    for (size_t at = 0; at < bytes.size();) {
      const ssize_t n = write(fd_, bytes.data() + at, bytes.size() - at);
      if (n <= 0) break;
      at += static_cast<size_t>(n);
    }
  }
  ~MemoryFile() { close(fd_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  std::string Path() const { return "/proc/self/fd/" + std::to_string(fd_); }

 private:
  int fd_;
};

}  // namespace fuzz

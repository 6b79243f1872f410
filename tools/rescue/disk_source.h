// A file, or a disk, that may be broken: what cannot be read is zeros, and is counted.
#pragma once

#include <string>

#include "tools/lumora-shot/shot_file.h"

namespace rescue {

class DiskSource {
 public:
  // A regular file or a block device, opened for reading alone. Throws shot::CannotRead.
  explicit DiskSource(const std::string& path);
  ~DiskSource();
  DiskSource(const DiskSource&) = delete;
  DiskSource& operator=(const DiskSource&) = delete;

  int64_t Size() const { return size_; }
  // At most `size` bytes from `offset` on: fewer at the end, or if the source has become shorter.
  shot::Bytes Read(int64_t offset, int64_t size);
  // Bytes that could not be read so far.
  int64_t Unreadable() const { return unreadable_; }

 private:
  bool ReadAt(int64_t offset, uint8_t* to, size_t size, size_t& got) const;

  int fd_ = -1;
  int64_t size_ = 0, unreadable_ = 0;
};

}  // namespace rescue

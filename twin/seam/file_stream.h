// A file of the board with the C library's buffer on top.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "twin/seam/board_file.h"
#include "twin/seam/stdio.h"

namespace twin {

class FileStream final : public Stream {
 public:
  FileStream(Kernel& kernel, UsbDisk& disk, std::unique_ptr<BoardFile> file, bool readable, bool writable);

  size_t Read(char* data, size_t size) override;
  size_t Write(const char* data, size_t size) override;
  int Flush() override;
  int Seek(int64_t offset, int whence) override;
  int64_t Tell() override { return static_cast<int64_t>(position_); }
  int Close() override;
  bool OnDisk() const { return file_->OnDisk(); }

 private:
  static constexpr size_t kBufferSize = 4096;  // BUFSIZ on the device's file systems

  bool Fail(int error);
  bool WriteOut(const char* data, size_t size);

  Kernel& kernel_;
  UsbDisk& disk_;
  std::unique_ptr<BoardFile> file_;
  bool readable_, writable_;
  uint64_t position_ = 0;  // where the next byte is read or written, buffer counted
  std::array<char, kBufferSize> buffer_;
  size_t buffered_ = 0;  // bytes in front of position_ that are not written yet
};

}  // namespace twin

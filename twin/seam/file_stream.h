// A file of the board: a host file underneath, the USB disk's rules in between, a buffer on top.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include "twin/seam/stdio.h"

namespace twin {

// Bytes of an open file of the host; 0 if it cannot say.
uint64_t HostFileSize(int descriptor);

class FileStream final : public Stream {
 public:
  // date: the board's, since 1970
  FileStream(Kernel& kernel, UsbDisk& disk, const std::function<Duration()>& date, BoardPath path, int descriptor,
             bool readable, bool writable);
  ~FileStream() override;
  FileStream(const FileStream&) = delete;
  FileStream& operator=(const FileStream&) = delete;

  size_t Read(char* data, size_t size) override;
  size_t Write(const char* data, size_t size) override;
  int Flush() override;
  int Seek(int64_t offset, int whence) override;
  int64_t Tell() override { return static_cast<int64_t>(position_); }
  int Close() override;
  void Stamp();  // the file was changed now
  bool OnDisk() const { return path_.onDisk; }

 private:
  static constexpr size_t kBufferSize = 4096;  // BUFSIZ on the device's file systems

  bool Fail(int error);
  bool WriteOut(const char* data, size_t size);

  Kernel& kernel_;
  UsbDisk& disk_;
  const std::function<Duration()>& date_;
  BoardPath path_;
  int descriptor_;
  bool readable_, writable_;
  uint64_t position_ = 0;  // where the next byte is read or written, buffer counted
  std::array<char, kBufferSize> buffer_;
  size_t buffered_ = 0;  // bytes in front of position_ that are not written yet
};

}  // namespace twin

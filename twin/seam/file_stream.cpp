#include "twin/seam/file_stream.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace twin {

FileStream::FileStream(Kernel& kernel, UsbDisk& disk, std::unique_ptr<BoardFile> file, bool readable, bool writable)
    : kernel_(kernel), disk_(disk), file_(std::move(file)), readable_(readable), writable_(writable) {}

bool FileStream::Fail(int error) {
  failed = true;
  errno = error;
  return false;
}

size_t FileStream::Read(char* data, size_t size) {
  if (!readable_) return Fail(EBADF);
  if (Flush() != 0) return 0;
  const BoardFile::Transfer transfer = file_->ReadAt(position_, data, size);
  kernel_.Spend(transfer.takes);
  if (transfer.error != 0) return Fail(transfer.error);
  position_ += transfer.bytes;
  if (transfer.bytes < size) end = true;
  return transfer.bytes;
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
  const BoardFile::Transfer transfer = file_->WriteAt(position_, data, size);
  kernel_.Spend(transfer.takes);
  if (transfer.powerCut) disk_.CutPower();
  position_ += transfer.bytes;
  if (transfer.error != 0) return Fail(transfer.error);
  return transfer.bytes == size || Fail(ENOSPC);
}

int FileStream::Seek(int64_t offset, int whence) {
  if (Flush() != 0) return -1;
  int64_t base = 0;
  if (whence == SEEK_CUR) base = static_cast<int64_t>(position_);
  if (whence == SEEK_END) base = static_cast<int64_t>(file_->Size());
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

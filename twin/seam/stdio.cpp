#include "twin/seam/stdio.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>

#include "twin/seam/file_stream.h"

namespace twin {

int Stream::Seek(int64_t /*offset*/, int /*whence*/) {
  errno = ESPIPE;
  return -1;
}

int64_t Stream::Tell() {
  errno = ESPIPE;
  return -1;
}

Stdio::Stdio(Kernel& kernel, Paths& paths, UsbDisk& disk, std::function<void(const char*, size_t)> log,
             std::function<Duration()> date)
    : kernel_(kernel), paths_(paths), date_(std::move(date)), disk_(disk) {
  output_.log = std::move(log);
}

Stdio::~Stdio() = default;

size_t Stdio::LogStream::Write(const char* data, size_t size) {
  log(data, size);
  return size;
}

size_t Stdio::PipeStream::Read(char* data, size_t size) {
  const size_t got = text.copy(data, size, position);
  position += got;
  if (got < size) end = true;
  return got;
}

size_t Stdio::PipeStream::Write(const char* /*data*/, size_t /*size*/) {
  failed = true;
  errno = EBADF;
  return 0;
}

FILE* Stdio::OpenPipe(std::string text, int status) { return ToFile(&pipes_.emplace_back(std::move(text), status)); }

int Stdio::ClosePipe(FILE* file) {
  const auto found = std::find_if(pipes_.begin(), pipes_.end(), [file](PipeStream& p) { return ToFile(&p) == file; });
  if (found == pipes_.end()) {
    errno = ECHILD;
    return -1;
  }
  const int status = found->status;
  pipes_.erase(found);
  return status;
}

FILE* Stdio::Open(const std::string& path, const std::string& mode) {
  const bool update = mode.find('+') != std::string::npos;
  int flags = 0;
  switch (mode.empty() ? '\0' : mode[0]) {
    case 'r': flags = update ? O_RDWR : O_RDONLY; break;
    case 'w': flags = (update ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC; break;
    case 'a': flags = (update ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND; break;
    default: errno = EINVAL; return nullptr;
  }
  auto file = BoardFile::Open(kernel_, paths_, disk_, date_, path, flags);
  if (file == nullptr) return nullptr;
  const int access = flags & O_ACCMODE;
  files_.emplace_back(kernel_, disk_, std::move(file), access != O_WRONLY, access != O_RDONLY);
  if ((flags & O_APPEND) != 0) files_.back().Seek(0, SEEK_END);
  return ToFile(&files_.back());
}

Stream* Stdio::Find(FILE* file) {
  if (file == ToFile(&output_)) return &output_;
  for (PipeStream& pipe : pipes_) {
    if (file == ToFile(&pipe)) return &pipe;
  }
  const auto found = std::find_if(files_.begin(), files_.end(), [file](FileStream& f) { return ToFile(&f) == file; });
  return found == files_.end() ? nullptr : &*found;
}

int Stdio::Close(FILE* file) {
  const auto found = std::find_if(files_.begin(), files_.end(), [file](FileStream& f) { return ToFile(&f) == file; });
  if (found == files_.end()) {
    errno = EBADF;
    return EOF;
  }
  const int result = found->Close();
  files_.erase(found);
  return result == 0 ? 0 : EOF;
}

int Stdio::Print(FILE* file, const char* format, va_list arguments) {
  Stream* stream = Find(file);
  if (stream == nullptr) {
    errno = EBADF;
    return -1;
  }
  std::array<char, 8192> text;  // the longest line of the application is a settings file of 1,023 bytes
  const int length = vsnprintf(text.data(), text.size(), format, arguments);
  if (length < 0) return -1;
  const size_t size = std::min(static_cast<size_t>(length), text.size() - 1);
  return stream->Write(text.data(), size) == size ? length : -1;
}

size_t Stdio::OpenOnDisk() const {
  return static_cast<size_t>(
      std::count_if(files_.begin(), files_.end(), [](const FileStream& f) { return f.OnDisk(); }));
}

void Stdio::Drop() {
  files_.clear();
  pipes_.clear();
}

}  // namespace twin

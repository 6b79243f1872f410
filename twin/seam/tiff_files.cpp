#include "twin/seam/tiff_files.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

namespace twin {

namespace {

std::string Text(const char* format, va_list arguments) {
  std::array<char, 1024> text;
  vsnprintf(text.data(), text.size(), format, arguments);
  return text.data();
}

// A handler takes its arguments as a list; this makes one.
void Invoke(TIFFErrorHandler handler, const char* module, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  handler(module, format, arguments);
  va_end(arguments);
}

int KeepOpen(thandle_t /*handle*/) { return 0; }  // the owner closes the file
int MapNothing(thandle_t /*handle*/, void** /*base*/, toff_t* /*size*/) { return 0; }
void UnmapNothing(thandle_t /*handle*/, void* /*base*/, toff_t /*size*/) {}

}  // namespace

TiffFiles::TiffFiles(Kernel& kernel, Paths& paths, UsbDisk& disk, std::function<void(const char*, size_t)> log,
                     std::function<Duration()> date)
    : kernel_(kernel), paths_(paths), disk_(disk), log_(std::move(log)), date_(std::move(date)) {}

TiffFiles::~TiffFiles() { Drop(); }

// --- what the library says ---

namespace {
TiffFiles* listener = nullptr;
}

TiffFiles::Listening::Listening(TiffFiles& owner) {
  listener = &owner;
  error_ = TIFFSetErrorHandler([](const char* module, const char* format, va_list arguments) {
    listener->messages_.push_back({true, module == nullptr ? "" : module, Text(format, arguments)});
  });
  warning_ = TIFFSetWarningHandler([](const char* module, const char* format, va_list arguments) {
    listener->messages_.push_back({false, module == nullptr ? "" : module, Text(format, arguments)});
  });
}

TiffFiles::Listening::~Listening() {
  TIFFSetErrorHandler(error_);
  TIFFSetWarningHandler(warning_);
}

void TiffFiles::Say(const Message& message) {
  const TIFFErrorHandler handler = message.error ? errorHandler_ : warningHandler_;
  if (handler != nullptr) {
    Invoke(handler, message.module.empty() ? nullptr : message.module.c_str(), "%s", message.text.c_str());
    return;
  }
  const std::string line =
      (message.module.empty() ? "" : message.module + ": ") + (message.error ? "" : "Warning, ") + message.text + ".\n";
  log_(line.data(), line.size());
}

void TiffFiles::Finish(File& file) {
  kernel_.Spend(std::exchange(file.owed, Duration{0}));
  if (file.powerCut) disk_.CutPower();
  for (const Message& message : std::exchange(messages_, {})) Say(message);
}

// --- files ---

TIFF* TiffFiles::Open(const std::string& path, const std::string& mode) {
  int flags = 0;
  switch (mode.empty() ? '\0' : mode[0]) {
    case 'r': flags = O_RDONLY; break;
    case 'w': flags = O_RDWR | O_CREAT | O_TRUNC; break;
    case 'a': flags = O_RDWR | O_CREAT; break;
    default: Say({true, "TIFFOpen", "\"" + mode + "\": Bad mode"}); return nullptr;
  }
  auto opened = BoardFile::Open(kernel_, paths_, disk_, date_, path, flags);
  if (opened == nullptr) {
    Say({true, "TIFFOpen", path + ": " + strerror(errno)});
    return nullptr;
  }
  File& file = files_.emplace_back(File{.owner = *this, .file = std::move(opened)});
  {
    const Listening listening(*this);
    file.tiff =
        TIFFClientOpen(path.c_str(), mode.c_str(), &file, Read, Write, Seek, KeepOpen, Size, MapNothing, UnmapNothing);
  }
  TIFF* const tiff = file.tiff;
  Finish(file);
  if (tiff == nullptr) files_.remove_if([&file](const File& f) { return &f == &file; });
  return tiff;
}

void TiffFiles::Close(TIFF* tiff) {
  File* const file = Find(tiff);
  if (file == nullptr || kernel_.Dying()) return;
  {
    const Listening listening(*this);
    TIFFClose(tiff);
  }
  file->tiff = nullptr;
  Finish(*file);
  files_.remove_if([file](const File& f) { return &f == file; });
}

TiffFiles::File* TiffFiles::Find(TIFF* tiff) {
  const auto found = std::find_if(files_.begin(), files_.end(), [tiff](const File& f) { return f.tiff == tiff; });
  return found == files_.end() || tiff == nullptr ? nullptr : &*found;
}

size_t TiffFiles::OpenOnDisk() const {
  return static_cast<size_t>(
      std::count_if(files_.begin(), files_.end(), [](const File& f) { return f.file->OnDisk(); }));
}

void TiffFiles::Drop() {
  {
    const Listening listening(*this);
    for (File& file : files_) {
      file.powerCut = true;  // the library gives back its memory, and nothing is written any more
      if (file.tiff != nullptr) TIFFClose(std::exchange(file.tiff, nullptr));
    }
  }
  files_.clear();
  messages_.clear();
  errorHandler_ = warningHandler_ = nullptr;
}

// --- what the library reads and writes ---

tmsize_t TiffFiles::Read(thandle_t handle, void* data, tmsize_t size) {
  File& file = *static_cast<File*>(handle);
  if (file.powerCut) return -1;
  const BoardFile::Transfer transfer =
      file.file->ReadAt(file.position, static_cast<char*>(data), static_cast<size_t>(size));
  file.owed += transfer.takes;
  if (transfer.error != 0) {
    errno = transfer.error;
    return -1;
  }
  file.position += transfer.bytes;
  return static_cast<tmsize_t>(transfer.bytes);
}

tmsize_t TiffFiles::Write(thandle_t handle, void* data, tmsize_t size) {
  File& file = *static_cast<File*>(handle);
  if (file.powerCut) return -1;
  const BoardFile::Transfer transfer =
      file.file->WriteAt(file.position, static_cast<const char*>(data), static_cast<size_t>(size));
  file.owed += transfer.takes;
  file.powerCut = transfer.powerCut;
  file.position += transfer.bytes;
  if (transfer.error != 0) {
    errno = transfer.error;
    return -1;
  }
  return static_cast<tmsize_t>(transfer.bytes);
}

toff_t TiffFiles::Seek(thandle_t handle, toff_t offset, int whence) {
  File& file = *static_cast<File*>(handle);
  switch (whence) {
    case SEEK_CUR: file.position += offset; break;
    case SEEK_END: file.position = file.file->Size() + offset; break;
    default: file.position = offset; break;
  }
  return file.position;
}

toff_t TiffFiles::Size(thandle_t handle) { return static_cast<File*>(handle)->file->Size(); }

}  // namespace twin

// The application's C streams: buffered as the device's C library buffers, so that what was not flushed is lost when
// the power goes, and each write that reaches the disk can be counted, refused, torn or forgotten.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "twin/devices/usb_disk/usb_disk.h"
#include "twin/kernel/kernel.h"
#include "twin/seam/paths.h"

namespace twin {

// One open stream. The application holds it as a FILE pointer and never looks inside.
class Stream {
 public:
  virtual ~Stream() = default;
  // Results and errors as of the C functions; -1 or a short count with errno set on failure.
  virtual size_t Read(char* data, size_t size) = 0;
  virtual size_t Write(const char* data, size_t size) = 0;
  virtual int Flush() = 0;
  // A stream that cannot be positioned says so; files override both.
  virtual int Seek(int64_t offset, int whence);
  virtual int64_t Tell();
  virtual int Close() = 0;  // flushes; the stream is gone afterwards, whatever the result
  bool end = false;         // end of file was met
  bool failed = false;
};

class Stdio {
 public:
  // `log` receives what goes to standard output and standard error. `date` is the board's own, since 1970: files are
  // as old as the board believes.
  Stdio(Kernel& kernel, Paths& paths, UsbDisk& disk, std::function<void(const char*, size_t)> log,
        std::function<Duration()> date);
  ~Stdio();

  FILE* Open(const std::string& path, const std::string& mode);  // null with errno set
  int Close(FILE* file);
  Stream* Find(FILE* file);  // null if it is not an open stream
  FILE* StandardOutput() { return ToFile(&output_); }
  int Print(FILE* file, const char* format, va_list arguments);
  // What a command printed, to be read. `status` is what ClosePipe returns, which is -1 for any other stream.
  FILE* OpenPipe(std::string text, int status);
  int ClosePipe(FILE* file);
  size_t OpenOnDisk() const;  // files that keep the disk from being unmounted
  void Drop();                // the power is gone: buffers are lost, files are closed as they are

 private:
  class LogStream final : public Stream {
   public:
    std::function<void(const char*, size_t)> log;
    size_t Read(char* /*data*/, size_t /*size*/) override { return 0; }
    size_t Write(const char* data, size_t size) override;
    int Flush() override { return 0; }
    int Close() override { return 0; }
  };
  class PipeStream final : public Stream {
   public:
    PipeStream(std::string printed, int exitStatus) : text(std::move(printed)), status(exitStatus) {}
    std::string text;
    int status;
    size_t position = 0;
    size_t Read(char* data, size_t size) override;
    size_t Write(const char* data, size_t size) override;
    int Flush() override { return 0; }
    int Close() override { return 0; }
  };
  static FILE* ToFile(Stream* stream) { return reinterpret_cast<FILE*>(stream); }

  Kernel& kernel_;
  Paths& paths_;
  std::function<Duration()> date_;
  UsbDisk& disk_;
  LogStream output_;
  std::list<class FileStream> files_;
  std::list<PipeStream> pipes_;
};

}  // namespace twin

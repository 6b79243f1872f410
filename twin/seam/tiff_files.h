// The TIFF files that the application has open. The library is the host's; the files under it are the board's.
//
// A fiber must never be suspended, let alone killed, inside the library: it is plain C, with the host's heap and its
// own half-finished state. So while the library works, transfers are only noted. When it has come back, Finish lets
// the noted time pass, cuts the power where a write was to do that, and hands on what the library had to say.
#pragma once

#include <tiffio.h>

#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "twin/seam/board_file.h"

namespace twin {

class TiffFiles {
 public:
  // `log` receives what the library says while the application has set no handler: the board's standard error.
  TiffFiles(Kernel& kernel, Paths& paths, UsbDisk& disk, std::function<void(const char*, size_t)> log,
            std::function<Duration()> date);
  ~TiffFiles();
  TiffFiles(const TiffFiles&) = delete;
  TiffFiles& operator=(const TiffFiles&) = delete;

  TIFF* Open(const std::string& path, const std::string& mode);  // results of TIFFOpen
  void Close(TIFF* tiff);

  // Runs one call of the library on an open file and gives back its result; `failed` if the file is not one of ours or
  // the fiber is being unwound.
  template <class Result, class Work>
  Result Call(TIFF* tiff, Result failed, Work work) {
    File* const file = Find(tiff);
    if (file == nullptr || kernel_.Dying()) return failed;
    Result result = failed;
    {
      const Listening listening(*this);
      result = work();
    }
    Finish(*file);
    return result;
  }

  // The application's own handlers, null for the library's defaults. Give back the ones before.
  TIFFErrorHandler SetErrorHandler(TIFFErrorHandler handler) { return std::exchange(errorHandler_, handler); }
  TIFFErrorHandler SetWarningHandler(TIFFErrorHandler handler) { return std::exchange(warningHandler_, handler); }

  size_t OpenOnDisk() const;  // files that keep the disk from being unmounted
  void Drop();                // the power is gone: what the library still holds is lost

 private:
  struct File {
    TiffFiles& owner;
    std::unique_ptr<BoardFile> file;
    TIFF* tiff = nullptr;
    uint64_t position = 0;
    Duration owed{0};       // of transfers that the library made
    bool powerCut = false;  // the power went in one of them; later ones fail
  };
  struct Message {
    bool error;
    std::string module, text;
  };
  // While one exists, the library's messages are collected. The handlers are the whole process's: others may read
  // TIFF files between the board's calls.
  class Listening {
   public:
    explicit Listening(TiffFiles& owner);
    ~Listening();
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;

   private:
    TIFFErrorHandler error_, warning_;
  };

  File* Find(TIFF* tiff);
  void Finish(File& file);
  void Say(const Message& message);
  static tmsize_t Read(thandle_t handle, void* data, tmsize_t size);
  static tmsize_t Write(thandle_t handle, void* data, tmsize_t size);
  static toff_t Seek(thandle_t handle, toff_t offset, int whence);
  static toff_t Size(thandle_t handle);

  Kernel& kernel_;
  Paths& paths_;
  UsbDisk& disk_;
  std::function<void(const char*, size_t)> log_;
  std::function<Duration()> date_;
  std::list<File> files_;
  std::vector<Message> messages_;
  TIFFErrorHandler errorHandler_ = nullptr, warningHandler_ = nullptr;
};

}  // namespace twin

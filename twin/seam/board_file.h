// One open file of the board: a host file underneath, the USB disk's rules in between. No buffer, and no time of its
// own: each transfer tells what it takes, and whoever has the application on the line spends it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "twin/devices/usb_disk/usb_disk.h"
#include "twin/kernel/kernel.h"
#include "twin/seam/paths.h"

namespace twin {

class BoardFile {
 public:
  // Opens `path` of the board with open(2)'s `flags`, which takes its time. Null with errno set. `date` is the board's,
  // since 1970: files are as old as the board believes.
  static std::unique_ptr<BoardFile> Open(Kernel& kernel, const Paths& paths, UsbDisk& disk,
                                         const std::function<Duration()>& date, const std::string& path, int flags);
  ~BoardFile();
  BoardFile(const BoardFile&) = delete;
  BoardFile& operator=(const BoardFile&) = delete;

  struct Transfer {
    int error = 0;          // an errno value; then `bytes` counts what was moved before it
    uint64_t bytes = 0;     // as the caller is told
    Duration takes{0};      // to spend, in any case
    bool powerCut = false;  // after that: UsbDisk::CutPower
  };
  Transfer ReadAt(uint64_t offset, char* data, size_t size);
  // Fewer bytes than asked without an error: the disk became full on the way.
  Transfer WriteAt(uint64_t offset, const char* data, size_t size);
  uint64_t Size() const;
  bool OnDisk() const { return path_.onDisk; }

 private:
  BoardFile(UsbDisk& disk, const std::function<Duration()>& date, BoardPath path, int descriptor);
  void Stamp();  // the file was changed now

  UsbDisk& disk_;
  const std::function<Duration()>& date_;
  BoardPath path_;
  int descriptor_;
};

}  // namespace twin

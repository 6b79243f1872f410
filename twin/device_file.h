// A node that the application can open: something under /dev, or a descriptor that a library call hands out.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "twin/kernel/kernel.h"

namespace twin {

class DeviceFile {
 public:
  virtual ~DeviceFile() = default;
  // Each returns a result of 0 or more, or the negative of an errno value. Called in a fiber, so it may Spend and Wait.
  virtual int Open(int /*flags*/) { return 0; }
  virtual void Close() {}
  virtual int SetFlags(int /*flags*/) { return 0; }  // of the open file, as by fcntl
  virtual long Read(void* /*data*/, size_t /*size*/) { return -EINVAL; }
  virtual long Write(const void* /*data*/, size_t /*size*/) { return -EINVAL; }
  virtual int Ioctl(unsigned long /*request*/, void* /*argument*/) { return -ENOTTY; }
  // For mmap, both: `size` bytes from `offset` on, which is a multiple of the page. Whoever maps gets them at *where,
  // as long as it does not unmap them, also when the device has been closed meanwhile.
  virtual int Map(size_t /*size*/, uint64_t /*offset*/, void** /*where*/) { return -ENODEV; }
  virtual void Unmap(void* /*where*/, size_t /*size*/) {}
  // For select: whether a read would find something, and who to tell when that changes (null: never changes).
  virtual bool Readable() const { return false; }
  virtual WaitQueue* ReadableChanged() { return nullptr; }
};

}  // namespace twin

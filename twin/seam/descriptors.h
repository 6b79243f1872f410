// The application's file descriptors, and the device files that they can be opened on.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "twin/device_file.h"

namespace twin {

class Descriptors {
 public:
  // `device` answers to opens of `path` ("/dev/spidev0.0"). It must outlive this.
  void AddNode(const std::string& path, DeviceFile& device) { nodes_[path] = &device; }
  void RemoveNode(const std::string& path) { nodes_.erase(path); }

  // A new descriptor, or -errno. ENOENT where there is no such node.
  int Open(const std::string& path, int flags);
  // A descriptor that a library call hands out; it is not opened or closed by the device's Open and Close.
  int Install(DeviceFile& device);
  // The same for a device of which this is the only reference: closed with the descriptor, and then destroyed.
  int Adopt(std::unique_ptr<DeviceFile> device);
  void Remove(int descriptor);
  int Close(int descriptor);  // 0 or -errno
  DeviceFile* Find(int descriptor);
  // 0 or -errno. Unmap takes a mapping as it was made, never a part of it.
  int Map(int descriptor, size_t size, uint64_t offset, void** where);
  int Unmap(void* where, size_t size);
  void CloseAll();  // and ends all mappings
  size_t OpenCount() const;
  size_t MappingCount() const { return mappings_.size(); }

 private:
  struct Entry {
    DeviceFile* device = nullptr;
    bool opened = false;
    std::shared_ptr<DeviceFile> owned;
  };
  int Store(Entry entry);

  std::map<std::string, DeviceFile*> nodes_;
  std::vector<Entry> entries_;
  struct Mapping {
    DeviceFile* device;
    size_t size;
  };
  std::map<void*, Mapping> mappings_;
};

}  // namespace twin

#include "twin/seam/descriptors.h"

#include <algorithm>

namespace twin {

namespace {
constexpr size_t kFirst = 3;  // 0 to 2 are the standard streams
constexpr size_t kMost = 1024;
constexpr uint64_t kPage = 4096;
}  // namespace

int Descriptors::Store(Entry entry) {
  if (entries_.size() < kFirst) entries_.resize(kFirst);
  const auto free = std::find_if(entries_.begin() + kFirst, entries_.end(), [](const Entry& e) { return !e.device; });
  if (free == entries_.end() && entries_.size() >= kMost) return -EMFILE;
  const auto index = static_cast<int>(free - entries_.begin());
  if (free == entries_.end()) {
    entries_.push_back(entry);
  } else {
    *free = entry;
  }
  return index;
}

int Descriptors::Open(const std::string& path, int flags) {
  const auto node = nodes_.find(path);
  if (node == nodes_.end()) return -ENOENT;
  if (const int result = node->second->Open(flags); result < 0) return result;
  return Store({node->second, true, nullptr});
}

int Descriptors::Install(DeviceFile& device) { return Store({&device, false, nullptr}); }

int Descriptors::Adopt(std::unique_ptr<DeviceFile> device) {
  DeviceFile* raw = device.get();
  return Store({raw, true, std::move(device)});
}

void Descriptors::Remove(int descriptor) {
  if (Find(descriptor) != nullptr) entries_[static_cast<size_t>(descriptor)] = {};
}

int Descriptors::Close(int descriptor) {
  if (Find(descriptor) == nullptr) return -EBADF;
  Entry entry = entries_[static_cast<size_t>(descriptor)];
  entries_[static_cast<size_t>(descriptor)] = {};
  if (entry.opened) entry.device->Close();
  return 0;
}

DeviceFile* Descriptors::Find(int descriptor) {
  if (descriptor < 0 || static_cast<size_t>(descriptor) >= entries_.size()) return nullptr;
  return entries_[static_cast<size_t>(descriptor)].device;
}

int Descriptors::Map(int descriptor, size_t size, uint64_t offset, void** where) {
  DeviceFile* device = Find(descriptor);
  if (device == nullptr) return -EBADF;
  if (size == 0 || offset % kPage != 0) return -EINVAL;
  if (const int result = device->Map(size, offset, where); result < 0) return result;
  mappings_[*where] = {device, size};
  return 0;
}

int Descriptors::Unmap(void* where, size_t size) {
  const auto found = mappings_.find(where);
  if (found == mappings_.end() || found->second.size != size) return -EINVAL;
  found->second.device->Unmap(where, size);
  mappings_.erase(found);
  return 0;
}

void Descriptors::CloseAll() {
  for (const auto& [where, mapping] : mappings_) mapping.device->Unmap(where, mapping.size);
  mappings_.clear();
  for (size_t i = 0; i < entries_.size(); i++) Close(static_cast<int>(i));
}

size_t Descriptors::OpenCount() const {
  return static_cast<size_t>(std::count_if(entries_.begin(), entries_.end(), [](const Entry& e) { return e.device; }));
}

}  // namespace twin

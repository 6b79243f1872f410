#include "twin/seam/heap.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace twin {

Heap::Heap(Faults& faults) : malloc_(faults, "heap.malloc", "an allocation fails; detail: its size in bytes") {}

Heap::~Heap() { FreeAll(); }

void* Heap::Allocate(size_t size, bool clear) {
  if (malloc_.Ask(static_cast<int64_t>(size))) {
    errno = ENOMEM;
    return nullptr;
  }
  void* block = clear ? std::calloc(1, size) : std::malloc(size);
  if (block != nullptr) {
    blocks_.emplace(block, size);
    bytes_ += size;
    peak_ = std::max(peak_, bytes_);
  }
  return block;
}

void* Heap::Resize(void* block, size_t size) {
  void* larger = Allocate(size, false);
  if (larger == nullptr || block == nullptr) return larger;
  const auto found = blocks_.find(block);
  if (found != blocks_.end()) std::memcpy(larger, block, std::min(size, found->second));
  Free(block);
  return larger;
}

void Heap::Free(void* block) {
  const auto found = blocks_.find(block);
  if (found != blocks_.end()) {
    bytes_ -= found->second;
    blocks_.erase(found);
  }
  std::free(block);  // a block from a library that the application uses is not in the table and is the host's
}

void Heap::FreeAll() {
  for (const auto& [block, size] : blocks_) std::free(block);
  blocks_.clear();
  bytes_ = 0;
}

}  // namespace twin

// The application's heap: what it takes is given back when the board's power goes.
// Fault: "heap.malloc", detail = size in bytes, effect Fail: no memory.
#pragma once

#include <cstddef>
#include <unordered_map>

#include "twin/faults/faults.h"

namespace twin {

class Heap {
 public:
  explicit Heap(Faults& faults);
  ~Heap();
  Heap(const Heap&) = delete;
  Heap& operator=(const Heap&) = delete;

  void* Allocate(size_t size, bool clear);
  void* Resize(void* block, size_t size);
  void Free(void* block);
  void FreeAll();
  size_t Bytes() const { return bytes_; }
  size_t Peak() const { return peak_; }  // the most that it ever held at once
  size_t Blocks() const { return blocks_.size(); }

 private:
  std::unordered_map<void*, size_t> blocks_;
  size_t bytes_ = 0;
  size_t peak_ = 0;
  FaultPoint malloc_;
};

}  // namespace twin

#include "twin/devices/media/pool_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>

#include "twin/devices/media/system_unit.h"

namespace twin {

namespace {

constexpr uint64_t kBase = SystemUnit::kMemoryBase;
constexpr uint64_t kSize = SystemUnit::kMemory;

}  // namespace

PoolMemory::PoolMemory(Faults& faults)
    : open_(faults, "memory.open", "an open of /dev/mem: fail=ERRNO"),
      map_(faults, "memory.map", "a mapping of /dev/mem: fail=ERRNO") {}

PoolMemory::~PoolMemory() { Forget(); }

int PoolMemory::Open(int /*flags*/) { return -open_.AskFailure(); }

// Memory that nobody has touched costs the host nothing.
uint8_t* PoolMemory::Memory() {
  if (memory_ != nullptr) return memory_;
  file_ = memfd_create("lumora pools", MFD_CLOEXEC);
  if (file_ < 0 || ftruncate(file_, kSize) != 0) throw std::runtime_error("no memory for the board's pools");
  void* all = mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, file_, 0);
  if (all == MAP_FAILED) throw std::runtime_error("the board's pools cannot be mapped");
  return memory_ = static_cast<uint8_t*>(all);
}

int PoolMemory::Map(size_t size, uint64_t address, void** where) {
  if (const int error = map_.AskFailure(); error != 0) return -error;
  if (address < kBase || address + size > kBase + kSize) return -EINVAL;
  Memory();
  Make(address - kBase, address - kBase + size);
  void* mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file_, static_cast<off_t>(address - kBase));
  if (mapped == MAP_FAILED) return -ENOMEM;
  *where = mapped;
  return 0;
}

void PoolMemory::Unmap(void* where, size_t size) { munmap(where, size); }

void PoolMemory::Put(uint32_t address, size_t samples, Fill fill) {
  pending_[address - kBase] = {samples, std::move(fill)};
}

void PoolMemory::Make(uint64_t begin, uint64_t end) {
  for (auto at = pending_.begin(); at != pending_.end();) {
    auto& [offset, pending] = *at;
    if (offset >= end || offset + pending.samples * sizeof(uint16_t) <= begin) {
      at++;
      continue;
    }
    pending.fill({reinterpret_cast<uint16_t*>(memory_ + offset), pending.samples});
    at = pending_.erase(at);
  }
}

void PoolMemory::Forget() {
  pending_.clear();
  if (memory_ != nullptr) munmap(memory_, kSize);
  if (file_ >= 0) close(file_);
  memory_ = nullptr;
  file_ = -1;
}

}  // namespace twin

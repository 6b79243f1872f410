#include "common/sample_comm_sys/frame_memory.h"

#include <sys/mman.h>

#include "common/types.h"

namespace {

constexpr uintptr_t kPageSize = 4096;

constexpr size_t OffsetInPage(uintptr_t address) { return address & (kPageSize - 1); }

}  // namespace

void* COMM_SYS_Mmap(int memDev, uint32_t phyAddr, size_t size) {
  const size_t offset = OffsetInPage(phyAddr);
  void* const mapped = mmap(nullptr, size + offset, PROT_READ | PROT_WRITE, MAP_SHARED, memDev,
                            static_cast<off_t>(phyAddr - static_cast<uint32_t>(offset)));
  return mapped == MAP_FAILED ? nullptr : static_cast<BYTE*>(mapped) + offset;
}

int COMM_SYS_Munmap(void* address, size_t size) {
  const size_t offset = OffsetInPage(reinterpret_cast<uintptr_t>(address));
  return munmap(static_cast<BYTE*>(address) - offset, size + offset);
}

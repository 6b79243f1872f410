#include "common/fpga_ctrl/array/registers.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>

#include "common/log.h"
#include "common/types.h"

namespace {

constexpr char kMemoryDevice[] = "/dev/mem";
constexpr int kOpenFlags = O_RDWR | O_DSYNC;
static_assert(kOpenFlags == 0x1002);
constexpr uint32_t kPageSize = 4096;
constexpr uint32_t kHimmSpan = 0x80;  // bytes that one register access maps

// One established mapping. `Start_V` is as wide as a pointer, which on the device is 32 bits.
typedef struct tag_MMAP_Node {
  uint32_t Start_P;  // physical start, page aligned
  uintptr_t Start_V;
  uint32_t length;  // bytes, whole pages
  uint32_t refcount;
  struct tag_MMAP_Node* next;
} TMMAP_Node_t;

TMMAP_Node_t* pTMMAPNode = nullptr;
int fd = -1;

}  // namespace

void* memmap(unsigned int phy_addr, unsigned int size) {
  if (size == 0) {
    fprintf(g_lumoDebug, "memmap():size can't be zero!\n");
    return nullptr;
  }

  // Sums in 64 bits: a range that runs past the last address must not look small.
  const uint64_t end = static_cast<uint64_t>(phy_addr) + size;
  TMMAP_Node_t** tail = &pTMMAPNode;
  for (TMMAP_Node_t* node = pTMMAPNode; node != nullptr; node = node->next) {
    if (phy_addr >= node->Start_P && end <= static_cast<uint64_t>(node->Start_P) + node->length) {
      node->refcount++;
      return reinterpret_cast<void*>(node->Start_V + (phy_addr - node->Start_P));
    }
    tail = &node->next;
  }

  if (fd < 0) fd = open(kMemoryDevice, kOpenFlags);
  if (fd < 0) {
    fprintf(g_lumoDebug, "memmap():open %s error!\n", kMemoryDevice);
    return nullptr;
  }

  const uint32_t start = phy_addr & ~(kPageSize - 1);
  const uint32_t length = static_cast<uint32_t>((end - start + kPageSize - 1) & ~static_cast<uint64_t>(kPageSize - 1));
  void* mapped = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, fd, static_cast<off_t>(start));
  if (mapped == MAP_FAILED) {
    fprintf(g_lumoDebug, "memmap():mmap @ 0x%x error!\n", start);
    return nullptr;
  }

  TMMAP_Node_t* node = static_cast<TMMAP_Node_t*>(malloc(sizeof(TMMAP_Node_t)));
  if (node == nullptr) {
    fprintf(g_lumoDebug, "memmap():malloc new node failed!\n");
    munmap(mapped, length);
    return nullptr;
  }
  *node = {start, reinterpret_cast<uintptr_t>(mapped), length, 1, nullptr};
  *tail = node;
  return static_cast<BYTE*>(mapped) + (phy_addr - start);
}

int himm(unsigned int rw, unsigned int ulAddr, unsigned int* ulValue) {
  volatile uint32_t* reg = static_cast<volatile uint32_t*>(memmap(ulAddr, kHimmSpan));
  if (reg == nullptr) {  // the log says why
    if (rw == 0) *ulValue = 0;
    return -1;
  }
  if (rw == 0) {
    *ulValue = *reg;
  } else {
    *reg = *ulValue;
  }
  return 0;
}

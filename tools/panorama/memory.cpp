#include "tools/panorama/memory.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace panorama {
namespace {

constexpr size_t largePage = size_t{2} << 20;

struct Spare {
  void* data;
  size_t room;
};
std::mutex sparesMutex;
std::vector<Spare> spares;

// The smallest that fits and is not far too large; else null data.
Spare TakeSpare(size_t size) {
  const std::lock_guard<std::mutex> lock(sparesMutex);
  auto best = spares.end();
  for (auto it = spares.begin(); it != spares.end(); ++it)
    if (it->room >= size && it->room / 2 <= size && (best == spares.end() || it->room < best->room)) best = it;
  if (best == spares.end()) return {nullptr, 0};
  const Spare taken = *best;
  spares.erase(best);
  return taken;
}

// Fresh memory, all zero, that begins where a large page may.
void* Map(size_t size) {
  void* mapped = mmap(nullptr, size + largePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapped == MAP_FAILED) throw std::bad_alloc();
  auto* begin = static_cast<char*>(mapped);
  const size_t before = (largePage - reinterpret_cast<uintptr_t>(begin) % largePage) % largePage;
  if (before > 0) munmap(begin, before);
  munmap(begin + before + size, largePage - before);
  madvise(begin + before, size, MADV_HUGEPAGE);  // a wish: it does as well without
  return begin + before;
}

}  // namespace

Block::Block(size_t size, Content content) {
  if (size < largePage) {
    data_ = std::calloc(std::max(size, size_t{1}), 1);
    if (!data_) throw std::bad_alloc();
    return;
  }
  const Spare spare = TakeSpare(size);
  room_ = spare.data ? spare.room : (size + largePage - 1) / largePage * largePage;
  data_ = spare.data ? spare.data : Map(room_);
  if (spare.data && content == Content::Zero) std::memset(data_, 0, size);
}

Block::Block(Block&& other) noexcept { *this = std::move(other); }

Block& Block::operator=(Block&& other) noexcept {
  std::swap(data_, other.data_);
  std::swap(room_, other.room_);
  return *this;
}

Block::~Block() {
  if (room_ == 0) {
    std::free(data_);
    return;
  }
  const std::lock_guard<std::mutex> lock(sparesMutex);
  spares.push_back({data_, room_});
}

}  // namespace panorama

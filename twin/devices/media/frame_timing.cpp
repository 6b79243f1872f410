#include "twin/devices/media/frame_timing.h"

#include <algorithm>

namespace twin {

void* FrameTiming::Map(uint32_t address, uint32_t size) {
  if (address < kBase || address % 4 != 0 || size == 0 || uint64_t(address) + size > uint64_t(kBase) + kSize) {
    return nullptr;
  }
  mapped_.emplace_back(Word(address), size);
  return Word(address);
}

bool FrameTiming::Unmap(const void* mapped, uint32_t size) {
  if (!Holds(mapped, size)) return false;
  mapped_.erase(std::find(mapped_.begin(), mapped_.end(), std::pair(mapped, size)));
  return true;
}

bool FrameTiming::Holds(const void* mapped, uint32_t size) const {
  return std::find(mapped_.begin(), mapped_.end(), std::pair(mapped, size)) != mapped_.end();
}

bool FrameTiming::Carries(uint32_t lines) const {
  if (!Runs() || At(kFramePulse) == 0 || At(kLinePulse) == 0 || At(kLinePeriod) == 0) return false;
  return Lines() >= lines;
}

}  // namespace twin

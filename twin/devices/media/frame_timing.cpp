#include "twin/devices/media/frame_timing.h"

namespace twin {

void* FrameTiming::Map(uint32_t address, uint32_t size) {
  if (address < kBase || address % 4 != 0 || size == 0 || uint64_t(address) + size > uint64_t(kBase) + kSize) {
    return nullptr;
  }
  mapped_++;
  return Word(address);
}

bool FrameTiming::Unmap(const void* mapped, uint32_t size) {
  const auto* word = static_cast<const uint32_t*>(mapped);
  if (word < words_.data() || word >= words_.data() + words_.size() || size == 0 || mapped_ == 0) return false;
  mapped_--;
  return true;
}

bool FrameTiming::Carries(uint32_t lines) const {
  if (At(kControl) >> 30 != 3 || At(kFramePulse) == 0 || At(kLinePulse) == 0 || At(kLinePeriod) == 0) return false;
  return At(kFramePeriod) / At(kLinePeriod) >= lines;
}

}  // namespace twin

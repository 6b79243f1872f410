#include "twin/register_space.h"

#include <cstdio>

namespace twin {

namespace {

std::string Access(const char* kind, uint32_t address) {
  char text[32];
  snprintf(text, sizeof text, "%s 0x%08X", kind, address);
  return text;
}

}  // namespace

void RegisterSpace::Claim(uint32_t base, uint32_t size, RegisterDevice& device) {
  ranges_.push_back({base, size, &device});
  last_ = ranges_.size() - 1;
}

// Software that toggles a line stays within one range for thousands of accesses: the last range is looked at first.
RegisterDevice* RegisterSpace::Find(uint32_t address) {
  if (address % sizeof(uint32_t) != 0) return nullptr;
  if (last_ < ranges_.size() && address - ranges_[last_].base < ranges_[last_].size) return ranges_[last_].device;
  for (size_t i = ranges_.size(); i-- > 0;) {
    if (address - ranges_[i].base < ranges_[i].size) {
      last_ = i;
      return ranges_[i].device;
    }
  }
  return nullptr;
}

uint32_t RegisterSpace::Read(uint32_t address) {
  if (RegisterDevice* device = Find(address)) return device->ReadRegister(address);
  unclaimed_.push_back(Access("read", address));
  return 0;
}

void RegisterSpace::Write(uint32_t address, uint32_t value) {
  if (RegisterDevice* device = Find(address)) {
    device->WriteRegister(address, value);
  } else {
    unclaimed_.push_back(Access("write", address));
  }
}

}  // namespace twin

#include "tools/blobs/kernel_modules.h"

#include <algorithm>
#include <string>

#include "tools/blobs/stand_in_values.h"

namespace blobs {

namespace {
// 32-bit, little-endian, relocatable, ARM: the head of a module for the device's kernel.
constexpr std::array<uint8_t, 20> kElfHead = {0x7F, 'E', 'L', 'F', 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0x28, 0};
}  // namespace

std::vector<uint8_t> MakeKernelModule(std::string_view name, size_t size) {
  std::vector<uint8_t> module(kElfHead.begin(), kElfHead.end());
  const std::string info = "name=" + std::string(name);
  module.insert(module.end(), info.begin(), info.end());
  module.push_back(0);
  StandInValues values(size);
  while (module.size() < size) module.push_back(static_cast<uint8_t>(values.Next()));
  module.resize(size);
  return module;
}

}  // namespace blobs

// Stand-ins for the kernel modules of the USB adapters: of the right size, an ELF header's first bytes, the module's
// name as modinfo would find it, and filling. They load into no kernel.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace blobs {

struct KernelModuleName {
  std::string_view name;
  size_t size;
};
constexpr std::array<KernelModuleName, 4> kKernelModules = {{
    {"mii", 6976},
    {"r8152", 37784},
    {"usbserial", 35276},
    {"cp210x", 23660},
}};

std::vector<uint8_t> MakeKernelModule(std::string_view name, size_t size);

}  // namespace blobs

#include "twin/seam/process_image.h"

#include <cstddef>
#include <vector>

// The build gives the application's data sections names of their own, and the linker marks where they begin and end.
// Weak: a section that is empty has no marks.
extern "C" {
extern char __start_lumora_data[] __attribute__((weak));
extern char __stop_lumora_data[] __attribute__((weak));
extern char __start_lumora_bss[] __attribute__((weak));
extern char __stop_lumora_bss[] __attribute__((weak));
}

namespace twin {

namespace {

// Byte by byte and without the sanitizer: between the variables lie its red zones. The barrier keeps the compiler
// from making a call to memcpy of the loop, which the sanitizer would watch.
__attribute__((no_sanitize_address, noinline)) void Copy(char* to, const char* from, size_t size) {
  for (size_t i = 0; i < size; i++) {
    to[i] = from[i];
    __asm__ volatile("" ::: "memory");
  }
}

__attribute__((no_sanitize_address, noinline)) void Clear(char* to, size_t size) {
  for (size_t i = 0; i < size; i++) {
    to[i] = 0;
    __asm__ volatile("" ::: "memory");
  }
}

}  // namespace

void ResetProcessImage() {
  static const std::vector<char> first = [] {
    std::vector<char> data(static_cast<size_t>(__stop_lumora_data - __start_lumora_data));
    Copy(data.data(), __start_lumora_data, data.size());
    return data;
  }();
  Copy(__start_lumora_data, first.data(), first.size());
  Clear(__start_lumora_bss, static_cast<size_t>(__stop_lumora_bss - __start_lumora_bss));
}

}  // namespace twin

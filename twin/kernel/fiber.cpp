#include "twin/kernel/fiber.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/asan_interface.h>
#include <sanitizer/common_interface_defs.h>
#endif

namespace twin {

#ifdef __SANITIZE_ADDRESS__
void BeforeSwitch(void** fakeStack, const void* bottom, size_t size) {
  __sanitizer_start_switch_fiber(fakeStack, bottom, size);
}
void AfterSwitch(void* fakeStack, const void** oldBottom, size_t* oldSize) {
  __sanitizer_finish_switch_fiber(fakeStack, oldBottom, oldSize);
}
void ForgetStack(const void* bottom, size_t size) { __asan_unpoison_memory_region(bottom, size); }
#else
void BeforeSwitch(void** /*fakeStack*/, const void* /*bottom*/, size_t /*size*/) {}
void AfterSwitch(void* /*fakeStack*/, const void** /*oldBottom*/, size_t* /*oldSize*/) {}
void ForgetStack(const void* /*bottom*/, size_t /*size*/) {}
#endif

}  // namespace twin

#include "twin/kernel/thread_orders.h"

#ifdef LUMORA_TSAN
#include <sanitizer/tsan_interface.h>

#include <cstddef>
#include <new>

// The runtime's own; the header does not name them.
extern "C" void __tsan_read_range(void* data, unsigned long size);
extern "C" void __tsan_write_range(void* data, unsigned long size);

// Where the sanitizer looks at the board at all, because the board copies memory by calls that it watches. A name that
// stands at the bottom of an application thread would hide all that the thread does: each is called by a std::function.
extern "C" const char* __tsan_default_suppressions() {
  return "race:^twin::\n"
         "race:^std::__cxx11::\n"
         "race:^std::char_traits\n"
         "race:^std::filesystem::\n"
         "race:^std::basic_\n"
         "race:^shot::\n"
         "race:^testing::\n"
         "race:^SameRoad\n"
         "race:NoteLog\n"
         "race:^twin_\n"
         "called_from_lib:libstdc++.so\n";
}
extern "C" const char* __tsan_default_options() { return "history_size=4 report_mutex_bugs=0"; }

// The board's own memory: the C library's, past the sanitizer.
extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_memalign(size_t alignment, size_t size);
extern "C" void __libc_free(void* block);
void* operator new(size_t size) {
  void* block = __libc_malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void* operator new(size_t size, const std::nothrow_t& /*quiet*/) noexcept { return __libc_malloc(size); }
void* operator new(size_t size, std::align_val_t alignment) {
  void* block = __libc_memalign(static_cast<size_t>(alignment), size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void operator delete(void* block) noexcept { __libc_free(block); }
void operator delete(void* block, size_t /*size*/) noexcept { __libc_free(block); }
void operator delete(void* block, std::align_val_t /*alignment*/) noexcept { __libc_free(block); }
void operator delete(void* block, size_t /*size*/, std::align_val_t /*alignment*/) noexcept { __libc_free(block); }

// The board's copies of memory, too. The application's own calls of these names are led to the ones below.
extern "C" {
void* memcpy(void* __restrict to, const void* __restrict from, size_t size) noexcept {
  void* at = to;
  asm volatile("rep movsb" : "+D"(at), "+S"(from), "+c"(size) : : "memory");
  return to;
}
void* memset(void* to, int value, size_t size) noexcept {
  void* at = to;
  asm volatile("rep stosb" : "+D"(at), "+c"(size) : "a"(value) : "memory");
  return to;
}
void* memmove(void* to, const void* from, size_t size) noexcept {
  if (static_cast<char*>(to) - static_cast<const char*>(from) >= static_cast<ptrdiff_t>(size) || to <= from)
    return memcpy(to, from, size);
  const void* last = static_cast<const char*>(from) + size - 1;
  void* at = static_cast<char*>(to) + size - 1;
  asm volatile("std\n rep movsb\n cld" : "+D"(at), "+S"(last), "+c"(size) : : "memory");
  return to;
}

void* twin_seen_memcpy(void* to, const void* from, size_t size) {
  twin::TellRead(from, size);
  twin::TellWritten(to, size);
  return memcpy(to, from, size);
}
void* twin_seen_memmove(void* to, const void* from, size_t size) {
  twin::TellRead(from, size);
  twin::TellWritten(to, size);
  return memmove(to, from, size);
}
void* twin_seen_memset(void* to, int value, size_t size) {
  twin::TellWritten(to, size);
  return memset(to, value, size);
}
}
#endif

namespace twin {

#ifdef LUMORA_TSAN
SeenThread PresentThread() { return __tsan_get_current_fiber(); }
SeenThread BeginThread() { return __tsan_create_fiber(0); }
void EndThread(SeenThread thread) { __tsan_destroy_fiber(thread); }
void EnterThread(SeenThread thread) { __tsan_switch_to_fiber(thread, __tsan_switch_to_fiber_no_sync); }
void Release(const void* what) { __tsan_release(const_cast<void*>(what)); }
void Acquire(const void* what) { __tsan_acquire(const_cast<void*>(what)); }
void TellRead(const void* data, size_t size) { __tsan_read_range(const_cast<void*>(data), size); }
void TellWritten(void* data, size_t size) { __tsan_write_range(data, size); }
#else
SeenThread PresentThread() { return nullptr; }
SeenThread BeginThread() { return nullptr; }
void EndThread(SeenThread /*thread*/) {}
void EnterThread(SeenThread /*thread*/) {}
void Release(const void* /*what*/) {}
void Acquire(const void* /*what*/) {}
void TellRead(const void* /*data*/, size_t /*size*/) {}
void TellWritten(void* /*data*/, size_t /*size*/) {}
#endif

}  // namespace twin

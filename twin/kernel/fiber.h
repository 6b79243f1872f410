// One application thread: a context of its own, and what the kernel knows of it. Only the kernel looks in here.
#pragma once

#include <boost/context/fiber.hpp>
#include <functional>
#include <string>

#include "twin/kernel/kernel.h"
#include "twin/kernel/thread_orders.h"

namespace twin {

struct Fiber {
  std::string name;
  std::function<void()> body;
  boost::context::fiber context;  // empty while it runs, and when it is done
  uint64_t ticket = 0;            // which pending wake is the valid one
  int pending = 0;                // wakes still in the event queue; the fiber is kept until they are gone
  int savedErrno = 0;
  bool dying = false;
  bool done = false;
  SeenThread thread = nullptr;
  const void* stackBottom = nullptr;  // for the address sanitizer
  size_t stackSize = 0;
  void* fakeStack = nullptr;
};

// Tells the address sanitizer of each change of stacks, and that a stack is gone: frames that were never left would
// stay marked for who gets its memory next. Nothing in other builds.
void BeforeSwitch(void** fakeStack, const void* bottom, size_t size);
void AfterSwitch(void* fakeStack, const void** oldBottom, size_t* oldSize);
void ForgetStack(const void* bottom, size_t size);

}  // namespace twin
